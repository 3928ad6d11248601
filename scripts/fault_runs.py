#!/usr/bin/env python3
"""Runs every test of a sanitizer build again and again, each time with another of the library's calls for memory or
descriptors failing, and tells of crashes, sanitizer reports, hangs and leaks. Started by scripts/faults.sh.

A test that fails is none of these: it expects success."""
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
from concurrent.futures import ThreadPoolExecutor, as_completed
from functools import lru_cache
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
LEFT_OUT = re.compile(r"OutOf(Memory|Descriptors)\.")  # these make calls fail themselves
SECONDS = 30  # for a run; tests wait one for what does not come
BUSY_SECONDS = 5  # of processor time more than without a failure: it did not wait but ran in circles
JOBS = 6  # for each processor: many runs only wait
# Leave a block of their own behind when their next call fails: callers' heap statistics count on it.
KEEPERS = ("vos::MessageStream::", "UTIL_taskStart")
SHARED_SIZE = 4096  # what processes share, see tests/faults/preload.cpp: count, text of the failed call's way
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
    """Whether a place is in the product; where every block comes from and goes to tells nothing."""
    return re.match(r"(?!src/vos/mem/mem.cpp|src/internal/guards.h)(src|include|tools|examples)/", place)


def product(frames):
    return [pair for pair in resolved_stack(frames) if is_ours(pair[1])]


def frames_of(text):
    return [match.groups() for match in FRAME.finditer(text)]


def ends(process, seconds):
    """Waits for the end of a process, whose status and usage stay to be fetched."""
    end = time.monotonic() + seconds
    while not os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT):
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class Run:
    """One run of a test in which the n-th call fails; 0: none does."""

    def __init__(self, options, binary, name, nth=0, baseline=None):
        self.name, self.nth = name, nth
        self.usual = baseline.usage.ru_utime if baseline else SECONDS
        directory = Path(tempfile.mkdtemp(dir=options.work))
        shared = directory / "shared"
        with open(shared, "wb") as file:
            file.truncate(SHARED_SIZE)
        sanitizer = f"log_path={shared}.report:symbolize=0:handle_abort=1:print_stacktrace=1"
        address = "verify_asan_link_order=0:detect_stack_use_after_return=1:strict_string_checks=1"
        environment = dict(os.environ, LD_PRELOAD=str(options.build / "libvos_test_faults.so"),
                           ASAN_OPTIONS=f"{sanitizer}:{address}", UBSAN_OPTIONS=sanitizer,
                           VOSTEST_FAIL=f"{options.resource}:{nth}", VOSTEST_FAULT_FILE=str(shared))
        with open(directory / "output", "wb") as output:
            process = subprocess.Popen([binary, f"--gtest_filter={name}"], env=environment, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=output, start_new_session=True)
            self.hangs = not ends(process, SECONDS + 5 * self.usual)
            if self.hangs:
                process.send_signal(signal.SIGABRT)  # reports where it is
                ends(process, SECONDS)
            try:
                os.killpg(process.pid, signal.SIGKILL)  # what a test left running too
            except ProcessLookupError:
                pass
            _, self.status, self.usage = os.wait4(process.pid, 0)
            process.returncode = self.status
        with open(shared, "rb") as file:
            self.calls, way = struct.unpack(f"I{SHARED_SIZE - 4}s", file.read())
        self.way = [tuple(line.rsplit("+", 1)) for line in way.split(b"\0")[0].decode().splitlines()]
        self.reports = [path.read_text(errors="replace") for path in sorted(directory.glob("shared.report.*"))]
        shutil.rmtree(directory)

    def findings(self):
        """Kind and stack of each."""
        if self.hangs:
            busy = self.usage.ru_utime > 2 * self.usual + BUSY_SECONDS
            yield "loops" if busy else "waits", frames_of("".join(self.reports))
            return
        if os.WIFSIGNALED(self.status) and not self.reports:
            yield f"ends by signal {os.WTERMSIG(self.status)}", self.way
        for report in self.reports:
            if "LeakSanitizer" in report:
                for leak in report.split(" leak of ")[1:]:
                    stack = frames_of(leak)
                    if not self.keeps(stack):
                        yield "leaks" if self.is_of_failed_call(stack) else "is left with", stack
            else:
                line = re.search(r"AddressSanitizer:? (\S+)|runtime error: (.*)", report)
                yield (line.group(1) or line.group(2)) if line else "reports", frames_of(report)

    def is_of_failed_call(self, stack):
        """Whether a block was taken within the call into the library that also met the failure."""
        return self.way and any((Path(m).name, o) == (Path(self.way[-1][0]).name, self.way[-1][1]) for m, o in stack)

    def keeps(self, stack):
        taker, failing = product(stack)[:1], product(self.way)[:1]
        return taker and failing and taker[0][0] == failing[0][0] and taker[0][0].startswith(KEEPERS)


def signature(kind, stack, way):
    """What a finding is known by, and whether the library is at fault and not the test."""
    places = [(function, place) for function, place in resolved_stack(stack)
              if is_ours(place) or place.startswith("tests/") and not re.match("tests/(faults|support/hooks)", place)]
    blamed = kind not in ("is left with", "waits") and (not places or bool(is_ours(places[0][1])))
    if kind == "leaks" or not places:
        places = product(stack) or product(way)  # libcrypto's frames lead nowhere
    return blamed, (kind, tuple(f"{function} {place}" for function, place in places[:3]))


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


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("resource", choices=("memory", "descriptors"))
    parser.add_argument("tests", nargs="?", default="", help="regular expression")
    parser.add_argument("--jobs", type=int, default=JOBS * (os.cpu_count() or 1))
    options = parser.parse_args()
    options.build = options.build.resolve()
    if re.search(r"[\s:]", str(options.build)):
        print(f"skipped: LD_PRELOAD takes no path with blanks or colons, as {options.build} has")
        return 77
    start = time.monotonic()
    tests = list(tests_of(options.build, options.tests))
    log = options.build / f"faults-{options.resource}.log"
    seen, failures, faults, given_up = set(), 0, 0, 0
    with tempfile.TemporaryDirectory(dir=options.build, prefix="faults-") as options.work, \
            open(log, "w") as details, ThreadPoolExecutor(options.jobs) as pool:
        runs = []
        for test, baseline in zip(tests, pool.map(lambda test: Run(options, *test), tests)):
            seen.update(signature(*finding, [])[1] for finding in baseline.findings())
            runs += [pool.submit(Run, options, *test, nth, baseline) for nth in range(1, baseline.calls + 1)]
        if not runs:
            sys.exit("no call was counted: is the library linked statically, or does no test match?")
        for done in as_completed(runs):
            run = done.result()
            failures += bool(run.way)
            for kind, stack in run.findings():
                blamed, key = signature(kind, stack, run.way)
                if key in seen:
                    continue
                seen.add(key)
                faults += blamed
                given_up += not blamed
                line = f"{run.name} {options.resource}:{run.nth} {kind}: {'; '.join(key[1][:2])}"
                if blamed:
                    print(line, flush=True)
                print("FINDING" if blamed else "test's own", line, file=details)
                for title, frames in (("the call that failed", run.way), ("the report", stack)):
                    print(f"  {title}", *(f"    {f} {p}" for f, p in resolved_stack(frames)), sep="\n", file=details,
                          flush=True)
    print(f"{options.resource}: {len(tests)} tests, {failures} failures in {len(runs)} runs, {faults} findings,"
          f" {given_up} times at the test's own fault;"
          f" {time.monotonic() - start:.0f} s; details in {log}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
