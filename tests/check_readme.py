#!/usr/bin/env python3
"""check_readme.py SOURCE_DIR: does what the README says, line by line, with the commands and the program of its text.

Runs in a mount namespace of its own in which /usr/local is empty and /etc a copy, so that installing is real. A line "# …"
below a command is what it prints. Blocks called "terminal 1" and "terminal 2" run beside each other, the first in a
pseudo-terminal; what the block behind them holds is to appear there. ./test.sh is not started: this is a part of it.
"""

import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import tempfile
import time

MARK = "@command@"
PATIENCE = 60


def fail(text: str) -> None:
    sys.exit(f"README: {text}")


def squeezed(text: str) -> str:
    return " ".join(text.split())


class Block:
    """A fenced block: its language and title, and of shell lines pairs of a command and what it prints."""

    def __init__(self, info: str, text: str) -> None:
        self.language, _, self.title = info.partition(" ")
        self.text = text
        self.steps: list[tuple[str, list[str]]] = []
        for line in re.sub(r"\\\n\s*", "", text).splitlines():
            if line.startswith("# ") and self.steps:
                self.steps[-1][1].append(squeezed(line[2:]))
            elif line:
                self.steps.append((line, []))

    def script(self) -> str:
        return "set -e\n" + "".join(f"echo '{MARK}'\n{command}\n" for command, _ in self.steps)

    def compare(self, output: str) -> None:
        parts = output.split(MARK)[1:]
        for (command, expected), printed in zip(self.steps, parts):
            for line in expected:
                if line not in squeezed(printed):
                    fail(f"'{command}' is to print '{line}'; it printed:\n{printed}")


def enter_namespace() -> None:
    """Starts this program again where mounts and processes are its own: no other sandbox is seen, and none is left."""
    own = ["--mount", "--propagation", "private", "--pid", "--fork", "--kill-child", "--mount-proc"]
    for spaces in (own, ["--user", "--map-root-user", *own]):
        if subprocess.run(["unshare", *spaces, "true"], capture_output=True).returncode == 0:
            os.execvp("unshare", ["unshare", *spaces, sys.executable, *sys.argv, "--inside"])
    print("this account may not create namespaces")
    sys.exit(77)


def arrange(scratch: pathlib.Path) -> dict[str, str]:
    """An empty /usr/local, a copy of /etc, and a sudo that has nothing to do: the environment for the commands."""
    etc = scratch / "etc"
    subprocess.run(["cp", "-a", "/etc", etc], stderr=subprocess.DEVNULL)
    subprocess.run(["mount", "--bind", etc, "/etc"], check=True)
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/usr/local"], check=True)
    programs = scratch / "bin"
    programs.mkdir()
    (programs / "sudo").write_text('#!/bin/sh\nexec "$@"\n')
    (programs / "sudo").chmod(0o755)
    # pkg-config of another kind of system does not look there by itself.
    return os.environ | {"PATH": f"{programs}:/usr/local/bin:/usr/local/sbin:{os.environ['PATH']}"}


class Terminal:
    """A shell script in a pseudo-terminal."""

    def __init__(self, script: str, directory: pathlib.Path, env: dict[str, str]) -> None:
        self.output = ""
        self.master, slave = pty.openpty()
        self.process = subprocess.Popen(["bash", "-c", script], cwd=directory, env=env, stdin=slave, stdout=slave,
                                        stderr=slave, start_new_session=True)
        os.close(slave)
        os.set_blocking(self.master, False)

    def read(self) -> None:
        try:
            while data := os.read(self.master, 65536):
                self.output += data.decode(errors="replace").replace("\r", "")
        except OSError:
            pass

    def await_text(self, text: str) -> None:
        until = time.monotonic() + PATIENCE
        while text not in squeezed(self.output):
            self.read()
            if time.monotonic() > until or self.process.poll() is not None and text not in squeezed(self.output):
                fail(f"the first terminal never showed '{text}'; it showed:\n{self.output}")
            time.sleep(0.02)

    def end(self) -> None:
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGTERM)
        self.process.wait(PATIENCE)


def main() -> None:
    source = pathlib.Path(sys.argv[1]).resolve()
    text = (source / "README.md").read_text()
    blocks = [Block(*match) for match in re.findall(r"^```([^\n]*)\n(.*?)^```$", text, re.M | re.S)]
    program = re.search(r"^`(\w+\.c)`:\n\n```c\n(.*?)^```$", text, re.M | re.S)
    if not program or not any(block.title == "terminal 1" for block in blocks):
        fail("it has no daemon with two terminals")
    with tempfile.TemporaryDirectory(dir="/var/tmp") as name:
        scratch = pathlib.Path(name)
        env = arrange(scratch)
        work = scratch / "work"
        work.mkdir()
        (work / program[1]).write_text(program[2])
        first = None
        for block in blocks:
            if block.title == "terminal 1":
                first = Terminal(block.script(), work, env)
                for _, expected in block.steps:
                    for line in expected:
                        first.await_text(line)
            elif first and block.language == "":
                first.await_text(squeezed(block.text))
                first.end()
            elif block.language == "sh":
                block.steps = [step for step in block.steps if step[0] != "./test.sh"]
                done = subprocess.run(["bash", "-c", block.script()], cwd=work if block.title else source, env=env,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                if done.returncode != 0:
                    fail(f"status {done.returncode} of\n{block.text}\n{done.stdout[-4000:]}")
                block.compare(done.stdout)
                print(f"done: {'; '.join(command for command, _ in block.steps)}", flush=True)
        # The same daemon in a repository of its own: it answers there too, and ends with 1 when the hub goes.
        subprocess.run([source / "packaging/ci-sample/ci.sh", program[1]], cwd=work, env=env, check=True)


if "--inside" in sys.argv:
    main()
else:
    enter_namespace()
