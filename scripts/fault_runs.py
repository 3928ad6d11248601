#!/usr/bin/env python3
"""Runs every test of a sanitizer build again and again, each time with another of the library's calls for memory or
descriptors failing, and tells of crashes, sanitizer reports, hangs and leaks. Started by scripts/faults.sh.

A test that fails is none of these: it expects success. Where the calls of one test are too many, a few calls of every
way through the library are taken instead of all."""
import argparse
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from functools import lru_cache
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LEFT_OUT = re.compile(r"OutOf(Memory|Descriptors)\.")  # these make calls fail themselves
SECONDS = 60  # after which a run hangs; tests wait 10 for what does not come
ALL_CALLS_UP_TO = 200
CALLS_OF_A_WAY = 8
# What processes share, see tests/faults/preload.cpp: count, text of the failed call's way, hashes of counted calls' ways.
WAY_SIZE, WAYS_AT, SHARED_SIZE = 4092, 4096, 4096 + 4 * 1024 * 1024
FRAME = re.compile(r"#\d+ 0x[0-9a-f]+ +\((.+?)\+(0x[0-9a-f]+)\)")


@lru_cache(maxsize=None)
def resolved(module, offset):
    """Function and place of an address, innermost inlined function first."""
    lines = subprocess.run(["addr2line", "-Cfi", "-e", module, offset], capture_output=True, text=True,
                           check=False).stdout.splitlines()
    return [(function, place.replace(f"{ROOT}/", "").split(" ")[0]) for function, place in zip(lines[::2], lines[1::2])]


def resolved_stack(frames):
    return [pair for frame in frames for pair in resolved(*frame)]


def is_ours(place):
    return re.match(r"(src|include|tools|examples)/", place)


def frames_of(text):
    return [match.groups() for match in FRAME.finditer(text)]


class Run:
    """One run of a test in which the n-th call fails; 0: none does."""

    def __init__(self, options, binary, name, nth):
        directory = Path(tempfile.mkdtemp(dir=options.work))
        shared = directory / "shared"
        with open(shared, "wb") as file:
            file.truncate(SHARED_SIZE)
        sanitizer = f"log_path={directory}/report:symbolize=0:handle_abort=1:verify_asan_link_order=0:print_stacktrace=1"
        environment = dict(os.environ, LD_PRELOAD=str(options.build / "libvos_test_faults.so"), UBSAN_OPTIONS=sanitizer,
                           ASAN_OPTIONS=f"{sanitizer}:detect_stack_use_after_return=1:strict_string_checks=1",
                           VOSTEST_FAIL=f"{options.resource}:{nth}", VOSTEST_FAULT_FILE=str(shared))
        with open(directory / "output", "wb") as output:
            process = subprocess.Popen([binary, f"--gtest_filter={name}"], env=environment, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=output, start_new_session=True)
            try:
                process.wait(SECONDS)
                self.hangs = False
            except subprocess.TimeoutExpired:
                self.hangs = True
            try:
                os.killpg(process.pid, signal.SIGKILL)  # what a test left running too
            except ProcessLookupError:
                pass
            self.status = process.wait()
        with open(shared, "rb") as file:
            self.calls, way = struct.unpack(f"I{WAY_SIZE}s", file.read(WAYS_AT))
            counted = min(self.calls, (SHARED_SIZE - WAYS_AT) // 4 - 1)
            self.ways = struct.unpack(f"{counted + 1}I", file.read(4 * (counted + 1)))
        self.way = [tuple(line.rsplit("+", 1)) for line in way.split(b"\0")[0].decode().splitlines()]
        self.reports = [path.read_text(errors="replace") for path in sorted(directory.glob("report.*"))]
        shutil.rmtree(directory)

    def findings(self):
        """Kind and stack of each."""
        if self.hangs:
            yield "hangs", self.way
        elif self.status < 0 and not self.reports:
            yield f"ends by {signal.Signals(-self.status).name}", self.way
        for report in self.reports:
            if "LeakSanitizer" in report:
                for leak in report.split(" leak of ")[1:]:
                    stack = frames_of(leak)
                    kind = "leaks" if self.is_of_failed_call(stack) else "is left with"
                    yield kind, stack
            else:
                line = re.search(r"AddressSanitizer:? (\S+)|runtime error: (.*)", report)
                yield (line.group(1) or line.group(2)) if line else "reports", frames_of(report)

    def is_of_failed_call(self, stack):
        """Whether a block was taken within the call into the library that also met the failure."""
        return self.way and any((Path(m).name, o) == (Path(self.way[-1][0]).name, self.way[-1][1]) for m, o in stack)


def signature(kind, stack):
    """What a finding is known by, and whether the library is at fault and not the test."""
    places = [(function, place) for function, place in resolved_stack(stack)
              if is_ours(place) or place.startswith("tests/") and not re.match("tests/(faults|support/hooks)", place)]
    blamed = not places or bool(is_ours(places[0][1]))
    return blamed and kind != "is left with", (kind, tuple(f"{function} {place}" for function, place in places[:4]))


def tests_of(build, wanted):
    for binary in sorted((build / "bin").glob("*_test")):
        suite = ""
        for line in subprocess.run([binary, "--gtest_list_tests"], capture_output=True, text=True,
                                   check=True).stdout.splitlines():
            name = line.split("#")[0].strip()
            if not line.startswith(" "):
                suite = name
            elif re.search(wanted, suite + name) and not LEFT_OUT.match(suite):
                yield binary, suite + name


def calls_to_fail(baseline):
    """Numbers of calls, without end where all are taken."""
    if baseline.calls <= ALL_CALLS_UP_TO:
        yield from range(1, 2 * ALL_CALLS_UP_TO)
        return
    calls_of = {}
    for call, way in enumerate(baseline.ways[1:], 1):
        calls_of.setdefault(way, []).append(call)
    for calls in calls_of.values():
        for i in range(min(CALLS_OF_A_WAY, len(calls))):
            yield calls[i * (len(calls) - 1) // max(1, min(CALLS_OF_A_WAY, len(calls)) - 1)]


def check(options, test):
    """Runs a test with every failure; gives (runs, failures, sampled, findings)."""
    baseline = Run(options, *test, 0)
    known = {signature(*finding)[1] for finding in baseline.findings()}
    runs, failures, findings = 1, 0, []
    sampled = baseline.calls > ALL_CALLS_UP_TO
    for nth in calls_to_fail(baseline):
        run = Run(options, *test, nth)
        runs += 1
        for kind, stack in run.findings():
            blamed, key = signature(kind, stack)
            if key not in known:
                known.add(key)
                findings.append((blamed, key, test[1], nth, run.way, stack))
        if run.way:
            failures += 1
        elif not sampled:
            break
    return runs, failures, sampled, findings


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("resource", choices=("memory", "descriptors"))
    parser.add_argument("tests", nargs="?", default="", help="regular expression")
    parser.add_argument("--jobs", type=int, default=2 * (os.cpu_count() or 1))
    options = parser.parse_args()
    options.build = options.build.resolve()
    start = time.monotonic()
    tests = list(tests_of(options.build, options.tests))
    log = options.build / f"faults-{options.resource}.log"
    seen, faults, runs, failures, sampled = set(), 0, 0, 0, 0
    with tempfile.TemporaryDirectory(dir=options.build, prefix="faults-") as work, open(log, "w") as details, \
            ThreadPoolExecutor(options.jobs) as pool:
        options.work = work
        for result in pool.map(lambda test: check(options, test), tests):
            runs, failures, sampled = runs + result[0], failures + result[1], sampled + result[2]
            for blamed, key, name, nth, way, stack in result[3]:
                if key in seen:
                    continue
                seen.add(key)
                faults += blamed
                line = f"{name} {options.resource}:{nth} {key[0]}: {'; '.join(key[1][:2])}"
                if blamed:
                    print(line, flush=True)
                print("FINDING" if blamed else "test's own", line, file=details)
                for title, frames in (("the call that failed", way), ("the report", stack)):
                    print(f"  {title}", *(f"    {f} {p}" for f, p in resolved_stack(frames)), sep="\n", file=details)
    print(f"{options.resource}: {len(tests)} tests, {sampled} of them sampled, {runs} runs, {failures} failures, {faults} findings,"
          f" {len(seen) - faults} places where a test gives up; {time.monotonic() - start:.0f} s; details in {log}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
