"""lampd among its peers."""

import os

import pytest

import buttond
import lampd
import vos
from vos.testing import message

HEARTBEAT = 0x10000832


def changes(traffic):
    """What it told everybody, in order."""
    told = traffic.all(message(lampd.CHANGED_TYPE, source="lampd", destination="hub"))
    return [lampd.State.unpack(each.message.payload).level for each in told]


def test_it_is_set_and_tells_everybody(lamp, peer, traffic):
    listener = peer("listener")
    listener.subscribe(lampd.CHANGED_TYPE)
    assert lamp.get() == lampd.State(level=0, offAfterMs=0)
    assert lamp.set(lampd.State(level=40, offAfterMs=0)).level == 0
    assert lamp.set(lampd.State(level=70, offAfterMs=0)).level == 40
    assert lamp.get().level == 70
    assert lampd.State.unpack(listener.expect_event(lampd.CHANGED_TYPE, count=2).payload).level == 70
    assert changes(traffic) == [40, 70]


def test_it_goes_off_by_itself_unless_it_is_set_anew(clock, lamp, traffic):
    lamp.set(lampd.State(level=10, offAfterMs=60_000))
    clock.advance(59.9)
    lamp.set(lampd.State(level=20, offAfterMs=3_600_000))
    clock.advance(0.1)
    assert lamp.get().level == 20
    clock.advance(3600)
    traffic.expect(*[message(lampd.CHANGED_TYPE, source="lampd", destination="hub")] * 3)
    assert lamp.get().level == 0
    assert changes(traffic) == [10, 20, 0]


def test_its_button_switches_it_on_and_off(lamp, peer, traffic):
    button = peer("buttond")
    assert lamp.get().level == 0  # who answers has subscribed before
    for level in (lampd.MAX_LEVEL, 0):
        traffic.clear()
        button.publish(buttond.PRESSED_TYPE)
        traffic.expect(message(lampd.CHANGED_TYPE, source="lampd", destination="hub"))
        assert lamp.get().level == level


def test_it_tries_the_lamp_out_and_says_that_it_is_alive(lamp, traffic):
    assert lamp.check() == lampd.CheckReply(faults=0)
    traffic.expect(message(HEARTBEAT, source="lampd", destination="hub"))


@pytest.mark.parametrize("payload", [b"", bytes(7), bytes(9), lampd.State(level=101, offAfterMs=0).pack()])
def test_it_refuses_what_does_not_fit(client, lamp, payload, traffic):
    with pytest.raises(vos.BadArgument):
        lampd.State.unpack(client.request("lampd", lampd.SET_TYPE, payload, procedure=lampd.SET_NUMBER).payload)
    assert lamp.get().level == 0
    assert changes(traffic) == []


def test_it_ends_with_1_when_its_hub_is_gone(hub, daemon):
    started = daemon(os.environ["LAMPD"])
    hub.stop()
    assert started.wait() == 1
