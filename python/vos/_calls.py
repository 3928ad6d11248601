"""Which reply belongs to which request.

Nothing on the wire tells the late reply to one request from the reply to the next one of its kind. A peer answers in
order, so a request that ended without its reply leaves a mark, and the next reply of its kind is taken for the late
one. A peer that dropped a request altogether would be a reply behind for ever; so a request that runs out of time
although a reply was taken for a late one meanwhile leaves no mark. A peer that came back leaves none either.
"""

import time
from collections.abc import Callable

from .codes import Flag, Ret
from .errors import VosError, error_of
from .message import Message

MOST_RESENDS = 16
MARK_LIFE = 60.0

Outcome = Message | VosError


def is_refusal(reply: Message) -> bool:
    """A reply that says no: a code as its word and no payload, as the hub answers for those who are not there."""
    code = 9001 <= reply.word <= 9999 and not reply.payload
    return code and (not reply.has(Flag.SRPC) or reply.word == Ret.PEER_GONE)


class Call:
    """One request that waits for its reply."""

    def __init__(self, request: Message, match_word: bool, done: Callable[[Outcome], None]) -> None:
        self.request = request
        self.match_word = match_word or request.has(Flag.SRPC)
        self.done: Callable[[Outcome], None] | None = done
        self.late_seen = False
        self.resends = 0
        self.mark_until = 0.0

    def fits(self, reply: Message) -> bool:
        """Whether the reply is to this request, as far as the header tells."""
        if not self.match_word:
            return True
        flagged = reply.has(Flag.SRPC) or not self.request.has(Flag.SRPC)
        return flagged and reply.word == self.request.word

    def is_refused_by(self, reply: Message) -> bool:
        """Whether the reply says no to this request."""
        return is_refusal(reply) and not (self.match_word and self.fits(reply))

    def finish(self, outcome: Outcome) -> None:
        """Hands the outcome over, once."""
        done, self.done = self.done, None
        if done is not None:
            done(outcome)


class Calls:
    """The requests of one connection that have no reply yet."""

    def __init__(self) -> None:
        self.late_replies = 0
        self._by_kind: dict[tuple[int, int], list[Call]] = {}

    def add(self, call: Call) -> None:
        """Notes a request that was sent."""
        kind = (call.request.type, call.request.destination)
        self._by_kind.setdefault(kind, []).append(call)

    def complete(self, reply: Message) -> bool:
        """Gives a reply to the oldest request that it fits; whether there was one, be it one given up."""
        calls = self._calls_of((reply.type, reply.source))
        found = next((call for call in calls if call.fits(reply)), None)
        found = found or next((call for call in calls if call.is_refused_by(reply)), None)
        if found is None:
            return False
        self._remove(found)
        if found.done is None:
            self.late_replies += 1
            for call in calls:
                call.late_seen = call.late_seen or call.fits(reply)
        elif found.is_refused_by(reply):
            found.finish(error_of(reply.word, _doing(found.request)))
        else:
            found.finish(reply)
        return True

    def resend(self, peer: int, send: Callable[[Message], int]) -> None:
        """Sends again what waits for a peer that came back."""
        for call in [call for calls in self._by_kind.values() for call in calls]:
            if call.request.destination != peer:
                continue
            call.resends += 1
            ret = Ret.ERROR if call.resends > MOST_RESENDS else Ret.OK
            if call.done is None or ret != Ret.OK or (ret := Ret(send(call.request))) != Ret.OK:
                self._remove(call)
                call.finish(error_of(ret, _doing(call.request)))

    def give_up(self, call: Call) -> None:
        """Ends a request without its reply, which will be late."""
        call.done = None
        call.mark_until = time.monotonic() + MARK_LIFE
        if call.late_seen:
            self._remove(call)

    def fail_all(self, code: int) -> None:
        """Ends every request with a code."""
        waiting = [call for calls in self._by_kind.values() for call in calls]
        self._by_kind.clear()
        for call in waiting:
            call.finish(error_of(code, _doing(call.request)))

    def timed_out(self, call: Call) -> VosError:
        """Gives up: what the requester is told."""
        self.give_up(call)
        return error_of(Ret.TIMEOUT, _doing(call.request))

    def _calls_of(self, kind: tuple[int, int]) -> list[Call]:
        now = time.monotonic()
        calls = [c for c in self._by_kind.get(kind, []) if c.done is not None or c.mark_until > now]
        if calls:
            self._by_kind[kind] = calls
        return list(calls)

    def _remove(self, call: Call) -> None:
        kind = (call.request.type, call.request.destination)
        left = [each for each in self._by_kind.get(kind, []) if each is not call]
        if left:
            self._by_kind[kind] = left
        else:
            self._by_kind.pop(kind, None)


def _doing(request: Message) -> str:
    return f"request {request.type:#x} to {request.destination}"
