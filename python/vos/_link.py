"""What the blocking connection and the one for asyncio have in common."""

import struct
from collections.abc import Callable
from functools import partial
from typing import Any

from ._calls import Call, Calls, Outcome
from ._library import Handle
from .codes import HUB, Flag, MessageType, Ret
from .errors import check, error_of
from .message import Message, as_bytes
from .request import Request

HUB_SOCKET = "/var/hubd_messaging_server_addr"
PATIENCE = 15.0
"""How many seconds requests wait unless told."""


def opened(who: str | int | None) -> Handle:
    """A handle, or the reason why there is none."""
    handle = Handle(who)
    if not handle.is_open:
        name = "this plug-in" if who is None else repr(who)
        raise error_of(handle.failure, f"cannot connect {name} to the hub at {HUB_SOCKET}")
    return handle


class Link:
    """A connection's sending side, its tables of handlers and its open requests."""

    def __init__(self, handle: Handle) -> None:
        self._handle = handle
        self._calls = Calls()
        self._services: dict[tuple[int, int | None], Callable[[Request], Any]] = {}
        self._listeners: dict[int | None, Callable[[Message], Any]] = {}
        self._delays: dict[int, Callable[[], Any]] = {}
        self._next_delay = 1
        self._stray_replies = 0
        self.unhandled = 0
        """Messages that no handler was there for; requests among them were answered VOS_RET_ERROR."""
        self.eid = handle.eid()
        """The entity id that the hub assigned."""

    @property
    def late_replies(self) -> int:
        """Replies that nobody was waiting for any more, or ever."""
        return self._calls.late_replies + self._stray_replies

    def fileno(self) -> int:
        """The descriptor that becomes readable when messages come; never read it yourself."""
        return self._handle.fileno()

    def send(self, message: Message) -> None:
        """Sends a message as it is."""
        check(self._post(message), f"send {message.type:#x}")

    def notify(self, to: int, type: int, payload: bytes | str = b"", *, word: int = 0) -> None:
        """Sends an event to one entity."""
        self.send(Message(type, self.eid, to, Flag.EVENT, word, as_bytes(payload)))

    def publish(self, type: int, payload: bytes | str = b"", *, word: int = 0) -> None:
        """Sends an event to all who subscribed to its type."""
        self.notify(HUB, type, payload, word=word)

    def heartbeat(self) -> None:
        """Tells the hub that the process is alive."""
        self.send(Message(MessageType.HEARTBEAT, self.eid, HUB))

    def serve(
        self, type: int, handler: Callable[[Request], Any] | None = None, *, procedure: int | None = None
    ) -> Callable[[Callable[[Request], Any]], Callable[[Request], Any]]:
        """Answers requests of a type, or a numbered procedure of it.

        The handler's result is the reply's payload. A VosError that it raises becomes the reply's code; any other
        exception is answered VOS_RET_ERROR and raised. Also a decorator: @hub.serve(MSG_ECHO).
        """

        def register(function: Callable[[Request], Any]) -> Callable[[Request], Any]:
            self._services[type, procedure] = function
            return function

        if handler is not None:
            register(handler)
        return register

    def on(
        self, type: int | None, handler: Callable[[Message], Any] | None = None
    ) -> Callable[[Callable[[Message], Any]], Callable[[Message], Any]]:
        """Handles events of a type; with None those that have no handler. Also a decorator: @hub.on(MSG_CHANGED)."""

        def register(function: Callable[[Message], Any]) -> Callable[[Message], Any]:
            self._listeners[type] = function
            return function

        if handler is not None:
            register(handler)
        return register

    # --- what the subclasses are made of

    def _post(self, message: Message) -> int:
        return self._handle.send(message.pack()) if self._handle.is_open else Ret.PEER_GONE

    def _ask(
        self,
        to: int,
        type: int,
        payload: bytes | str,
        word: int,
        procedure: int | None,
        match_word: bool,
        flags: Flag,
        done: Callable[[Outcome], None],
    ) -> Call:
        asked = flags | Flag.REQUEST | (Flag.SRPC if procedure is not None else Flag(0))
        number = word if procedure is None else procedure
        call = Call(Message(type, self.eid, to, asked, number, as_bytes(payload)), match_word, done)
        self.send(call.request)
        self._calls.add(call)
        return call

    def _is_own(self, message: Message) -> bool:
        """Handles what is the connection's own: replies, repetitions, wake-ups."""
        if message.has(Flag.RESPONSE):
            if not self._calls.complete(message):
                self._stray_replies += 1
            return True
        if message.type == MessageType.RESEND_REQUEST:
            self._calls.resend(message.source, self._post)
            return True
        if message.type == MessageType.REQUEUE_WAKEUP:
            return True
        return not message.has(Flag.EVENT) and not message.is_request and self._calls.complete(message)

    def _handler_of(self, message: Message) -> Callable[[], Any] | None:
        """What is to be done with a message; a request's handler wants the request."""
        if message.type == MessageType.REGISTER_DELAYED_MSG and message.source == HUB:
            delayed = self._delays.pop(message.word, None)
            if delayed is not None:
                return delayed
        listener = self._listeners.get(message.type) or self._listeners.get(None)
        if listener is None:
            self.unhandled += 1
            return None
        return partial(listener, message)

    def _service_of(self, message: Message) -> Callable[[Request], Any] | None:
        procedure = message.word if message.has(Flag.SRPC) else None
        service = self._services.get((message.type, procedure)) or self._services.get((message.type, None))
        if service is None:
            self.unhandled += 1
            Request(message, self._post).fail()
        return service

    def _add_delay(self, handler: Callable[[], Any]) -> int:
        word = self._next_delay
        self._next_delay = self._next_delay % 0xFFFFFFFF + 1
        self._delays[word] = handler
        return word


def delay_payload(seconds: float) -> bytes:
    """A delay as the hub reads it."""
    return struct.pack("=I", max(0, round(seconds * 1000)))


def name_payload(name: str) -> bytes:
    """A name as the hub reads it."""
    if not name or len(name.encode()) > 63 or "\0" in name:
        raise error_of(Ret.BAD_ARG, f"{name!r} is no name of 1 to 63 bytes")
    return as_bytes(name)
