"""ornc.Error and the status codes of ORNC.h."""
import enum

from ._lib import last_line, lib


class Status(enum.IntEnum):
    OK = 0
    ERROR = -1
    OUT_OF_MEMORY = -2
    UNINITIALIZED = -3
    INTERNAL = -4
    OUT_OF_RANGE = -6
    ILLEGAL_RANGE = -7
    EMPTY_STRING = -8
    NAME_EXPECTED = -9
    STRING_TOO_LONG = -10
    TOO_MANY_ELEMENTS = -14
    ELEMENT_EXISTS = -15
    ELEMENT_NOT_FOUND = -16
    DEVICE_OPEN_FAILED = -200
    DEVICE_CONNECT_FAILED = -201
    STREAM_OPEN_FAILED = -202
    DEVICE_SELECT_FAILED = -203
    DEVICE_NOT_FOUND = -204
    PARAM_NOT_WRITEABLE = -205
    PARAM_TYPE_MISMATCH = -206
    PARAM_WRITE_FAILED = -207
    PARAM_NOT_READABLE = -208
    PARAM_INVALID_VALUE = -209
    PARAM_WRONG_TYPE = -210
    PARAM_READ_FAILED = -211
    COMMAND_FAILED = -212
    ACQUI_ALREADY_STARTED = -213
    ACQUI_NOT_STARTED = -214
    ACQUI_BUSY = -215
    ACQUI_WRONG_MODE = -216
    IP_INVALID = -217
    DEVICE_NOT_CONNECTED = -218
    PARAM_UNDEFINED = -219
    VERSION_MISMATCH = -220
    DEVICE_UNSUPPORTED = -221
    ENUM_ENTRY_NOT_FOUND = -222
    PARAM_NOT_AVAILABLE = -223


class Error(Exception):
    """A call the library refused: .code (a Status when known), .message (the
    library's text for it), .log (the library's last log line on this thread
    during the call, "" when it wrote none) and .what (the call)."""

    def __init__(self, code, what, log=""):
        self.code = Status(code) if code in Status._value2member_map_ else code
        self.message = (lib.ORNCGetErrorMessage(code) or b"").decode(errors="replace")
        self.what, self.log = what, log
        text = f"{what}: {self.message} ({int(code)})"
        super().__init__(text + (f"; library: {log}" if log else ""))


def check(status, what):
    """Raises Error for a failing status; call last_line(clear=True) before the call."""
    if status != 0:
        raise Error(status, what, last_line())
    return status
