"""The example daemons' day: timers, delayed messages, tasks, procedures, commands; a plug-in's parameter."""

import re
import shutil
import struct
import subprocess

import pytest

import vos
from vos.testing import message

STATUS = 0x1000F020
REPORT = 0x1000F021
REBOOT = vos.MessageType.REBOOT


@pytest.fixture
def vosctl(bin_dir):
    """Runs vosctl: what it printed, with its exit status behind it."""

    def run(*arguments):
        ended = subprocess.run(
            [bin_dir / "vosctl", *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True
        )
        return f"{ended.stdout}-> {ended.returncode}"

    return run


@pytest.mark.parametrize("program", ["statusd", "statusd_cpp"])
def test_statusd_lives_its_whole_day_on_the_library(hub, daemon, traffic, client, vosctl, bin_dir, program):
    statusd = daemon(bin_dir / program)
    traffic.expect(message(vos.MessageType.HEARTBEAT, source=statusd))
    for report in traffic.expect(*[message(REPORT, source=statusd)] * 3):
        assert re.match(r"0D 0H 0M \d+S", report.message.text)
    traffic.expect(message(vos.MessageType.SYSTEM_TASK_FINISH, source=statusd, destination=statusd))

    def figure(procedure):
        return client.request("statusd", STATUS, bytes(8), procedure=procedure).payload.decode()

    assert re.match(r"0D 0H 0M \d+S", figure(101))
    assert re.match(r"\d+ % of the CPU", figure(102))
    assert figure(103) == ""

    assert vosctl("cli", "statusd", "--", "echo", "two words", "--flag") == (
        "two words --flag\nresult VOS_RET_OK (0)\n-> 0"
    )
    assert vosctl("cli", "statusd", "--", "format", "/") == (
        "commands: uptime, load, echo WORDS\nvosctl: the command ended with VOS_RET_UNKNOWN_NAME (9801)\n-> 1"
    )
    assert "answered without running the command" in vosctl("cli", "hubd", "--", "echo")
    assert vosctl("reboot") == "-> 0"
    traffic.expect(message(REBOOT, kind="request"), message(REBOOT, kind="reply", word=0))


def test_a_plugin_answers_set_parameter_events_under_the_name_in_its_description(
    hub, daemon, client, tmp_path, bin_dir, source_dir
):
    (tmp_path / "bin").mkdir()
    shutil.copy(source_dir / "examples/plugin/Info.plugin", tmp_path)
    plugin = daemon(bin_dir / "plugin", cwd=tmp_path / "bin")
    assert plugin.name == "com.operator.marlow.smartgateway.light"

    def set_parameter(text):
        offset = 32 if text else 0
        fixed = bytes(24) + struct.pack("=II", offset, 0)
        return client.request(plugin.eid, vos.MessageType.PLUGIN_SET_PARAMETER, fixed + text).payload

    assert b"refused," in set_parameter(b"")
    assert b"level=77" in set_parameter(b"level=77\0")
