"""Counts a client's system calls for one round trip under strace: calls of a long run minus calls of a short one."""
import json
import re
import subprocess
import sys
import tempfile

SHORT, LONG = 100, 1100
ROW = "system calls for one round trip 64 B"
STEPS = {"send": r"send.*|write.*", "read": r"recv.*|read.*", "wait": r"poll|ppoll|select|epoll_wait"}


def counts(binary, system, requests):
    with tempfile.NamedTemporaryFile("r") as summary:
        subprocess.run(["strace", "-c", "-U", "calls,name", "-o", summary.name, binary,
                        f"--requests={requests}", f"--system={system}"],
                       check=True, stderr=subprocess.DEVNULL)
        found = re.findall(r"^\s*(\d+)\s+([a-z_0-9]+)$", summary.read(), re.M)
    return {name: int(calls) for calls, name in found if name != "total"}


def main(binary, pattern, out):
    rows = []
    for system in ("vos", "floor", "D-Bus"):
        if not re.search(pattern, f"{ROW}|{system}"):
            continue
        short, long = counts(binary, system, SHORT), counts(binary, system, LONG)
        each = {name: max(0, long[name] - short.get(name, 0)) / (LONG - SHORT) for name in long}
        for step, names in STEPS.items():
            value = sum(calls for name, calls in each.items() if re.fullmatch(names, name))
            rows.append({"run_name": f"{ROW}: {step}|{system}", "run_type": "iteration", "cpu_time": value,
                         "time_unit": "calls"})
        others = sum(calls for name, calls in each.items() if not re.fullmatch("|".join(STEPS.values()), name))
        rows.append({"run_name": f"{ROW}: any other|{system}", "run_type": "iteration", "cpu_time": others,
                     "time_unit": "calls"})
    with open(out, "w") as file:
        json.dump({"benchmarks": rows}, file)


main(*sys.argv[1:])
