"""A request that has arrived, and the duty to answer it."""

from collections.abc import Callable

from .codes import Flag, Ret
from .errors import VosError
from .message import Message, as_bytes

Reply = bytes | str | None
"""What a handler returns: the reply's payload; a text goes as UTF-8 with its NUL, None as no payload."""


class Request:
    """A request as its handler sees it. Only the first answer counts."""

    def __init__(self, message: Message, send: Callable[[Message], int]) -> None:
        self.message = message
        self._send = send
        self._later = False
        self.answered = False

    @property
    def type(self) -> int:
        """The message type."""
        return self.message.type

    @property
    def source(self) -> int:
        """Who asks."""
        return self.message.source

    @property
    def word(self) -> int:
        """The request's word; of a procedure its number."""
        return self.message.word

    @property
    def payload(self) -> bytes:
        """The request's payload."""
        return self.message.payload

    @property
    def text(self) -> str:
        """The request's payload as text up to its first NUL."""
        return self.message.text

    def reply(self, payload: bytes | str = b"", word: int = Ret.OK) -> None:
        """Answers. The reply to a procedure has its number as the word."""
        if self.answered:
            return
        self.answered = True
        asked = self.message
        procedure = asked.has(Flag.SRPC)
        self._send(
            Message(
                asked.type,
                asked.destination,
                asked.source,
                Flag.RESPONSE | (asked.flags & (Flag.KEEP | Flag.SRPC)),
                asked.word if procedure else word,
                as_bytes(payload),
            )
        )

    def fail(self, code: int = Ret.ERROR) -> None:
        """Refuses: a code as the word and no payload. A procedure's requester sees a reply without payload."""
        self.reply(b"", code)

    def later(self) -> "Request":
        """Keeps the handler's end from answering; whoever has the request answers it."""
        self._later = True
        return self

    def __enter__(self) -> "Request":
        return self

    def finish(self, result: Reply) -> None:
        """Answers with what the handler returned, unless it has answered or will."""
        if not self._later:
            self.reply(b"" if result is None else result)

    def __exit__(self, kind: object, error: BaseException | None, trace: object) -> bool:
        if error is not None:
            self.fail(error.code if isinstance(error, VosError) else Ret.ERROR)
        return isinstance(error, VosError)
