"""What every test of lampd has."""

import os

import pytest

import lampd

pytest_plugins = ["vos.testing"]


@pytest.fixture
def lamp(daemon, client):
    """The daemon, running, and a typed client of it."""
    started = daemon(os.environ["LAMPD"])
    return lampd.Client(client, started.eid)
