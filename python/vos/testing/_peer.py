"""Scripted peers, which stand in for daemons."""

import asyncio
from collections.abc import Callable
from dataclasses import dataclass

import vos
from vos import Message, Reply, Request

from ._background import Background

Script = Callable[[Request], Reply]


@dataclass
class _Rule:
    payload: bytes | str | Script
    word: int
    fail: int | None
    after: float
    silent: bool
    dies: bool
    times: int | None


class Peer:
    """A client of the hub under another daemon's name, which does what the test says.

    Rules for one type come into force one after another: one with `times` is used so often, the last one for ever. A
    request without a rule is answered VOS_RET_ERROR.
    """

    def __init__(self, background: Background, who: str | int) -> None:
        self.requests: list[Message] = []
        """All requests that came, oldest first."""
        self.events: list[Message] = []
        """All events that came, oldest first."""
        self._background = background
        self._who = who
        self._rules: dict[tuple[int, int | None], list[_Rule]] = {}
        self._hub = background.run(self._open())
        self.eid = self._hub.eid

    def answers(
        self,
        type: int,
        payload: bytes | str | Script = b"",
        *,
        word: int = 0,
        procedure: int | None = None,
        after: float = 0.0,
        times: int | None = None,
    ) -> "Peer":
        """Answers requests of a type, or a procedure: with a payload, or with what a function of the request gives."""
        return self._add(type, procedure, _Rule(payload, word, None, after, False, False, times))

    def refuses(
        self, type: int, code: int = vos.Ret.ERROR, *, procedure: int | None = None, times: int | None = None
    ) -> "Peer":
        """Answers with a code and no payload."""
        return self._add(type, procedure, _Rule(b"", 0, code, 0.0, False, False, times))

    def is_silent(self, type: int, *, procedure: int | None = None, times: int | None = None) -> "Peer":
        """Leaves requests unanswered."""
        return self._add(type, procedure, _Rule(b"", 0, None, 0.0, True, False, times))

    def dies_of(self, type: int, *, procedure: int | None = None) -> "Peer":
        """Is gone, without an answer, as soon as such a request has come."""
        return self._add(type, procedure, _Rule(b"", 0, None, 0.0, False, True, 1))

    def die(self) -> None:
        """Is gone, as a daemon that has crashed."""
        self._background.run(self._close())

    def come_back(self) -> None:
        """Connects again, under the same name or id."""
        self._background.run(self._close())
        self._hub = self._background.run(self._open())
        self.eid = self._hub.eid

    def expect_request(self, type: int, *, count: int = 1, timeout: float = 5.0) -> Message:
        """Waits until so many requests of a type have come: the last of them."""
        return self._expect("request", self.requests, type, count, timeout)

    def expect_event(self, type: int, *, count: int = 1, timeout: float = 5.0) -> Message:
        """Waits until so many events of a type have come: the last of them."""
        return self._expect("event", self.events, type, count, timeout)

    def subscribe(self, type: int) -> None:
        """Has the hub send it the events of a type."""
        self._background.run(self._hub.subscribe(type))

    def publish(self, type: int, payload: bytes | str = b"", *, word: int = 0) -> None:
        """Sends an event to all who subscribed."""
        self._background.run(self._soon(lambda: self._hub.publish(type, payload, word=word)))

    def notify(self, to: int, type: int, payload: bytes | str = b"", *, word: int = 0) -> None:
        """Sends an event to one entity."""
        self._background.run(self._soon(lambda: self._hub.notify(to, type, payload, word=word)))

    def request(
        self,
        to: int | str,
        type: int,
        payload: bytes | str = b"",
        *,
        word: int = 0,
        procedure: int | None = None,
        timeout: float = 5.0,
    ) -> Message:
        """Asks, as vos.Connection.request()."""
        return self._background.run(
            self._hub.request(to, type, payload, word=word, procedure=procedure, timeout=timeout), timeout + 10
        )

    def _add(self, type: int, procedure: int | None, rule: _Rule) -> "Peer":
        async def add() -> None:
            self._rules.setdefault((type, procedure), []).append(rule)
            self._hub.serve(type, self._serve, procedure=procedure)

        self._background.run(add())
        return self

    async def _open(self) -> vos.aio.Connection:
        hub = await vos.aio.open(self._who)
        hub.on(None, self._noted)
        for type, procedure in self._rules:
            hub.serve(type, self._serve, procedure=procedure)
        return hub

    async def _close(self) -> None:
        self._hub.close()

    async def _soon(self, work: Callable[[], None]) -> None:
        work()

    def _noted(self, event: Message) -> None:
        self.events.append(event)
        self._background.tell()

    def _rule_of(self, request: Request) -> _Rule | None:
        procedure = request.word if request.message.has(vos.Flag.SRPC) else None
        rules = self._rules.get((request.type, procedure)) or self._rules.get((request.type, None), [])
        while rules and rules[0].times == 0:
            del rules[0]
        if rules and rules[0].times is not None:
            rules[0].times -= 1
        return rules[0] if rules else None

    async def _serve(self, request: Request) -> Reply:
        self.requests.append(request.message)
        rule = self._rule_of(request)
        self._background.tell()
        if rule is None:
            request.fail()
            return None
        if rule.dies:
            self._hub.close()
        if rule.silent or rule.dies:
            request.later()
            return None
        await asyncio.sleep(rule.after)
        if rule.fail is not None:
            request.fail(rule.fail)
            return None
        payload = rule.payload(request) if callable(rule.payload) else rule.payload
        request.reply(b"" if payload is None else payload, rule.word)
        return None

    def _expect(self, kind: str, messages: list[Message], type: int, count: int, timeout: float) -> Message:
        def last() -> Message | None:
            fitting = [message for message in list(messages) if message.type == type]
            return fitting[count - 1] if len(fitting) >= count else None

        found = self._background.wait_until(last, timeout)
        if found is None:
            seen = "\n".join(f"  {message}" for message in messages) or "  none"
            raise AssertionError(
                f"{self._who} got no {vos.type_name(type)} {kind} ({count}) within {timeout:g} s; {kind}s were:\n{seen}"
            )
        return found
