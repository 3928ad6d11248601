#!/usr/bin/env python3
"""The picture of latency against load: hub_load's tables on standard input, an SVG on standard output."""
import math
import sys

LEFT, TOP, WIDTH, HEIGHT = 90, 60, 480, 300
LOAD = [0, 1, 10, 50, 200]
TICKS_US = [10, 100, 1000, 10000]
# Kind of row, its column, colour, label, dashed.
LINES = [
    ("one", 4, "#b5473c", "p99, floods by one process", ""),
    ("each", 4, "#c98a1b", "p99, floods by a process each", ""),
    ("one", 7, "#b5473c", "p99, one process on another core", "5 4"),
    ("each", 7, "#c98a1b", "p99, a process each on another core", "5 4"),
    ("one", 3, "#3f6fb0", "median, floods by one process", ""),
]


def rows(lines):
    """Cells of the rows with events, by kind and connections."""
    found = {}
    for line in lines:
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if len(cells) != 9 or cells[0] not in ("nothing", "events"):
            continue
        connections = int(cells[2])
        for kind in ("one", "each"):
            if connections < 2 or (int(cells[1]) == 1) == (kind == "one"):
                found[kind, connections] = cells
    return found


def microseconds(cell):
    number, unit = cell.split()
    return float(number) * (1000 if unit == "ms" else 1)


def x_of(connections):
    return LEFT + WIDTH * LOAD.index(connections) / (len(LOAD) - 1)


def y_of(value_us):
    share = (math.log10(max(value_us, 8)) - math.log10(8)) / (math.log10(20000) - math.log10(8))
    return TOP + HEIGHT * (1 - share)


def main():
    table = rows(sys.stdin)
    missing = [load for load in LOAD if ("one", load) not in table]
    if missing:
        sys.exit(f"picture.py: no row for {missing} flooding connections")
    print('<svg xmlns="http://www.w3.org/2000/svg" width="860" height="430" viewBox="0 0 860 430" '
          'font-family="sans-serif" font-size="14">\n<rect width="860" height="430" fill="#fff"/>')
    print(f'<text x="{LEFT}" y="30" font-weight="bold">Round trip of a pair that behaves, others flooding the hub</text>')
    for tick in TICKS_US:
        y = y_of(tick)
        label = f"{tick} µs" if tick < 1000 else f"{tick // 1000} ms"
        print(f'<path d="M{LEFT} {y:.0f}H{LEFT + WIDTH}" stroke="#dde"/>'
              f'<text x="{LEFT - 12}" y="{y + 5:.0f}" text-anchor="end">{label}</text>')
    for load in LOAD:
        print(f'<text x="{x_of(load):.0f}" y="{TOP + HEIGHT + 24}" text-anchor="middle">{load}</text>')
    print(f'<text x="{LEFT + WIDTH // 2}" y="{TOP + HEIGHT + 50}" text-anchor="middle">connections that flood with '
          'events</text>')
    for number, (kind, column, colour, label, dashes) in enumerate(LINES):
        points = [(x_of(load), y_of(microseconds(table[kind, load][column])))
                  for load in LOAD if (kind, load) in table and table[kind, load][column]]
        style = f'stroke="{colour}" stroke-width="2" fill="none"' + (f' stroke-dasharray="{dashes}"' if dashes else "")
        y = TOP + 20 + 26 * number
        print(f'<path d="M{" L".join(f"{px:.0f} {py:.0f}" for px, py in points)}" {style}/>')
        print(f'<path d="M590 {y}H615" {style}/><text x="622" y="{y + 5}" font-size="12">{label}</text>')
    print("</svg>")


main()
