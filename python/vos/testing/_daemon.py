"""The daemon under test: a process that is started, ready, stopped."""

import os
import re
import signal
import subprocess
import threading
from collections.abc import Mapping
from pathlib import Path

from ._background import Background
from ._traffic import Launch, Traffic

LOG_DIRECTORY = Path("/tmp/log3")


class Daemon:
    """A process that announces itself to the hub."""

    def __init__(
        self,
        background: Background,
        traffic: Traffic,
        command: list[str],
        environment: Mapping[str, str] | None,
        directory: str | os.PathLike[str] | None,
    ) -> None:
        self.name = Path(command[0]).name
        self.eid = 0
        self._background = background
        self._lines: list[str] = []
        self._expected_end = False
        self.process = subprocess.Popen(
            command,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            env={**os.environ, **(environment or {})},
            cwd=directory,
        )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        self._traffic = traffic

    @property
    def output(self) -> str:
        """What it wrote to standard output and standard error so far."""
        return "".join(self._lines)

    @property
    def log(self) -> str:
        """Its log file."""
        path = LOG_DIRECTORY / f"{self.eid}.log"
        return path.read_text(errors="replace") if self.eid and path.exists() else ""

    def await_ready(self, timeout: float) -> None:
        """Waits until the hub has answered its announcement."""

        def launched() -> Launch | bool | None:
            own = [launch for launch in self._traffic.launches if launch.pid == self.process.pid]
            return own[-1] if own else True if self.process.poll() is not None else None

        found = self._background.wait_until(launched, timeout)
        if not isinstance(found, Launch):
            ended = self.process.poll()
            what = f"ended with {ended}" if ended is not None else f"did not announce itself within {timeout:g} s"
            self.kill()
            raise AssertionError(f"{self.name} {what}\n{self.report()}")
        self.eid = found.eid
        self.name = found.name or self.name

    def await_output(self, pattern: str, timeout: float = 5.0) -> re.Match[str]:
        """Waits until its output holds a regular expression."""
        found = self._background.wait_until(lambda: re.search(pattern, self.output), timeout)
        if found is None:
            raise AssertionError(f"{self.name} wrote nothing like {pattern!r} within {timeout:g} s\n{self.report()}")
        return found

    def stop(self, how: signal.Signals = signal.SIGTERM, timeout: float = 10.0) -> int:
        """Sends a signal and waits for the end: the exit status, or minus the signal that ended it."""
        self._expected_end = True
        if self.process.poll() is None:
            self.process.send_signal(how)
        return self.wait(timeout)

    def kill(self) -> None:
        """Ends it as a crash would."""
        self.stop(signal.SIGKILL)

    def wait(self, timeout: float = 10.0) -> int:
        """Waits until it ends by itself: the exit status, or minus the signal."""
        self._expected_end = True
        try:
            status = self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"{self.name} did not end within {timeout:g} s\n{self.report()}") from None
        finally:
            self._reader.join()
        return status

    def check_end(self) -> None:
        """At the end of the test: it runs still, unless the test ended it, and stops cleanly."""
        if self._expected_end:
            return
        early = self.process.poll()
        status = self.stop()
        if early is not None or status != 0:
            when = "ended in the middle of the test" if early is not None else "was stopped and ended"
            raise AssertionError(f"{self.name} {when} with status {status}\n{self.report()}")

    def report(self) -> str:
        """Output and log, for whoever has to find out why."""
        parts = [f"--- output of {self.name}\n{self.output}"]
        if self.log:
            parts.append(f"--- log of {self.name} ({LOG_DIRECTORY}/{self.eid}.log)\n{self.log}")
        return "\n".join(parts)

    def _read(self) -> None:
        assert self.process.stdout is not None
        with self.process.stdout as stream:
            for line in stream:
                self._lines.append(line.decode(errors="replace"))
                self._background.tell()
        self.process.wait()
        self._background.tell()
