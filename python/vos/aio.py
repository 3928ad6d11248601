"""The connection for asyncio: the hub's descriptor is one more reader of the event loop."""

import asyncio
import inspect
from collections.abc import AsyncIterator, Awaitable, Callable
from types import TracebackType
from typing import Any

from ._calls import Outcome
from ._link import PATIENCE, Link, delay_payload, name_payload, opened
from ._library import Handle
from .codes import HUB, Flag, MessageType, Ret
from .errors import UnknownName, VosError, check
from .message import Message
from .request import Request

_MOST_IN_A_ROW = 64


class Connection(Link):
    """A connection whose calls are coroutines; belongs to one event loop. Open one with open().

    Handlers may be functions or coroutine functions; each coroutine is a task of its own, so that a slow one holds up
    nobody but its own requester's next request of the same kind: replies are told apart by their order.
    """

    def __init__(self, handle: Handle) -> None:
        super().__init__(handle)
        self._loop = asyncio.get_running_loop()
        self._gone: asyncio.Future[None] = self._loop.create_future()
        self._tasks: set[asyncio.Future[Any]] = set()
        self._last: dict[tuple[int, int, int | None], asyncio.Future[None]] = {}
        self._queues: dict[int, list[asyncio.Queue[Message | None]]] = {}
        self._loop.add_reader(handle.fileno(), self._readable)

    @classmethod
    async def open(cls, who: str | int | None) -> "Connection":
        """Opens under a name, an entity id or, with None, under the name in ../Info.plugin."""
        return cls(await asyncio.to_thread(opened, who))

    async def __aenter__(self) -> "Connection":
        return self

    async def __aexit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def close(self) -> None:
        """Ends the connection, and what its handlers are doing."""
        if self._handle.is_open:
            self._end()
            for task in self._tasks:
                task.cancel()
            self._handle.close()

    async def closed(self) -> None:
        """Waits until the connection has ended, by close() or because the hub is gone."""
        await asyncio.shield(self._gone)

    async def request(
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
        """As vos.Connection.request(); any number of requests may be under way."""
        peer = await self.look_up(to, timeout) if isinstance(to, str) else to
        reply: asyncio.Future[Message] = self._loop.create_future()

        def done(outcome: Outcome) -> None:
            if reply.done():
                return
            if isinstance(outcome, VosError):
                reply.set_exception(outcome)
            else:
                reply.set_result(outcome)

        call = self._ask(peer, type, payload, word, procedure, match_word, flags, done)
        try:
            return await asyncio.wait_for(reply, timeout)
        except VosError:
            raise
        except TimeoutError:
            raise self._calls.timed_out(call) from None
        except asyncio.CancelledError:
            self._calls.give_up(call)
            raise

    async def look_up(self, name: str, timeout: float = PATIENCE) -> int:
        """The entity id of a name, whether it runs or not; raises UnknownName."""
        reply = await self.request(HUB, MessageType.GET_EID_BY_APP_NAME, name_payload(name), timeout=timeout)
        if reply.word == 0:
            raise UnknownName(Ret.UNKNOWN_NAME, f"look up {name!r}")
        return reply.word

    async def subscribe(self, type: int) -> None:
        """Asks the hub for the events of a type."""
        reply = await self.request(HUB, MessageType.REGISTER_EVENT_INTEREST, word=type)
        check(reply.word, f"subscribe to {type:#x}")

    async def unsubscribe(self, type: int) -> None:
        """Takes subscribe() back."""
        reply = await self.request(HUB, MessageType.UNREGISTER_EVENT_INTEREST, word=type)
        check(reply.word, f"unsubscribe from {type:#x}")

    async def events(self, type: int) -> AsyncIterator[Message]:
        """Subscribes and gives the events of a type as they come, until the connection ends."""
        queue: asyncio.Queue[Message | None] = asyncio.Queue()
        self._queues.setdefault(type, []).append(queue)
        try:
            await self.subscribe(type)
            while (message := await queue.get()) is not None:
                yield message
        finally:
            self._queues[type].remove(queue)

    async def delay(self, seconds: float, handler: Callable[[], Any]) -> int:
        """Has the hub send a message after a while, upon which the handler runs; a number for cancel()."""
        word = self._add_delay(handler)
        try:
            await self.request(HUB, MessageType.REGISTER_DELAYED_MSG, delay_payload(seconds), word=word)
        except BaseException:
            self._delays.pop(word, None)
            raise
        return word

    async def cancel(self, delay: int) -> None:
        """Takes delay() back; nothing happens when it is over."""
        if self._delays.pop(delay, None) is not None:
            await self.request(HUB, MessageType.UNREGISTER_DELAYED_MSG, word=delay)

    # --- inside

    def _readable(self) -> None:
        for _ in range(_MOST_IN_A_ROW):
            if not self._handle.is_open:
                return
            ret, block = self._handle.receive()
            if ret == Ret.OK:
                self._take(Message.unpack(block))
            elif ret == Ret.TIMEOUT:
                return
            elif ret != Ret.NO_RESOURCE:
                self._end()
                return

    def _take(self, message: Message) -> None:
        if self._is_own(message):
            return
        if message.is_request:
            service = self._service_of(message)
            if service is not None:
                self._serve_in_turn(service, Request(message, self._post))
            return
        queues = self._queues.get(message.type, [])
        for queue in queues:
            queue.put_nowait(message)
        if queues and message.type not in self._listeners:
            return
        handler = self._handler_of(message)
        if handler is not None:
            self._start(_finished(handler))

    def _serve_in_turn(self, service: Callable[[Request], Any], request: Request) -> None:
        # Nothing but their order tells a requester which reply is to which of its requests of one kind.
        kind = (request.source, request.type, request.word if request.message.has(Flag.SRPC) else None)
        task = self._start(self._answer(service, request, self._last.get(kind)))
        self._last[kind] = task

        def forget(done: "asyncio.Future[None]") -> None:
            if self._last.get(kind) is done:
                del self._last[kind]

        task.add_done_callback(forget)

    async def _answer(
        self, service: Callable[[Request], Any], request: Request, before: "asyncio.Future[None] | None"
    ) -> None:
        if before is not None:
            await asyncio.wait([before])
        with request:
            result = service(request)
            request.finish(await result if inspect.isawaitable(result) else result)

    def _start(self, work: Awaitable[None]) -> "asyncio.Future[None]":
        task = asyncio.ensure_future(work)
        self._tasks.add(task)
        task.add_done_callback(self._tell)
        return task

    def _tell(self, task: "asyncio.Future[None]") -> None:
        self._tasks.discard(task)
        if not task.cancelled() and (error := task.exception()) is not None:
            self._loop.call_exception_handler({"message": "a handler failed", "exception": error, "future": task})

    def _end(self) -> None:
        self._loop.remove_reader(self._handle.fileno())
        self._calls.fail_all(Ret.PEER_GONE)
        for queue in [queue for queues in self._queues.values() for queue in queues]:
            queue.put_nowait(None)
        if not self._gone.done():
            self._gone.set_result(None)


async def _finished(handler: Callable[[], Any]) -> None:
    result = handler()
    if inspect.isawaitable(result):
        await result


async def open(who: str | int | None) -> Connection:
    """Connection.open(), for `async with await vos.aio.open("meshd") as hub`."""
    return await Connection.open(who)

