"""Numbers that processes agree on: return codes, message types, flags, entities."""

from enum import IntEnum, IntFlag


class Ret(IntEnum):
    """What calls and replies return (vos/ret.h)."""

    OK = 0
    SYS_REFUSED = 9001
    ERROR = 9002
    BAD_ARG = 9003
    NO_RESOURCE = 9004
    BAD_VALUE = 9007
    UNKNOWN_NAME = 9801
    NOTHING_FOUND = 9804
    INTERRUPTED = 9808
    TIMEOUT = 9809
    PEER_GONE = 9810
    OPEN_FAILED = 9818
    NOT_IN_LIST = 9840
    WOULD_BLOCK = 9865


class Flag(IntFlag):
    """Flag bits of a message header (vos/msg_types.h)."""

    EVENT = 0x01
    REQUEST = 0x02
    RESPONSE = 0x04
    REQUEUE = 0x08
    KEEP = 0x10
    SRPC = 0x20


class MessageType(IntEnum):
    """Message types that the library itself sends or recognises (vos/msg_types.h)."""

    SYSTEM_TASK_FINISH = 0x00000013
    LAUNCHED = 0x10000251
    REGISTER_DELAYED_MSG = 0x10000800
    UNREGISTER_DELAYED_MSG = 0x10000801
    REGISTER_EVENT_INTEREST = 0x10000802
    UNREGISTER_EVENT_INTEREST = 0x10000803
    IS_APP_RUNNING = 0x1000080B
    REQUEUE_WAKEUP = 0x10000830
    RESEND_REQUEST = 0x10000831
    HEARTBEAT = 0x10000832
    STOP_WATCHDOG = 0x10000834
    REBOOT = 0x10000850
    SAVE_LOG_TO_FLASH = 0x10002C07
    ADD_ENTITY_INFO = 0x10003620
    DEL_ENTITY_INFO = 0x10003621
    GET_EID_BY_APP_NAME = 0x10003627
    PLUGIN_SET_PARAMETER = 0x1000700B
    GET_PLUGIN_CFG_DIR = 0x10009130


HUB = 20
"""Entity id of the hub."""
