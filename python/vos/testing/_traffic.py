"""What the hub routes, and assertions about it."""

import struct
from dataclasses import dataclass
from typing import Literal, Protocol

import vos
from vos import Flag, Message, MessageType

from ._background import Background

MONITOR_ATTACH = 0x1000F001
MONITOR_COPY = 0x1000F002
ADVANCE_CLOCK = 0x1000F005
ECHO = 0x1000F010

_RECORD = struct.Struct("=QII")
_HEADER_SIZE = 32
_VERDICTS = ("delivered", "to the hub", "from the hub", "to nobody")

Kind = Literal["request", "reply", "event"]


class Named(Protocol):
    """Whoever has an entity id: a daemon, a peer, a connection."""

    @property
    def eid(self) -> int:
        """The entity id."""


Who = int | str | Named


@dataclass(frozen=True)
class Seen:
    """One message as the hub saw it."""

    time: float
    verdict: str
    message: Message
    names: dict[int, str]

    @property
    def source(self) -> str:
        """The sender's name, or its id where none is known."""
        return self.names.get(self.message.source, str(self.message.source))

    @property
    def destination(self) -> str:
        """The receiver's name, or its id."""
        return self.names.get(self.message.destination, str(self.message.destination))

    @property
    def kind(self) -> Kind:
        """What it is for its receiver."""
        if self.message.is_request:
            return "request"
        return "reply" if self.message.has(Flag.RESPONSE) else "event"

    def __str__(self) -> str:
        payload = self.message.payload
        shown = payload[:24].hex(" ") + (" …" if len(payload) > 24 else "")
        return (
            f"{self.source} -> {self.destination}  {vos.type_name(self.message.type)} {self.kind}"
            f" word={self.message.word} {len(payload)} bytes{' [' + shown + ']' if shown else ''}"
            f"{'' if self.verdict == 'delivered' else ', ' + self.verdict}"
        )


@dataclass(frozen=True)
class message:  # noqa: N801  (reads as a word in assertions)
    """What a message is expected to be; what is left out may be anything. Entities by id, by name or by object."""

    type: int | None = None
    source: Who | None = None
    destination: Who | None = None
    kind: Kind | None = None
    word: int | None = None
    payload: bytes | None = None

    def fits(self, seen: Seen) -> bool:
        """Whether a message is such a one."""
        found = seen.message
        return (
            self.type in (None, found.type)
            and _is(self.source, found.source, seen.source)
            and _is(self.destination, found.destination, seen.destination)
            and self.kind in (None, seen.kind)
            and self.word in (None, found.word)
            and self.payload in (None, found.payload)
        )

    def __str__(self) -> str:
        words = ["a message" if self.type is None else vos.type_name(self.type), self.kind or ""]
        words += [f"from {_text(self.source)}" if self.source is not None else ""]
        words += [f"to {_text(self.destination)}" if self.destination is not None else ""]
        words += [f"word={self.word}" if self.word is not None else ""]
        words += [f"with [{self.payload.hex(' ')}]" if self.payload is not None else ""]
        return " ".join(word for word in words if word)


def _is(wanted: Who | None, eid: int, name: str) -> bool:
    if wanted is None:
        return True
    return wanted == name if isinstance(wanted, str) else _eid(wanted) == eid


def _eid(who: int | Named) -> int:
    return who if isinstance(who, int) else who.eid


def _text(who: Who) -> str:
    return who if isinstance(who, str) else str(_eid(who))


@dataclass(frozen=True)
class Launch:
    """A process that has announced itself."""

    eid: int
    pid: int
    name: str


class Traffic:
    """Everything that the hub has routed since it started, or since clear()."""

    def __init__(self, background: Background) -> None:
        self.launches: list[Launch] = []
        self._background = background
        self._seen: list[Seen] = []
        self._names = {vos.HUB: "hub"}
        self._hub: vos.aio.Connection | None = None
        self._lost = 0

    @property
    def messages(self) -> list[Seen]:
        """All of them, oldest first, up to this moment."""
        self.settle()
        return list(self._seen)

    def clear(self) -> None:
        """Forgets what was routed so far."""
        self.settle()
        self._seen.clear()

    def settle(self) -> None:
        """Waits until everything is here that the hub has routed by now."""
        if self._hub is not None:
            self._background.run(self._hub.request(vos.HUB, ECHO))

    def all(self, wanted: message) -> list[Seen]:
        """Those that fit."""
        return [seen for seen in self.messages if wanted.fits(seen)]

    def expect(self, *wanted: message, timeout: float = 5.0) -> list[Seen]:
        """Waits for messages that come in this order, others in between; fails with all that was seen."""
        found = self._background.wait_until(lambda: self._in_order(wanted), timeout)
        if found is None:
            missing = wanted[self._longest(wanted)]
            raise AssertionError(f"within {timeout:g} s there was no {missing}\n{self.text()}")
        return found

    def refuse(self, unwanted: message) -> None:
        """Fails when such a message was routed by now."""
        found = self.all(unwanted)
        if found:
            raise AssertionError(f"there was {unwanted}: {found[0]}\n{self.text()}")

    def text(self, most: int = 200) -> str:
        """What was seen, a message a line."""
        lines = [f"  {seen}" for seen in self._seen[-most:]]
        left_out = len(self._seen) - len(lines)
        head = f"seen were{f' (the last {most} of {len(self._seen)})' if left_out else ''}:"
        lost = [f"  and {self._lost} more that were too many at once"] if self._lost else []
        return "\n".join([head, *(lines or ["  none"]), *lost])

    # --- in the background loop

    async def attach(self) -> None:
        """Begins to watch the hub that runs."""
        hub = await vos.aio.open("vos.testing")
        self._hub = hub
        hub.on(MONITOR_COPY, self._copied)
        hub.on(MessageType.LAUNCHED, self._launched)
        await hub.subscribe(MessageType.LAUNCHED)
        await hub.request(vos.HUB, MONITOR_ATTACH)

    async def detach(self) -> None:
        """Ends watching."""
        if self._hub is not None:
            self._hub.close()
        self._hub = None

    async def advance(self, seconds: float) -> None:
        """Moves the hub's clock, which stands still otherwise."""
        assert self._hub is not None
        await self._hub.request(vos.HUB, ADVANCE_CLOCK, word=round(seconds * 1000))

    def _launched(self, event: Message) -> None:
        name = event.text
        self._names[event.source] = name or str(event.source)
        self.launches.append(Launch(event.source, event.word, name))
        self._background.tell()

    def _copied(self, copy: Message) -> None:
        realtime, verdict, lost = _RECORD.unpack_from(copy.payload)
        found = Message.unpack(copy.payload[_RECORD.size :])
        self._lost += lost
        # The observer's own questions are no traffic.
        if self._hub is None or self._hub.eid in (found.source, found.destination):
            return
        self._seen.append(Seen(realtime / 1e9, _VERDICTS[verdict], found, self._names))
        self._background.tell()

    # --- in the test

    def _in_order(self, wanted: tuple[message, ...]) -> list[Seen] | None:
        found: list[Seen] = []
        for seen in list(self._seen):
            if len(found) < len(wanted) and wanted[len(found)].fits(seen):
                found.append(seen)
        return found if len(found) == len(wanted) else None

    def _longest(self, wanted: tuple[message, ...]) -> int:
        return next(count for count in range(len(wanted)) if self._in_order(wanted[: count + 1]) is None)
