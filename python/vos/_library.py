"""The installed library, as ctypes calls it. VOS_LIBRARY names another file, as that of a build tree."""

import ctypes
import errno
import os
import sys
from ctypes import POINTER, byref, c_char_p, c_int32, c_uint32, c_void_p

from .codes import Ret

_PROTOTYPES: dict[str, tuple[type | None, list[type]]] = {
    "vosMsg_init": (c_uint32, [c_uint32, POINTER(c_void_p)]),
    "vosMsg_initByName": (c_uint32, [c_char_p, POINTER(c_void_p)]),
    "vosMsg_cleanup": (None, [POINTER(c_void_p)]),
    "vosMsg_send": (c_uint32, [c_void_p, c_char_p]),
    "vosMsg_getEventHandle": (c_uint32, [c_void_p, POINTER(c_int32)]),
    "vosMsg_getHandleEid": (c_uint32, [c_void_p]),
    "vosMsg_receiveWithTimeout": (c_uint32, [c_void_p, POINTER(c_void_p), c_uint32]),
    "vosMem_free": (None, [c_void_p, c_char_p, ctypes.c_int]),
    "vosLog_init": (None, [c_uint32]),
    "vosLog_cleanup": (None, []),
    "log_log": (None, [c_uint32, c_char_p, c_uint32, c_char_p, c_char_p]),
    "vosLog_setLevel": (None, [c_uint32]),
    "vosLog_getLevel": (c_uint32, []),
    "vosLog_setDestination": (None, [c_uint32]),
    "vosLog_getDestination": (c_uint32, []),
    "vosLog_setMaxSize": (None, [c_uint32]),
    "vosLog_getMaxSize": (c_uint32, []),
}


def _load() -> ctypes.CDLL:
    path = os.environ.get("VOS_LIBRARY", "libvos.so.1")
    try:
        loaded = ctypes.CDLL(path, use_errno=True)
    except OSError as error:
        raise ImportError(f"{error}; install libvos1, or name the library in VOS_LIBRARY") from error
    for name, (result, arguments) in _PROTOTYPES.items():
        function = getattr(loaded, name)
        function.restype = result
        function.argtypes = arguments
    return loaded


library = _load()


class Handle:
    """A connection to the hub as the library has it; belongs to one thread."""

    HEADER_SIZE = 32

    def __init__(self, who: str | int | None) -> None:
        pointer = c_void_p()
        if isinstance(who, int):
            self.failure = int(library.vosMsg_init(who, byref(pointer)))
        else:
            name = None if who is None else who.encode()
            self.failure = int(library.vosMsg_initByName(name, byref(pointer)))
        self._pointer = pointer

    @property
    def is_open(self) -> bool:
        """Whether there is a connection."""
        return self._pointer.value is not None

    def close(self) -> None:
        """Ends the connection."""
        library.vosMsg_cleanup(byref(self._pointer))

    def fileno(self) -> int:
        """The descriptor to wait on; it is the library's to read."""
        fd = c_int32(-1)
        library.vosMsg_getEventHandle(self._pointer, byref(fd))
        return fd.value

    def eid(self) -> int:
        """The entity id that the hub assigned."""
        return int(library.vosMsg_getHandleEid(self._pointer))

    def send(self, block: bytes) -> int:
        """Sends header and payload. A signal before the first byte does not count."""
        while True:
            ctypes.set_errno(0)
            ret = int(library.vosMsg_send(self._pointer, block))
            if ret != Ret.ERROR or ctypes.get_errno() != errno.EINTR:
                return ret

    def receive(self) -> tuple[int, bytes]:
        """What is there now: code and block; VOS_RET_TIMEOUT when no whole message is."""
        message = c_void_p()
        ret = int(library.vosMsg_receiveWithTimeout(self._pointer, byref(message), 0))
        if message.value is None:
            return ret, b""
        length = int.from_bytes(ctypes.string_at(message.value + 28, 4), sys.byteorder)
        block = ctypes.string_at(message.value, self.HEADER_SIZE + length)
        library.vosMem_free(message, b"vos.Handle.receive", 0)
        return ret, block

