"""The kit under test, and where the build tree's programs are."""

import os
from pathlib import Path

import pytest

pytest_plugins = ["vos.testing", "pytester"]

# A sanitizer's runtime is loaded into Python for the library's sake only; what the tests start has its own.
os.environ.pop("LD_PRELOAD", None)
for options in ("ASAN_OPTIONS", "TSAN_OPTIONS"):
    os.environ.pop(options, None)
    if f"VOS_TEST_{options}" in os.environ:
        os.environ[options] = os.environ[f"VOS_TEST_{options}"]


@pytest.fixture
def bin_dir() -> Path:
    """The build's programs."""
    return Path(os.environ["VOS_TEST_BIN_DIR"])


@pytest.fixture
def source_dir() -> Path:
    """The checkout."""
    return Path(__file__).resolve().parents[2]
