"""Return codes as exceptions."""

from .codes import Ret

_TEXTS = {
    Ret.OK: "success",
    Ret.SYS_REFUSED: "the system refused",
    Ret.ERROR: "error",
    Ret.BAD_ARG: "bad argument",
    Ret.NO_RESOURCE: "out of memory or room",
    Ret.BAD_VALUE: "text cannot be converted",
    Ret.UNKNOWN_NAME: "unknown name",
    Ret.NOTHING_FOUND: "nothing found",
    Ret.INTERRUPTED: "interrupted by a signal",
    Ret.TIMEOUT: "timed out",
    Ret.PEER_GONE: "peer is gone",
    Ret.OPEN_FAILED: "cannot be opened",
    Ret.NOT_IN_LIST: "not in the list",
    Ret.WOULD_BLOCK: "would block",
}


def text_of(code: int) -> str:
    """A short text for a return code; "result of the peer" for a number that is none."""
    return _TEXTS.get(code, "result of the peer")  # type: ignore[call-overload, no-any-return]


class VosError(Exception):
    """A call that failed, or a reply that says no."""

    def __init__(self, code: int, doing: str = "") -> None:
        super().__init__(code, doing)
        self.code = code
        self.doing = doing

    @property
    def text(self) -> str:
        """The code in words."""
        return text_of(self.code)

    def __str__(self) -> str:
        return f"{self.doing + ': ' if self.doing else ''}{self.text} ({self.code})"


class BadArgument(VosError, ValueError):
    """VOS_RET_BAD_ARG."""


class UnknownName(VosError, LookupError):
    """VOS_RET_UNKNOWN_NAME: the hub knows nobody of this name."""


class TimedOut(VosError, TimeoutError):
    """VOS_RET_TIMEOUT."""


class PeerGone(VosError, ConnectionError):
    """VOS_RET_PEER_GONE: nobody holds the entity id, or the hub is gone."""


_CLASSES: dict[int, type[VosError]] = {
    Ret.BAD_ARG: BadArgument,
    Ret.UNKNOWN_NAME: UnknownName,
    Ret.TIMEOUT: TimedOut,
    Ret.PEER_GONE: PeerGone,
}


def error_of(code: int, doing: str = "") -> VosError:
    """The exception for a code."""
    return _CLASSES.get(code, VosError)(code, doing)


def check(code: int, doing: str = "") -> None:
    """Raises unless the code is VOS_RET_OK."""
    if code != Ret.OK:
        raise error_of(code, doing)
