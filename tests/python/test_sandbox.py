"""vosctl sandbox: what the command sees, its status, the way in, what is left."""

import os
import signal
import subprocess
import time
from pathlib import Path

import pytest


@pytest.fixture
def sandbox(bin_dir):
    """Runs vosctl sandbox to its end."""

    def run(*arguments, **options):
        command = [str(bin_dir / "vosctl"), "sandbox", *arguments]
        return subprocess.run(command, capture_output=True, text=True, timeout=30, **options)

    return run


@pytest.fixture
def start(bin_dir):
    """Starts a sandbox that stays until the test ends, and waits until its command has written a line."""
    running = []

    def run(*arguments):
        command = [str(bin_dir / "vosctl"), "sandbox", *arguments]
        process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        running.append(process)
        assert process.stdout.readline() == "up\n", process.stderr.read()
        return process

    yield run
    for process in running:
        process.terminate()
        process.wait(10)
        process.stdout.close()
        process.stderr.close()


WAITS = ("sh", "-c", "echo up; exec sleep 60")


def test_the_command_has_a_hub_and_a_machine_of_its_own(sandbox, bin_dir, tmp_path):
    Path("/var/tmp/mark").touch()
    Path("/tmp/mark").touch()
    inside = f"""
        {bin_dir}/vosctl list | grep -c vosctl
        ls /tmp /var; ipcs -m | grep -c 0x; ip -br link | cut -d' ' -f1; cat /sys/class/net/lo/operstate
        ip -br addr show lo | grep -c 127.0.0.1; hostname; ls -d {tmp_path}; pwd; echo $VOS_SANDBOX $$
        touch /var/left /tmp/left"""
    ended = sandbox("--name", "box", "--show", str(tmp_path), "--", "sh", "-c", inside)
    listed = ended.stdout.split()
    assert ended.returncode == 0, ended.stderr
    assert "mark" not in listed and "hubd_messaging_server_addr" in listed and "vos-hubd.log" in listed
    assert {"lo", "box", str(tmp_path), os.getcwd()} <= set(listed)
    assert not Path("/var/left").exists() and not Path("/tmp/left").exists()


@pytest.mark.parametrize(
    ("command", "status", "complaint"),
    [
        (["true"], 0, ""),
        (["sh", "-c", "exit 7"], 7, ""),
        (["sh", "-c", "kill -SEGV $$"], 128 + signal.SIGSEGV, ""),
        (["no-such-command"], 127, "cannot run 'no-such-command': No such file"),
        (["/etc/passwd"], 126, "cannot run '/etc/passwd': Permission denied"),
    ],
)
def test_the_status_is_the_commands(sandbox, command, status, complaint):
    ended = sandbox("--no-hub", "--", *command)
    assert ended.returncode == status
    assert complaint in ended.stderr and ended.stderr.count("\n") == (1 if complaint else 0)


@pytest.mark.parametrize(
    ("arguments", "status", "complaint"),
    [
        ([], 2, "give the command to run behind --"),
        (["--name", "a/b", "--", "true"], 2, "is no name"),
        (["--enter"], 125, "no sandbox of this user runs"),
        (["--enter", "--keep"], 2, "excludes"),
        (["--show", "/none", "--", "true"], 2, "/none"),
    ],
)
def test_mistakes_are_one_line(sandbox, arguments, status, complaint):
    ended = sandbox(*arguments)
    assert (ended.returncode, ended.stderr.count("\n")) == (status, 1)
    assert complaint in ended.stderr


def test_a_hub_that_does_not_start_is_told(sandbox, bin_dir, tmp_path):
    for program in ("vosctl", "vos-hubd"):
        (tmp_path / program).write_bytes((bin_dir / "vosctl").read_bytes())
        (tmp_path / program).chmod(0o755)
    command = [str(tmp_path / "vosctl"), "sandbox", "--", "true"]
    ended = subprocess.run(command, capture_output=True, text=True, timeout=30)
    assert ended.returncode == 125
    assert ended.stderr.startswith("vosctl: the hub does not start: vosctl: ")


def test_nothing_is_left_of_it(sandbox, bin_dir):
    leave = "setsid sh -c 'trap \"\" TERM HUP; echo $$; exec 1>&- 2>&-; sleep 61' & sleep 0.1"
    ended = sandbox("--", "sh", "-c", leave)
    assert ended.returncode == 0
    assert subprocess.run(["pgrep", "-f", "^sleep 61"], capture_output=True).returncode == 1


def test_a_second_terminal_enters(sandbox, start, bin_dir):
    start("--name", "one", "--", *WAITS)
    inside = sandbox("--enter", "--", "sh", "-c", f"{bin_dir}/vosctl list >/dev/null && hostname; exit 5")
    assert (inside.stdout, inside.returncode) == ("one\n", 5), inside.stderr
    second = start("--name", "two", "--no-hub", "--", *WAITS)
    several = sandbox("--enter", "--", "true")
    assert several.returncode == 125 and "one (" in several.stderr and "two (" in several.stderr
    for chosen in ("two", str(second.pid)):
        assert sandbox("--enter", "--name", chosen, "--", "hostname").stdout == "two\n"
    assert "no sandbox is called 'three'" in sandbox("--enter", "--name", "three", "--", "true").stderr


def test_signals_reach_the_command_and_keep_stays(start, bin_dir):
    traps = start("--", "sh", "-c", "trap 'exit 9' TERM; echo up; while :; do sleep 0.01; done")
    traps.send_signal(signal.SIGTERM)
    assert traps.wait(10) == 9
    kept = start("--keep", "--name", "kept", "--", "sh", "-c", "echo up; exit 3")
    assert "ended with 3; 'vosctl sandbox --enter --name kept'" in kept.stderr.readline()
    command = [str(bin_dir / "vosctl"), "sandbox", "--enter", "--", str(bin_dir / "vosctl"), "list"]
    assert subprocess.run(command, capture_output=True).returncode == 0
    kept.send_signal(signal.SIGINT)
    assert kept.wait(10) == 3


def test_the_end_of_who_waits_outside_ends_it(start):
    process = start("--", "sh", "-c", "echo up; exec sleep 62")
    process.kill()
    process.wait()
    for _ in range(500):
        if subprocess.run(["pgrep", "-f", "^sleep 62"], capture_output=True).returncode == 1:
            return
        time.sleep(0.01)
    raise AssertionError("the command still runs")


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can become somebody else")
def test_no_root_is_needed(bin_dir):
    command = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
    command += [str(bin_dir / "vosctl"), "sandbox", "--", "sh", "-c", f"{bin_dir}/vosctl list && id -u"]
    ended = subprocess.run(command, capture_output=True, text=True, cwd="/", timeout=30)
    assert ended.returncode == 0, ended.stderr
    assert ended.stdout.endswith("\n0\n")


def test_without_namespaces_it_says_so_in_one_line(bin_dir):
    # Root of a user namespace that may not have another one, without a single capability.
    command = f"exec setpriv --bounding-set=-all {bin_dir}/vosctl sandbox -- true"
    bare = f"echo 0 >/proc/sys/user/max_user_namespaces; {command}"
    ended = subprocess.run(["unshare", "-Ur", "sh", "-c", bare], capture_output=True, text=True, timeout=30)
    assert (ended.returncode, ended.stderr.count("\n")) == (125, 1)
    assert "cannot create namespaces" in ended.stderr and "or user namespaces (sysctl" in ended.stderr
