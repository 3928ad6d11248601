"""The blocking connection to the hub."""

import os
import select
import signal
import time
from collections import deque
from collections.abc import Callable, Iterable
from contextlib import suppress
from types import FrameType, TracebackType
from typing import Any

from ._calls import Call, Outcome
from ._link import PATIENCE, Link, delay_payload, name_payload, opened
from .codes import HUB, Flag, MessageType, Ret
from .errors import UnknownName, VosError, check, error_of
from .message import Message
from .request import Request


STOP_SIGNALS = (signal.SIGTERM, signal.SIGINT)


def hold_stop_signals() -> None:
    """Lets SIGTERM and SIGINT wait for run(): no daemon is ended by them on its way there."""
    signal.pthread_sigmask(signal.SIG_BLOCK, STOP_SIGNALS)


class Connection(Link):
    """A process's connection to the hub; belongs to one thread.

    Opens under a name, an entity id or, with None, under the name in ../Info.plugin. Messages that arrive during a
    request wait for receive() and run().
    """

    def __init__(self, who: str | int | None) -> None:
        super().__init__(opened(who))
        self._waiting: deque[Message] = deque()
        self._stopped = False
        self._wake, self._waker = os.pipe()
        os.set_blocking(self._waker, False)
        self._poll = select.poll()
        self._poll.register(self._handle.fileno(), select.POLLIN)
        self._poll.register(self._wake, select.POLLIN)

    def close(self) -> None:
        """Ends the connection; what still waits for replies is told that the hub is gone."""
        if self._handle.is_open:
            self._handle.close()
            os.close(self._wake)
            os.close(self._waker)
            self._calls.fail_all(Ret.PEER_GONE)

    def __enter__(self) -> "Connection":
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def request(
        self,
        to: int | str,
        type: int,
        payload: bytes | str = b"",
        *,
        word: int = 0,
        procedure: int | None = None,
        match_word: bool = False,
        flags: Flag = Flag(0),
        timeout: float = PATIENCE,
    ) -> Message:
        """Sends a request, or calls a numbered procedure, and waits for the reply.

        Raises what a reply says that says no, TimedOut, or PeerGone when nobody holds the id or the hub is gone. A
        peer that comes back meanwhile is asked again. With match_word the reply has to repeat the request's word.
        A name is looked up first.
        """
        end = time.monotonic() + timeout
        peer = self.look_up(to, timeout) if isinstance(to, str) else to
        outcomes: list[Outcome] = []
        call = self._ask(peer, type, payload, word, procedure, match_word, flags, outcomes.append)
        try:
            self._await(call, outcomes, end)
        except BaseException:
            self._calls.give_up(call)
            raise
        if isinstance(outcomes[0], VosError):
            raise outcomes[0]
        return outcomes[0]

    def look_up(self, name: str, timeout: float = PATIENCE) -> int:
        """The entity id of a name, whether it runs or not; raises UnknownName."""
        reply = self.request(HUB, MessageType.GET_EID_BY_APP_NAME, name_payload(name), timeout=timeout)
        if reply.word == 0:
            raise UnknownName(Ret.UNKNOWN_NAME, f"look up {name!r}")
        return reply.word

    def is_running(self, eid: int) -> bool:
        """Whether an entity is connected to the hub."""
        try:
            return self.request(HUB, MessageType.IS_APP_RUNNING, word=eid).word == Ret.OK
        except VosError as error:
            if error.code == Ret.PEER_GONE and self._handle.is_open:
                return False
            raise

    def wait_for(self, name: str, timeout: float = PATIENCE) -> int:
        """Waits until a name's process runs, asking the hub every 20 milliseconds: its entity id."""
        end = time.monotonic() + timeout
        while True:
            try:
                eid = self.look_up(name)
                if self.is_running(eid):
                    return eid
            except UnknownName:
                pass
            if time.monotonic() >= end:
                raise error_of(Ret.TIMEOUT, f"wait for {name!r}")
            time.sleep(0.02)

    def subscribe(self, type: int) -> None:
        """Asks the hub for the events of a type."""
        check(self.request(HUB, MessageType.REGISTER_EVENT_INTEREST, word=type).word, f"subscribe to {type:#x}")

    def unsubscribe(self, type: int) -> None:
        """Takes subscribe() back."""
        check(self.request(HUB, MessageType.UNREGISTER_EVENT_INTEREST, word=type).word, f"unsubscribe from {type:#x}")

    def delay(self, seconds: float, handler: Callable[[], Any]) -> int:
        """Has the hub send a message after a while, upon which run() calls the handler; a number for cancel()."""
        word = self._add_delay(handler)
        try:
            self.request(HUB, MessageType.REGISTER_DELAYED_MSG, delay_payload(seconds), word=word)
        except BaseException:
            self._delays.pop(word, None)
            raise
        return word

    def cancel(self, delay: int) -> None:
        """Takes delay() back; nothing happens when it is over."""
        if self._delays.pop(delay, None) is not None:
            self.request(HUB, MessageType.UNREGISTER_DELAYED_MSG, word=delay)

    def receive(self, timeout: float | None = None) -> Message:
        """The next message that is no reply; raises TimedOut, or PeerGone when the hub is gone."""
        if self._waiting:
            return self._waiting.popleft()
        end = None if timeout is None else time.monotonic() + timeout
        while (message := self._read(end)) is not None:
            if not self._is_own(message):
                return message
        raise error_of(Ret.TIMEOUT, "receive")

    def dispatch(self, message: Message) -> None:
        """Has a message handled by what serve(), on() and delay() registered."""
        if not message.is_request:
            handler = self._handler_of(message)
            if handler is not None:
                handler()
        elif (service := self._service_of(message)) is not None:
            with Request(message, self._post) as request:
                request.finish(service(request))

    def run(self, stop_signals: Iterable[signal.Signals] = STOP_SIGNALS) -> None:
        """Handles messages until stop() or one of the signals; raises PeerGone when the hub is gone.

        Signals are Python's main thread's: in another one pass none. A daemon that calls hold_stop_signals() before it
        connects ends cleanly whenever it is told to.
        """
        self._stopped = False
        before = {number: signal.signal(number, self._on_signal) for number in stop_signals}
        mask = signal.pthread_sigmask(signal.SIG_UNBLOCK, before)
        try:
            while not self._stopped:
                message = self._waiting.popleft() if self._waiting else self._read(None)
                if message is not None and not self._is_own(message):
                    self.dispatch(message)
        finally:
            signal.pthread_sigmask(signal.SIG_SETMASK, mask)
            for number, handler in before.items():
                signal.signal(number, handler)

    def stop(self) -> None:
        """Ends run() after the handler that is running; may be called from another thread or a signal handler."""
        self._stopped = True
        with suppress(BlockingIOError):
            os.write(self._waker, b".")

    def _on_signal(self, number: int, frame: FrameType | None) -> None:
        self.stop()

    def _await(self, call: Call, outcomes: list[Outcome], end: float) -> None:
        while not outcomes:
            message = self._read(end)
            if message is None:
                outcomes.append(self._calls.timed_out(call))
            elif not self._is_own(message):
                self._waiting.append(message)

    def _read(self, end: float | None) -> Message | None:
        """The next message as it comes; None when the time is over or stop() was called."""
        while True:
            left = None if end is None else end - time.monotonic()
            ret, block = self._handle.receive() if self._handle.is_open else (int(Ret.PEER_GONE), b"")
            if ret == Ret.OK:
                return Message.unpack(block)
            if ret not in (Ret.TIMEOUT, Ret.NO_RESOURCE):
                self._calls.fail_all(Ret.PEER_GONE)
                raise error_of(Ret.PEER_GONE, "the hub has closed the connection")
            if left is not None and left <= 0:
                return None
            ready = self._poll.poll(None if left is None else int(left * 1000) + 1)
            if end is None and any(fd == self._wake for fd, _ in ready):
                os.read(self._wake, 4096)
                return None
