"""The daemon's log: file, destination and shared settings of vos/log.h, with the Python call site."""

import logging
import sys
from enum import IntEnum
from types import TracebackType

from ._library import library


class Level(IntEnum):
    """Levels; a larger number says more."""

    NONE = 1
    RAW = 2
    ERROR = 3
    NOTICE = 5
    DEBUG = 7
    DEVEL = 9


class Destination(IntEnum):
    """Where entries go besides the log file."""

    STDERR = 1
    SYSLOG = 2
    TTY = 3
    ANDROID = 4
    FILE_ONLY = 5
    CONSOLE = 6


class Log:
    """The log of this process: Log(hub.eid). A text with arguments is formatted with them, as logging does."""

    def __init__(self, eid: int) -> None:
        library.vosLog_init(eid)

    def close(self) -> None:
        """Closes the log file."""
        library.vosLog_cleanup()

    def __enter__(self) -> "Log":
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def error(self, text: str, *arguments: object) -> None:
        """An entry of level ERROR."""
        _write_from_here(Level.ERROR, text, arguments)

    def notice(self, text: str, *arguments: object) -> None:
        """An entry of level NOTICE."""
        _write_from_here(Level.NOTICE, text, arguments)

    def debug(self, text: str, *arguments: object) -> None:
        """An entry of level DEBUG."""
        _write_from_here(Level.DEBUG, text, arguments)

    def devel(self, text: str, *arguments: object) -> None:
        """An entry of level DEVEL."""
        _write_from_here(Level.DEVEL, text, arguments)

    @property
    def level(self) -> int:
        """The level up to which entries are written; vosctl log changes it from outside."""
        return int(library.vosLog_getLevel())

    @level.setter
    def level(self, level: int) -> None:
        library.vosLog_setLevel(level)

    @property
    def destination(self) -> int:
        """Where entries go besides the log file."""
        return int(library.vosLog_getDestination())

    @destination.setter
    def destination(self, destination: int) -> None:
        library.vosLog_setDestination(destination)

    @property
    def max_size(self) -> int:
        """Bytes at which the log file is rotated."""
        return int(library.vosLog_getMaxSize())

    @max_size.setter
    def max_size(self, size: int) -> None:
        library.vosLog_setMaxSize(size)


class LogHandler(logging.Handler):
    """Has the entries of Python's logging written to the daemon's log."""

    def emit(self, record: logging.LogRecord) -> None:
        """Writes one entry."""
        for least, level in ((logging.ERROR, Level.ERROR), (logging.INFO, Level.NOTICE), (logging.DEBUG, Level.DEBUG)):
            if record.levelno >= least:
                write(level, self.format(record), record.funcName or "?", record.lineno)
                return
        write(Level.DEVEL, self.format(record), record.funcName or "?", record.lineno)


def write(level: int, text: str, function: str, line: int) -> None:
    """One entry with a call site of one's own."""
    # A NUL would end the entry.
    bare = text.replace("\0", "\\0").encode(errors="backslashreplace")
    library.log_log(level, function.encode(errors="replace"), line, b"%s", bare)


def _write_from_here(level: Level, text: str, arguments: tuple[object, ...]) -> None:
    caller = sys._getframe(2)
    write(level, text % arguments if arguments else text, caller.f_code.co_name, caller.f_lineno)
