#!/usr/bin/env python3
"""Makes random one-place changes in the sources of families and says which of them the tests notice.

A family is named like its header (scripts/mutate.py msg xml); "hub" is the development hub. Nothing in the checkout is
changed: a changed copy is compiled, linked into a copy of libvos.so (or vos-hubd, or a test that holds the source) and
mounted over the built one for that run alone. The same seed chooses the same changes; one elsewhere in the sources
moves none of them. A family's tests are tests/NAME_test.cpp, tests/NAME_*_test.cpp and those over all families.
"""
import argparse
import concurrent.futures
import hashlib
import itertools
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
NEEDS = {"cmake": "cmake", "ninja": "ninja-build", "unshare": "util-linux", "mount": "mount", "timeout": "coreutils"}
OVER_ALL = ["wire_test", "null_arguments_test", "out_of_memory_test", "out_of_descriptors_test"]
ELSEWHERE = {"img": ["request_test"]}
SPACES = ["unshare", "-m" if os.geteuid() == 0 else "-Urm", "--pid", "--fork"]
TOOLS = {"hub": ("tools/hubd", "hubd")}
LONGEST_SOURCE = 700  # above that a file is a table
SWAPS = [(r"(?<= )==(?= )", "!="), (r"(?<= )!=(?= )", "=="), (r"(?<= )<(?= )", "<="), (r"(?<= )>(?= )", ">="),
         (r"(?<= )<=(?= )", "<"), (r"(?<= )>=(?= )", ">"), (r"(?<= )&&(?= )", "||"), (r"(?<= )\|\|(?= )", "&&"),
         (r"(?<= )\+(?= )", "-"), (r"(?<= )-(?= )", "+"), (r"(?<= )\+=(?= )", "-="), (r"(?<= )-=(?= )", "+="),
         (r"(?<= )\*(?= )", "+"), (r"(?<= )/(?= )", "*"), (r"(?<= )&(?= )", "|"), (r"(?<= )\|(?= )", "&"),
         (r"(?<= )<<(?= )", ">>"), (r"(?<= )>>(?= )", "<<"), (r"\+\+", "--"), (r"--", "++"),
         (r"\btrue\b", "false"), (r"\bfalse\b", "true")]
QUIET = re.compile(r"^\s*(#|static_assert|using |namespace |template|//|case |default:|public:|private:)")
STATEMENT = re.compile(r"^(\s+)(?!return|else|if|for|while|switch|do\b|goto|const |auto |static |struct |constexpr )"
                       r"[\w*(].*;$")
STARTS_STATEMENT = re.compile(r"([;{}:]|\*/)$")


def masked(text):
    """The text with literals and comments blanked out, as long as it was."""
    pattern = r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\''
    return re.sub(pattern, lambda m: re.sub(r"[^\n]", "~", m.group()), text, flags=re.S)


def changes_of(path):
    """Every (line, kind, new line) of a file."""
    lines = path.read_text().split("\n")
    codes = masked("\n".join(lines)).split("\n")
    before = ";"
    for number, (line, code) in enumerate(zip(lines, codes)):
        plain = code.replace("~", "").rstrip()
        if not plain.strip():
            continue
        starts = bool(STARTS_STATEMENT.search(before))
        before = plain
        if QUIET.match(code) or "VOS_DBG_" in code:
            continue
        for pattern, put in SWAPS:
            for m in re.finditer(pattern, code):
                yield number, f"{m.group()} to {put}", line[:m.start()] + put + line[m.end():]
        for m in re.finditer(r"(?<![\w.\[])(0[xX][0-9a-fA-F]+|\d+)[uUlL]*\b(?![.\]])", code):
            value = int(m.group(1), 0) if not re.fullmatch(r"0\d+", m.group(1)) else int(m.group(1), 8)
            yield number, f"{m.group()} to {value + 1}", line[:m.start(1)] + str(value + 1) + line[m.end(1):]
        m = re.search(r"\b(if|while) \((.*)\) \{$", code)
        if m and m.group(2).count("(") == m.group(2).count(")") and ";" not in m.group(2):
            yield number, "condition negated", f"{line[:m.start(2)]}!({line[m.start(2):m.end(2)]}){line[m.end(2):]}"
        if starts and STATEMENT.match(code):
            yield number, "statement left out", re.match(r"\s*", line).group() + ";"
            if code.startswith("    ") and code[4] != " ":
                yield number, "returns early", "    if (true) { return {}; } " + line.lstrip()
                yield number, "returns early", "    if (true) { return; } " + line.lstrip()


def sources_of(family):
    if family in TOOLS:
        return sorted((ROOT / TOOLS[family][0]).glob("*.cpp"))
    found = []
    for base in ("src/vos", "src/util", "src/vos/linux"):
        name = ("oal_" if base.endswith("linux") else "") + family
        found += sorted((ROOT / base / name).rglob("*.cpp")) + [ROOT / base / (name + ".cpp")]
    return [path for path in found if path.is_file() and len(path.read_text().split("\n")) < LONGEST_SOURCE]


def ranked_changes(family, seed):
    """All changes of a family, best rank first, at most one of a kind for each line."""
    ranked = []
    for path in sources_of(family):
        seen = {}
        for number, kind, line in changes_of(path):
            text = f"{seed}|{path.name}|{kind}|{line.strip()}"
            seen[text] = seen.get(text, 0) + 1
            ranked.append((hashlib.sha256(f"{text}|{seen[text]}".encode()).hexdigest(), path, number, kind, line))
    taken = set()
    for _, path, number, kind, line in sorted(ranked):
        if (path, number, kind) not in taken or kind == "returns early":
            taken.add((path, number, kind))
            yield path, number, kind, line


class Build:
    def __init__(self, directory):
        self.directory = directory
        self.run("cmake", "-S", str(ROOT), "-B", str(directory), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                 "-DVOS_BUILD_TESTS=ON", "-DVOS_WERROR=OFF", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        known = subprocess.run(["ninja", "-C", str(directory), "-t", "targets", "all"], capture_output=True, text=True)
        self.targets = {line.rsplit(": ", 1)[0] for line in known.stdout.splitlines()}
        self.library = next(name for name in self.targets if re.fullmatch(r"libvos\.so\.\d+\.\d+\.\d+", name))
        self.objects = {}
        for entry in json.loads((directory / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            self.objects.setdefault(entry["file"], []).append((words[words.index("-o") + 1], words))
        self.links = {}

    @staticmethod
    def run(*command, cwd=None):
        done = subprocess.run(command, capture_output=True, text=True, cwd=cwd)
        if done.returncode != 0:
            package = re.search(r"""missing: .*|provided by "(\w+)"|Could NOT find (\w+)""", done.stdout + done.stderr)
            if package:
                sys.exit(f"missing: {package[1] or package[2]}; get it with: ./test.sh dev"
                         if package[1] or package[2] else package[0])
            sys.exit(f"failed: {shlex.join(command)}\n{done.stdout[-3000:]}{done.stderr[-3000:]}")

    def make(self, targets):
        self.run("cmake", "--build", str(self.directory), "--target", *targets)

    def link_of(self, product):
        """The words of the command that makes a product out of its objects."""
        if product not in self.links:
            done = subprocess.run(["ninja", "-C", str(self.directory), "-t", "commands", "-s", product],
                                  capture_output=True, text=True)
            if done.returncode != 0:
                sys.exit(f"no command makes {product}: {done.stderr}")
            steps = done.stdout.strip().split("\n")[-1].split(" && ")
            self.links[product] = shlex.split(next(step for step in steps if " -o " in step))
        return self.links[product]

    def compile(self, command, original, source, output):
        words = list(command)
        words[words.index("-o") + 1] = str(output)
        words[words.index("-c") + 1] = str(source)
        return subprocess.run([*words, "-iquote", str(original.parent), "-w"], cwd=self.directory,
                              capture_output=True).returncode == 0

    def link(self, product, old, new, output):
        words = [str(new) if word == old else word for word in self.link_of(product)]
        words[words.index("-o") + 1] = str(output)
        self.run(*words, cwd=self.directory)


class Family:
    """A family's sources, its tests and what they run."""

    def __init__(self, name, build):
        self.name, self.build = name, build
        stem = TOOLS[name][1] if name in TOOLS else name
        found = {path.stem for pattern in (f"{stem}_test.cpp", f"{stem}_*_test.cpp")
                 for path in ROOT.glob(f"tests/{pattern}")}
        tests = sorted(test for test in found if not any(
            test.startswith(other + "_") and other.startswith(stem + "_") for other in families()))
        tests += ELSEWHERE.get(name, []) + ([] if name in TOOLS else OVER_ALL)
        self.tests = [test for test in tests if test in build.targets]
        self.product = "bin/vos-hubd" if name in TOOLS else build.library
        build.make([*self.tests, self.product.removeprefix("bin/")])
        self.limits = {}
        for test in self.tests:
            start = time.monotonic()
            if not self.passes(test, 300):
                sys.exit(f"{test} fails without any change")
            self.limits[test] = int(10 + 6 * (time.monotonic() - start))
        self.tests.sort(key=self.limits.get)

    def passes(self, test, limit, mounts=()):
        """Runs a test with some of the built files replaced; nothing that it started outlives it."""
        steps = [f"{{ mount --bind {shlex.quote(str(new))} {shlex.quote(str(old))} || exit 99; }}" for new, old in mounts]
        steps.append(f"timeout -s KILL {limit} {shlex.quote(f'{self.build.directory}/bin/{test}')} --gtest_brief=1")
        done = subprocess.run([*SPACES, "--mount-proc", "--kill-child", "sh", "-c", " && ".join(steps)],
                              cwd=self.build.directory / "tests", stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
        if done.returncode == 99:
            sys.exit(f"cannot mount over {[str(old) for _, old in mounts]}")
        return done.returncode == 0

    def notices(self, change, scratch):
        """Whether a test fails with the change; None when it does not compile."""
        path, number, _, line = change
        shutil.rmtree(scratch, ignore_errors=True)
        scratch.mkdir(parents=True)
        lines = path.read_text().split("\n")
        lines[number] = line
        source = scratch / path.name
        source.write_text(f'#line 1 "{path}"\n' + "\n".join(lines))
        mounts = []
        for nth, (output, command) in enumerate(self.build.objects.get(str(path), [])):
            used = [product for product in [self.product, *(f"bin/{test}" for test in self.tests)]
                    if output in self.build.link_of(product)]
            if used and not self.build.compile(command, path, source, scratch / f"{nth}.o"):
                return None
            for product in used:
                new = scratch / pathlib.Path(product).name
                self.build.link(product, output, scratch / f"{nth}.o", new)
                mounts.append((new, self.build.directory / product))
        if not mounts:
            sys.exit(f"{path} is in nothing that the tests of {self.name} run")
        noticed = not all(self.passes(test, self.limits[test], mounts) for test in self.tests)
        shutil.rmtree(scratch)
        return noticed


def measure(name, build, options):
    """Prints the family's row."""
    family = Family(name, build)
    candidates = ranked_changes(name, options.seed)
    results = []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        while missing := options.changes - len(results):
            batch = list(itertools.islice(candidates, missing))
            if not batch:
                break
            places = [build.directory / "changed" / f"{name}.{nth}" for nth in range(len(batch))]
            results += [(change, verdict) for change, verdict in zip(batch, pool.map(family.notices, batch, places))
                        if verdict is not None]
    print(f"| {name} | {len(results)} | {sum(verdict for _, verdict in results)} |", flush=True)
    for (path, number, kind, line), verdict in results:
        if options.verbose and not verdict:
            print(f"    {path.relative_to(ROOT)}:{number + 1}: {kind}: {line.strip()}", flush=True)


def families():
    return sorted(path.stem for path in ROOT.glob("include/vos/*.h") if sources_of(path.stem)) + list(TOOLS)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("family", nargs="*", help="all when none is named")
    parser.add_argument("-n", "--changes", type=int, default=12, help="for each family (default 12)")
    parser.add_argument("--seed", default="1")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "mutate", help="private build directory")
    parser.add_argument("-v", "--verbose", action="store_true", help="name the changes that no test noticed")
    options = parser.parse_args()
    for program, package in NEEDS.items():
        if shutil.which(program) is None:
            sys.exit(f"missing: {program}; get it with: apt-get install {package}")
    if subprocess.run([*SPACES, "true"], capture_output=True).returncode != 0:
        sys.exit("missing: namespaces of one's own; run it as root or allow user namespaces")
    unknown = [name for name in options.family if name not in families()]
    if unknown:
        sys.exit(f"no family {unknown[0]}; there are: {' '.join(families())}")
    build = Build(options.build.resolve())
    print("| family | changes | noticed |\n|---|---|---|", flush=True)
    for name in options.family or families():
        measure(name, build, options)


if __name__ == "__main__":
    main()
