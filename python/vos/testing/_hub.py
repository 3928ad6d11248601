"""A hub of the test's own."""

import os
import signal
import subprocess
import tempfile
from collections.abc import Sequence
from pathlib import Path

from ._background import Background
from ._traffic import Traffic

SOCKET = Path("/var/hubd_messaging_server_addr")


class Clock:
    """The hub's clock for delayed messages, which moves only when told."""

    def __init__(self, background: Background, traffic: Traffic) -> None:
        self._background = background
        self._traffic = traffic

    def advance(self, seconds: float) -> None:
        """Lets time pass: the hub sends what becomes due, soonest first, before this returns."""
        self._background.run(self._traffic.advance(seconds))
        self._traffic.settle()


class Hub:
    """vos-hubd, started and ready, and watched from its first message on. VOS_HUBD names another program."""

    def __init__(self, background: Background, options: Sequence[str] = ()) -> None:
        if "VOS_SANDBOX" not in os.environ:
            raise RuntimeError("the hub's place is the machine's: run the tests in 'vosctl sandbox --no-hub -- pytest'")
        if SOCKET.exists():
            raise RuntimeError(f"there is a hub at {SOCKET} already: give vosctl sandbox the option --no-hub")
        self.traffic = Traffic(background)
        self.clock = Clock(background, self.traffic)
        self._background = background
        self._options = list(options)
        self._output = tempfile.TemporaryFile()
        self._process: subprocess.Popen[bytes] | None = None
        self.start()

    @property
    def output(self) -> str:
        """What it wrote so far."""
        return os.pread(self._output.fileno(), 1 << 20, 0).decode(errors="replace")

    def start(self) -> None:
        """Starts it (again) and waits until it is ready."""
        program = os.environ.get("VOS_HUBD", "vos-hubd")
        read_end, write_end = os.pipe()
        command = [program, "--ready-fd", str(write_end), *self._options]
        with os.fdopen(read_end) as ready:
            try:
                self._process = subprocess.Popen(
                    command, stdout=self._output, stderr=subprocess.STDOUT, pass_fds=[write_end]
                )
            finally:
                os.close(write_end)
            if not ready.readline():
                raise RuntimeError(f"{program} does not start: {self.output}")
        self._background.run(self.traffic.attach())

    def stop(self, how: signal.Signals = signal.SIGTERM) -> None:
        """Ends it; what is connected finds its hub gone."""
        if self._process is not None:
            self._background.run(self.traffic.detach())
            self._process.send_signal(how)
            self._process.wait(10)
            self._process = None

    def close(self) -> None:
        """Ends it for good."""
        self.stop()
        self._output.close()
