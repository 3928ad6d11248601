"""The fixtures themselves: what they catch, and what they then say."""

import sys
import textwrap

import pytest

import vos
from vos.testing import message

pytestmark = pytest.mark.usefixtures("starts_python")
ECHO = 0x2000

DAEMON = """
import os, sys, vos
vos.hold_stop_signals()
with vos.Connection("dut") as hub, vos.Log(hub.eid) as log:
    log.error("logged")
    print("printed", flush=True)
    @hub.serve(0x2000)
    def ask(request):
        if request.payload == b"crash":
            os._exit(4)
        return hub.request("helper", 0x2001, request.payload, timeout=2).payload
    hub.run()
sys.exit(int(sys.argv[1]) if sys.argv[1:] else 0)
"""


@pytest.fixture
def dut(daemon, tmp_path):
    """Starts the daemon under test."""
    program = tmp_path / "dut.py"
    program.write_text(DAEMON)
    return lambda *arguments: daemon(sys.executable, program, *arguments)


def test_daemon_peers_and_messages(hub, dut, peer, client, traffic):
    helper = peer("helper").answers(0x2001, b"helped", times=2).is_silent(0x2001)
    under_test = dut()
    under_test.await_output("printed")
    assert (under_test.name, under_test.log.count("logged")) == ("dut", 1)
    assert client.request("dut", ECHO, b"x").payload == b"helped"
    assert helper.expect_request(0x2001).payload == b"x"
    traffic.expect(
        message(ECHO, source=client, destination="dut", kind="request"),
        message(0x2001, source="dut", destination=helper, payload=b"x"),
        message(0x2001, source="helper", kind="reply", word=0),
        message(ECHO, source=under_test, kind="reply", payload=b"helped"),
    )
    traffic.refuse(message(ECHO, destination="helper"))
    traffic.clear()
    assert client.request("dut", ECHO, b"y").payload == b"helped"
    helper.die()
    with pytest.raises(vos.VosError) as gone:
        client.request("dut", ECHO, b"z")
    assert gone.value.code == vos.Ret.UNKNOWN_NAME
    helper.come_back()
    assert [seen.kind for seen in traffic.all(message(ECHO))] == ["request", "reply"] * 2
    hub.stop()
    assert under_test.wait() != 0


# A test that has to fail, and what its report has to hold.
FAILURES = {
    "ends early": (
        "p = start()\nwith pytest.raises(vos.TimedOut):\n    client.request(p.eid, 0x2000, b'crash', timeout=0.3)",
        ["ended in the middle of the test with status 4", "--- output of dut", "printed", "--- log of dut", "logged"],
    ),
    "stops with a status": ("start(3)", ["was stopped and ended with status 3"]),
    "never announces itself": ("daemon('/bin/sleep', 60, timeout=0.2)", ["did not announce itself within 0.2 s"]),
    "cannot connect": ("daemon('/bin/sh', '-c', 'echo why; exit 5')", ["sh ended with 5", "why"]),
    "shows everything": (
        "start()\nassert client.request('dut', 0x2000, timeout=5)",
        ["output of dut", "log of dut", "messages", "pytest -> dut  0x00002000 request word=0 0 bytes"],
    ),
    "no such message": (
        "traffic.expect(message(0x2000, source=client, word=7), timeout=0.1)",
        ["within 0.1 s there was no 0x00002000 from * word=7", "hub -> pytest  VOS_MSG_LAUNCHED"],
    ),
    "unwanted message": (
        "client.publish(0x2000, b'oh')\ntraffic.refuse(message(0x2000))",
        ["there was 0x00002000: pytest -> hub  0x00002000 event word=0 2 bytes [[]6f 68[]]*"],
    ),
    "no such request": ("peer('p').expect_request(0x2000, timeout=0.1)", ["p got no 0x00002000 request (1) within"]),
    "a script that fails": (
        "peer('p').answers(0x2000, lambda request: 1 / 0)\nclient.request('p', 0x2000)",
        ["ZeroDivisionError"],
    ),
    "no such output": ("start().await_output('never', 0.1)", ["dut wrote nothing like 'never' within 0.1 s"]),
    "a clock that the hub has not": ("hub.clock.advance(1)", ["*VosError*error (9002)*"]),
}


@pytest.mark.parametrize("name", FAILURES)
def test_failures_are_seen_and_explained(pytester, name):
    body, expected = FAILURES[name]
    pytester.makeconftest("pytest_plugins = ['vos.testing']")
    pytester.makepyfile(f"""
import sys, pytest, vos
from vos.testing import message

@pytest.fixture
def start(daemon, tmp_path):
    (tmp_path / "dut.py").write_text({DAEMON!r})
    return lambda *arguments: daemon(sys.executable, tmp_path / "dut.py", *arguments)

def test(hub, start, daemon, peer, client, traffic):
{textwrap.indent(body, "    ")}
""")
    result = pytester.runpytest_subprocess("-p", "no:cacheprovider")
    assert result.ret == 1
    result.stdout.fnmatch_lines([f"*{line}*" for line in expected])


@pytest.mark.parametrize(
    ("environment", "complaint"),
    [({"VOS_SANDBOX": None}, "vosctl sandbox --no-hub -- pytest"), ({"VOS_HUBD": "/bin/false"}, "does not start")],
)
def test_what_is_missing_is_told(pytester, monkeypatch, environment, complaint):
    for name, value in environment.items():
        monkeypatch.setenv(name, value) if value else monkeypatch.delenv(name)
    pytester.makeconftest("pytest_plugins = ['vos.testing']")
    pytester.makepyfile("def test(hub): pass")
    result = pytester.runpytest_subprocess("-p", "no:cacheprovider")
    result.stdout.fnmatch_lines([f"*RuntimeError: *{complaint}*"])
