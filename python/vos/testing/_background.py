"""One event loop in a thread of its own, in which peers and observers of a test live."""

import asyncio
import threading
from collections.abc import Callable, Coroutine
from typing import Any, TypeVar

T = TypeVar("T")


class Background:
    """The loop, and the way into it. `changed` is notified by whatever in the loop a test may wait for."""

    def __init__(self) -> None:
        self.changed = threading.Condition()
        self.failures: list[BaseException] = []
        self._loop = asyncio.new_event_loop()
        self._loop.set_exception_handler(self._note)
        self._thread = threading.Thread(target=self._loop.run_forever, name="vos.testing", daemon=True)
        self._thread.start()

    def run(self, work: Coroutine[Any, Any, T], timeout: float = 30.0) -> T:
        """Runs a coroutine there and waits for its result."""
        return asyncio.run_coroutine_threadsafe(work, self._loop).result(timeout)

    def tell(self) -> None:
        """Wakes the tests that wait."""
        with self.changed:
            self.changed.notify_all()

    def wait_until(self, holds: Callable[[], T | None], timeout: float) -> T | None:
        """Waits until something is there, looking again whenever something has changed; what it is, or None."""
        with self.changed:
            found = holds()
            if found is None:
                self.changed.wait_for(lambda: holds() is not None, timeout)
                found = holds()
            return found

    def close(self) -> None:
        """Ends the loop."""
        self._loop.call_soon_threadsafe(self._loop.stop)
        self._thread.join()
        self._loop.close()

    def _note(self, loop: asyncio.AbstractEventLoop, context: dict[str, Any]) -> None:
        self.failures.append(context.get("exception") or RuntimeError(context["message"]))
        self.tell()
