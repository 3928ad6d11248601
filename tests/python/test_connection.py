"""vos.Connection and the log, against a real hub and scripted peers."""

import os
import signal
import subprocess
import sys
import threading

import pytest

import vos
from vos.testing import message

ECHO = 0x2000
COUNT = 0x2001
CHANGED = 0x2002


def test_a_request_brings_the_reply_and_keeps_what_came_meanwhile(client, peer):
    other = peer("other")

    def reply_behind_two_events(request):
        for word in (1, 2):
            other._hub.notify(request.source, CHANGED, b"news", word=word)
        return request.payload[::-1]

    other.answers(ECHO, reply_behind_two_events)
    reply = client.request("other", ECHO, b"abc")
    assert (reply.payload, reply.word, reply.source) == (b"cba", 0, other.eid)
    assert [client.receive(5).word for _ in range(2)] == [1, 2]
    with pytest.raises(vos.TimedOut):
        client.receive(0)


@pytest.mark.parametrize("size", [0, 1, 65536, 3 << 20])
def test_payloads_arrive_whole(client, peer, size):
    peer("other").answers(ECHO, lambda request: request.payload)
    payload = os.urandom(size)
    assert client.request("other", ECHO, payload).payload == payload


def test_what_says_no_is_an_exception(client, hub, peer):
    other = peer("other").refuses(ECHO, vos.Ret.NO_RESOURCE)
    with pytest.raises(vos.VosError, match=r"request 0x2000 .*: out of memory or room \(9004\)"):
        client.request("other", ECHO)
    with pytest.raises(vos.VosError) as refused:
        client.request(other.eid, COUNT)
    assert refused.value.code == vos.Ret.ERROR
    with pytest.raises(vos.UnknownName):
        client.request("nobody", ECHO)
    with pytest.raises(vos.BadArgument):
        client.look_up("n" * 64)
    for procedure in (None, 7):
        with pytest.raises(vos.PeerGone):
            client.request(4711, ECHO, procedure=procedure)
    other.is_silent(CHANGED)
    threading.Timer(0.1, hub.stop).start()
    with pytest.raises(vos.PeerGone):
        client.request(other.eid, CHANGED)
    with pytest.raises(vos.VosError, match="cannot connect 'late' to the hub"):
        vos.Connection("late")


def test_late_replies_are_dropped_and_counted(client, peer):
    other = peer("other")
    other.answers(ECHO, b"late", after=0.3, times=1).answers(ECHO, b"right")
    with pytest.raises(vos.TimedOut):
        client.request("other", ECHO, timeout=0.05)
    # The peer answers in order, so the first reply belongs to the request that was given up.
    assert client.request("other", ECHO).payload == b"right"
    assert client.late_replies == 1
    assert client.request("other", ECHO).payload == b"right"


def test_procedures_are_matched_by_number(client, peer):
    other = peer("other")
    other.answers(ECHO, b"one", procedure=1, after=0.2, times=1).answers(ECHO, b"two", procedure=2)
    with pytest.raises(vos.TimedOut):
        client.request(other.eid, ECHO, procedure=1, timeout=0.05)
    assert client.request(other.eid, ECHO, procedure=2).payload == b"two"


def test_a_peer_that_comes_back_is_asked_again(client, hub, peer):
    other = peer(300).dies_of(ECHO)
    other.answers(ECHO, b"again")
    timer = threading.Timer(0.2, other.come_back)
    timer.start()
    assert client.request(300, ECHO).payload == b"again"
    hub.traffic.expect(message(vos.MessageType.RESEND_REQUEST, destination=client))


def test_serving_and_publishing(hub, peer):
    asker, seen = peer("asker"), []
    with vos.Connection("served") as served:
        served.serve(ECHO, lambda request: request.text.upper())
        served.on(CHANGED, seen.append)

        @served.serve(COUNT, procedure=5)
        def fifth(request):
            raise vos.BadArgument(vos.Ret.BAD_ARG)

        @served.serve(COUNT)
        def broken(request):
            raise ZeroDivisionError

        @served.serve(CHANGED)
        def stop(request):
            served.publish(CHANGED, b"last", word=9)
            served.stop()

        served.subscribe(CHANGED)
        asker.subscribe(CHANGED)
        answers = []

        def ask():
            answers.append(asker.request("served", ECHO, "hello").text)
            answers.append(asker.request("served", COUNT, procedure=5).word)
            with pytest.raises(vos.VosError):
                asker.request("served", COUNT)
            asker.publish(CHANGED, word=8)
            answers.append(asker.request("served", CHANGED).word)

        thread = threading.Thread(target=ask)
        thread.start()
        with pytest.raises(ZeroDivisionError):
            served.run(stop_signals=())
        served.run(stop_signals=())
        thread.join()
        assert answers == ["HELLO", 5, 0]
        assert [event.word for event in seen] == [8]
        assert asker.expect_event(CHANGED, count=2).payload == b"last"
        with pytest.raises(vos.VosError):
            asker.request("served", 0x2999, timeout=0.05)  # nobody runs the loop any more


def test_delayed_messages_follow_the_clock(client, clock, hub):
    order = []
    client.delay(60, lambda: order.append(60))
    cancelled = client.delay(20, lambda: order.append(20))
    client.delay(3600, lambda: client.stop())
    client.delay(30, lambda: order.append(30))
    client.cancel(cancelled)
    clock.advance(59.999)
    clock.advance(3600)
    client.run(stop_signals=())
    assert order == [30, 60]
    due = message(vos.MessageType.REGISTER_DELAYED_MSG, source="hub", kind="event")
    assert len(hub.traffic.all(due)) == 3


@pytest.mark.usefixtures("starts_python")
def test_sigterm_ends_run(hub, daemon, tmp_path):
    program = tmp_path / "daemon.py"
    lines = ["import vos", "vos.hold_stop_signals()", "with vos.Connection('pyd') as hub:"]
    lines += ["    print('ready', flush=True)", "    hub.run()"]
    program.write_text("\n".join(lines))
    process = daemon(sys.executable, program)
    process.await_output("ready")
    assert process.stop(signal.SIGTERM) == 0


@pytest.mark.usefixtures("starts_python")
def test_the_log_knows_the_call_site(hub):
    script = """
import logging, vos
with vos.Connection("logd") as hub, vos.Log(hub.eid) as log:
    def work():
        log.error("%d %% of %s\\0", 5, "it")
        log.debug("not written")
        log.level = vos.Level.DEBUG
        log.debug("100%s")
        logging.getLogger().addHandler(vos.LogHandler())
        logging.warning("from logging")
    work()
    print(hub.eid)
"""
    ended = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, check=True)
    with open(f"/tmp/log3/{ended.stdout.strip()}.log") as file:
        text = file.read()
    assert "work:5:5 % of it\\0" in text and "work:8:100%s" in text and "work:10:from logging" in text
    assert "not written" not in text
