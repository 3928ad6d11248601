"""The kit under test, and where the build tree's programs are."""

import os
from pathlib import Path

import pytest

pytest_plugins = ["vos.testing", "pytester"]

# A sanitizer's runtime is loaded into Python for the library's sake only; other programs have their own.
_OURS = ("LD_PRELOAD", "ASAN_OPTIONS")
_for_python = {name: os.environ.pop(name) for name in _OURS if name in os.environ}
os.environ.update({name: os.environ[f"VOS_TEST_{name}"] for name in _OURS if f"VOS_TEST_{name}" in os.environ})


@pytest.fixture
def starts_python(monkeypatch: pytest.MonkeyPatch) -> None:
    """For tests that start Python programs, which load the library too."""
    for name, value in _for_python.items():
        monkeypatch.setenv(name, value)


@pytest.fixture
def bin_dir() -> Path:
    """The build's programs."""
    return Path(os.environ["VOS_TEST_BIN_DIR"])


@pytest.fixture
def source_dir() -> Path:
    """The checkout."""
    return Path(__file__).resolve().parents[2]
