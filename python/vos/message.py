"""Messages as values."""

import struct
from dataclasses import dataclass

from .codes import Flag, MessageType

_HEADER = struct.Struct("=IIIHHQII")


@dataclass(frozen=True, slots=True)
class Message:
    """A message: the header's fields and the payload."""

    type: int
    source: int = 0
    destination: int = 0
    flags: Flag = Flag(0)
    word: int = 0
    payload: bytes = b""

    @classmethod
    def unpack(cls, block: bytes) -> "Message":
        """Out of header and payload in one block."""
        kind, source, destination, flags, _, _, word, length = _HEADER.unpack_from(block)
        start = _HEADER.size
        return cls(kind, source, destination, Flag(flags), word, block[start : start + length])

    def pack(self) -> bytes:
        """Header and payload in one block."""
        header = _HEADER.pack(
            self.type,
            self.source,
            self.destination,
            self.flags,
            0,
            0,
            self.word,
            len(self.payload),
        )
        return header + self.payload

    @property
    def text(self) -> str:
        """The payload as text up to its first NUL."""
        return self.payload.split(b"\0", 1)[0].decode(errors="replace")

    def has(self, flag: Flag) -> bool:
        """Whether the message carries a flag."""
        return bool(self.flags & flag)

    @property
    def is_request(self) -> bool:
        """Whether its sender waits for a reply."""
        return self.has(Flag.REQUEST) and not self.has(Flag.RESPONSE)

    def __str__(self) -> str:
        kind = "request" if self.is_request else "reply" if self.has(Flag.RESPONSE) else "event"
        shown = self.payload[:32].hex(" ") + (" …" if len(self.payload) > 32 else "")
        return (
            f"{type_name(self.type)} {kind} {self.source} -> {self.destination} word={self.word} "
            f"{len(self.payload)} bytes{': ' + shown if shown else ''}"
        )


_names = {int(kind): f"VOS_MSG_{kind.name}" for kind in MessageType}


def name_types(names: dict[str, int]) -> None:
    """Makes names of message types known to everything that prints messages."""
    _names.update({number: name for name, number in names.items()})


def type_name(number: int) -> str:
    """The name of a message type, or its number."""
    return _names.get(number, f"0x{number:08x}")


def as_bytes(payload: bytes | bytearray | memoryview | str) -> bytes:
    """A payload; a text goes as UTF-8 with its terminating NUL."""
    return payload.encode() + b"\0" if isinstance(payload, str) else bytes(payload)
