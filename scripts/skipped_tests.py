#!/usr/bin/env python3
"""Lists the tests that were skipped, with the reason that each gave: skipped_tests.py [JUNIT.XML …], by default those of
all lanes that test.sh and target.sh have run."""
import sys
from pathlib import Path
from xml.etree import ElementTree

ROOT = Path(__file__).resolve().parent.parent


def reason_of(case):
    lines = [line.strip() for line in (case.findtext("system-out") or "").splitlines() if line.strip()]
    for i, line in enumerate(lines):
        if line.endswith(": Skipped"):  # GoogleTest's reason stands below the place
            return lines[i + 1]
    return lines[-1] if lines else "no reason given"


def main():
    for path in [Path(name) for name in sys.argv[1:]] or sorted(ROOT.glob("build/*/tests.xml")):
        for case in ElementTree.parse(path).iter("testcase"):
            if case.find("skipped") is not None:
                print(f"skipped in {path.parent.name}: {case.get('name')}: {reason_of(case)}")


if __name__ == "__main__":
    main()
