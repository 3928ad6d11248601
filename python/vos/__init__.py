"""Daemons and tools in Python on libvos: messages through the hub, and the daemon's log.

    import vos

    vos.hold_stop_signals()
    with vos.Connection("meshd") as hub:
        log = vos.Log(hub.eid)

        @hub.serve(MSG_MESH, procedure=MESH_ADD)
        def add(request: vos.Request) -> bytes:
            log.notice("%s adds a node", request.source)
            hub.publish(MSG_MESH_CHANGED, request.payload)
            return b""

        hub.run()

`vos.aio` has the same for asyncio, `vos.testing` fixtures for pytest. Nothing but ctypes and the installed library.
"""

from . import aio
from .codes import HUB, Flag, MessageType, Ret
from .connection import Connection, hold_stop_signals
from .errors import BadArgument, PeerGone, TimedOut, UnknownName, VosError
from .log import Destination, Level, Log, LogHandler
from .message import Message, name_types, type_name
from .request import Reply, Request

__all__ = [
    "HUB",
    "BadArgument",
    "Connection",
    "Destination",
    "Flag",
    "Level",
    "Log",
    "LogHandler",
    "Message",
    "MessageType",
    "PeerGone",
    "Reply",
    "Ret",
    "Request",
    "TimedOut",
    "UnknownName",
    "VosError",
    "aio",
    "hold_stop_signals",
    "name_types",
    "type_name",
]
