"""One table from Google Benchmark's JSON files: medians of the rows named ROW|SYSTEM, vos beside each peer."""
import argparse
import json
import os
import re
import statistics

SCALE = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
HEADINGS = ("row", "vos", "spread", "peer", "peer's", "spread", "vos / peer", "target")


def load(files):
    """{row: {system: [values]}} in order of appearance, and {row: unit}."""
    rows, units = {}, {}
    for name in files:
        if os.path.getsize(name) == 0:
            continue  # the filter left nothing of this binary
        with open(name) as file:
            # Random interleaving shuffles the order in which rows were registered.
            for run in sorted(json.load(file)["benchmarks"], key=lambda run: run.get("family_index", 0)):
                if run["run_type"] != "iteration" or run.get("error_occurred"):
                    continue
                # Google Benchmark appends "/argument", "/iterations:1", "/manual_time" to the registered name.
                row, _, rest = run["run_name"].partition("|")
                system = rest.split("/")[0]
                # A row that waits for other processes is timed by the clock.
                by_clock = "/manual_time" in rest or "/real_time" in rest
                value = run["real_time" if by_clock else "cpu_time"]
                units[row] = "calls" if run["time_unit"] == "calls" else "s"
                rows.setdefault(row, {}).setdefault(system, []).append(value * SCALE.get(run["time_unit"], 1.0))
    return rows, units


def text(value, unit):
    if unit == "calls":
        return f"{value:.2f}"
    for name, scale in (("s", 1.0), ("ms", 1e-3), ("µs", 1e-6)):
        if value >= scale:
            return f"{value / scale:.3g} {name}"
    return f"{value / 1e-9:.3g} ns"


def spread(values):
    middle = statistics.median(values)
    return f"±{50 * (max(values) - min(values)) / middle:.0f} %" if len(values) > 1 and middle else ""


def load_targets(name):
    with open(name) as file:
        lines = [line.rsplit("|", 2) for line in file if "|" in line and not line.startswith("#")]
    return [(row.strip(), peer.strip(), limit.strip()) for row, peer, limit in lines]


def verdict(own, peer, limit):
    """A limit is the largest own / peer or, as "+50 ns", the largest own - peer."""
    if limit.startswith("+"):
        most, unit = limit[1:].split()
        return f"≤ {limit} " + ("met" if own - peer <= float(most) * SCALE[unit] else "MISSED")
    return f"≤ {limit} " + ("met" if own / peer <= float(limit) else "MISSED")


def table(rows, units, targets):
    for row, systems in rows.items():
        own = systems.pop("vos", None)
        own_cells = ("", "") if own is None else (text(statistics.median(own), units[row]), spread(own))
        if not systems:
            yield (row, *own_cells, "", "", "", "", "")
        for peer, values in systems.items():
            middle = statistics.median(values)
            ratio = statistics.median(own) / middle if own and middle and units[row] != "calls" else None
            limit = next((limit for pattern, name, limit in targets
                          if name == peer and re.fullmatch(pattern, row)), None)
            judged = verdict(statistics.median(own), middle, limit) if limit and own and middle else ""
            yield (row, *own_cells, peer, text(middle, units[row]), spread(values),
                   "" if ratio is None else f"{ratio:.2f}", judged)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--markdown", help="also write the table to this file")
    parser.add_argument("--targets", required=True)
    parser.add_argument("files", nargs="+")
    args = parser.parse_args()
    lines = [HEADINGS, *table(*load(args.files), load_targets(args.targets))]
    widths = [max(len(line[i]) for line in lines) for i in range(len(HEADINGS))]
    rule = tuple("-" * width for width in widths)
    padded = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |"
              for line in (lines[0], rule, *lines[1:])]
    print("\n".join(padded))
    if args.markdown:
        with open(args.markdown, "w") as file:
            file.write("\n".join(padded) + "\n")


main()
