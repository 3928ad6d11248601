"""The connection for asyncio."""

import asyncio

import pytest

import vos
from vos.testing import message

ECHO = 0x2000
SLOW = 0x2001
CHANGED = 0x2002


def run(work):
    return asyncio.run(asyncio.wait_for(work, 20))


def test_requests_run_side_by_side_and_replies_of_a_kind_in_order(peer):
    peer("slow").answers(ECHO, b"slow", after=0.2, times=1).answers(ECHO, b"slower")
    peer("quick").answers(ECHO, b"quick")

    async def ask():
        async with await vos.aio.open("asker") as hub:
            done = []

            async def one(name):
                done.append((await hub.request(name, ECHO)).payload)

            first = asyncio.ensure_future(one("slow"))
            await asyncio.gather(first, one("slow"), one("quick"))
            return done

    assert run(ask()) == [b"quick", b"slow", b"slower"]


def test_replies_are_matched_by_word_and_late_ones_counted(peer):
    other = peer("other").answers(ECHO, b"late", after=0.2, times=1).answers(ECHO, b"right")
    other.answers(SLOW, lambda request: request.payload, procedure=1, after=0.2, times=1)
    other.answers(SLOW, lambda request: request.payload, procedure=2)

    async def ask():
        async with await vos.aio.open("asker") as hub:
            with pytest.raises(vos.TimedOut):
                await hub.request("other", ECHO, timeout=0.05)
            given_up = asyncio.ensure_future(hub.request(other.eid, SLOW, b"a", procedure=1))
            second = await hub.request(other.eid, SLOW, b"b", procedure=2)
            given_up.cancel()
            await asyncio.sleep(0.3)
            late = hub.late_replies
            return second.payload, late, (await hub.request("other", ECHO)).payload

    assert run(ask()) == (b"b", 2, b"right")


def test_serving_events_and_delays(hub, clock, peer):
    asker = peer("asker")

    async def serve():
        async with await vos.aio.open("served") as served:
            turns = asyncio.Queue()

            @served.serve(ECHO)
            @served.serve(SLOW)
            async def echo(request):
                if request.payload == b"wait":
                    await turns.get()
                return request.payload

            events = served.events(CHANGED)
            first = asyncio.ensure_future(anext(events))
            await served.delay(5, lambda: served.publish(CHANGED, b"due"))
            loop = asyncio.get_running_loop()
            waits = loop.run_in_executor(None, lambda: asker.request("served", ECHO, b"wait"))
            direct = await loop.run_in_executor(None, lambda: asker.request("served", SLOW, b"now"))
            turns.put_nowait(None)
            await loop.run_in_executor(None, clock.advance, 5)
            return (await waits).payload, direct.payload, (await first).payload

    assert run(serve()) == (b"wait", b"now", b"due")
    hub.traffic.expect(message(CHANGED, source="served", payload=b"due"))


def test_the_end_of_the_hub_ends_everything(hub, peer):
    peer("other").is_silent(ECHO)

    async def ask():
        async with await vos.aio.open("asker") as connection:
            request = asyncio.ensure_future(connection.request("other", ECHO))
            await asyncio.sleep(0.1)
            await asyncio.get_running_loop().run_in_executor(None, hub.stop)
            with pytest.raises(vos.PeerGone):
                await request
            await connection.closed()
            with pytest.raises(vos.PeerGone):
                connection.publish(CHANGED)

    run(ask())
