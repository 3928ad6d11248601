"""Fixtures for pytest that run a daemon with a hub of its own, scripted peers, and all messages captured.

In conftest.py: pytest_plugins = ["vos.testing"]; then: vosctl sandbox --no-hub -- pytest
"""

import os
from collections.abc import Callable, Generator, Iterator, Mapping
from typing import Any

import pytest

import vos

from ._background import Background
from ._daemon import Daemon
from ._hub import Clock, Hub
from ._peer import Peer
from ._traffic import Launch, Seen, Traffic, message

__all__ = ["Clock", "Daemon", "Hub", "Launch", "Peer", "Seen", "Traffic", "message"]

_HUB = pytest.StashKey[Hub]()
_DAEMONS = pytest.StashKey[list[Daemon]]()


@pytest.fixture(scope="session")
def vos_background() -> Iterator[Background]:
    """The thread in which peers and the observer of the hub live."""
    background = Background()
    yield background
    background.close()


@pytest.fixture
def hub_options() -> list[str]:
    """More options for vos-hubd; override it in a module or conftest.py."""
    return []


@pytest.fixture
def hub(request: pytest.FixtureRequest, vos_background: Background, hub_options: list[str]) -> Iterator[Hub]:
    """A hub of this test's own, ready."""
    with_clock = ["--test-clock"] if "clock" in request.fixturenames else []
    hub = Hub(vos_background, [*hub_options, *with_clock])
    request.node.stash[_HUB] = hub
    try:
        yield hub
    finally:
        hub.close()
    failures = vos_background.failures[:]
    vos_background.failures.clear()
    if failures:
        raise failures[0]


@pytest.fixture
def traffic(hub: Hub) -> Traffic:
    """What the hub has routed so far, and assertions about it."""
    return hub.traffic


@pytest.fixture
def clock(hub: Hub) -> Clock:
    """The hub's clock for delayed messages, standing still; with this fixture nothing is due before advance()."""
    return hub.clock


@pytest.fixture
def client(hub: Hub) -> Iterator[vos.Connection]:
    """A connection of the test's own, to ask and to listen with."""
    with vos.Connection("pytest") as connection:
        yield connection


@pytest.fixture
def daemon(
    request: pytest.FixtureRequest, vos_background: Background, hub: Hub
) -> Iterator[Callable[..., Daemon]]:
    """Starts daemons: daemon(PROGRAM, ARGUMENTS…, env={}, cwd=DIR, timeout=SECONDS) comes back when it is connected.

    At the end of the test each is stopped with SIGTERM and has to end with 0; one that the test has stopped, killed or
    waited for is left alone.
    """
    started: list[Daemon] = []
    request.node.stash[_DAEMONS] = started

    def start(
        program: str | os.PathLike[str],
        *arguments: str | int | os.PathLike[str],
        env: Mapping[str, str] | None = None,
        cwd: str | os.PathLike[str] | None = None,
        timeout: float = 10.0,
    ) -> Daemon:
        command = [os.fspath(program), *(str(argument) for argument in arguments)]
        process = Daemon(vos_background, hub.traffic, command, env, cwd)
        started.append(process)
        process.await_ready(timeout)
        return process

    yield start
    failures: list[AssertionError] = []
    for process in reversed(started):
        try:
            process.check_end()
        except AssertionError as failure:
            failures.append(failure)
    if failures:
        raise failures[0]


@pytest.fixture
def peer(vos_background: Background, hub: Hub) -> Iterator[Callable[[str | int], Peer]]:
    """Scripted peers: peer(NAME or ID) is connected when it comes back."""
    peers: list[Peer] = []

    def start(who: str | int) -> Peer:
        peers.append(Peer(vos_background, who))
        return peers[-1]

    yield start
    for each in peers:
        each.die()


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_makereport(item: pytest.Item, call: Any) -> Generator[None, Any, None]:
    """Shows on a failure what the daemons wrote and what the hub routed."""
    outcome = yield
    report = outcome.get_result()
    if report.when != "call" or not report.failed:
        return
    for process in item.stash.get(_DAEMONS, []):
        report.sections.append((f"output of {process.name}", process.output))
        if process.log:
            report.sections.append((f"log of {process.name}", process.log))
    hub = item.stash.get(_HUB, None)
    if hub is not None:
        report.sections.append(("messages", hub.traffic.text()))
        report.sections.append(("output of the hub", hub.output))
