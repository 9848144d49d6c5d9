"""ctypes declarations of the C API (ORNC.h, ORNCExt.h) and the library's lookup.

Every foreign call through ctypes.CDLL releases the interpreter lock for its
duration; callbacks (CFUNCTYPE) take it back on the library's threads.
"""
import ctypes
import ctypes.util
import glob
import os
import re
import sys
import threading
from ctypes import (CFUNCTYPE, POINTER, Structure, c_char, c_char_p, c_float, c_int, c_int32, c_int64, c_size_t,
                    c_uint8, c_uint32, c_uint64, c_void_p)

FRAME_MAX_PARTS = 16


class Handle(Structure):  # ornc_t and ornc_system_t: one private pointer
    _fields_ = [("priv", c_void_p)]


class Component(Structure):
    _fields_ = [("source", c_int32), ("region", c_int32), ("component", c_int32), ("compname", c_char * 32),
                ("pixelformat", c_int32), ("pixelname", c_char * 32)]


class PartInfo(Structure):
    _fields_ = [("pixel_format", c_uint32), ("width", c_uint32), ("height", c_uint32), ("data_type", c_uint32),
                ("source_id", c_uint32), ("region_id", c_uint32), ("data_purpose_id", c_uint32)]


class FrameInfo(Structure):
    _fields_ = [("block_id", c_uint64), ("timestamp", c_uint64), ("timestamp_frequency", c_uint64),
                ("host_time_ns", c_int64), ("payload_type", c_uint32), ("blocks_missing", c_uint32),
                ("packets_resent", c_uint32), ("part_count", c_uint32), ("part", PartInfo * FRAME_MAX_PARTS)]


IMAGE_CALLBACK = CFUNCTYPE(None, c_void_p, c_void_p)  # orn_image_t* / orn_image_vec_t*, userdata
EVENT_CALLBACK = CFUNCTYPE(None, c_uint64, c_void_p, c_void_p)
LOG_CALLBACK = CFUNCTYPE(None, c_char_p)

# The declarations, grouped by signature: "result(arguments): functions".
# H a library or system handle, ptr a lent handle (device, parameter, list ...).
_SIGNATURES = """
text(int): ORNCGetErrorMessage
int(text, int): ORNCGetVersion
int(int): ORNLogStart
void(int): ORNLogSetLevel ORNLogSetCategory
void(log_cb): ORNLogSetExternal
void(H): ORNCInitEmpty ORNCDestroy ORNCSysDestroy
int(H): ORNCInit ORNCSysInit ORNCSysFindDevices ORNCSysGetInterfaceCount ORNCDisconnect ORNCGetComponentCount
        ORNCGetDeviceParamsCount ORNCStart ORNCAcquisitionStop ORNCTriggerSoftware
ptr(H, int): ORNCSysGetInterface
int(H, ptr): ORNCInterfaceGetDeviceCount ORNCConnectByDevice ORNCConnectByDeviceMonitor
ptr(H, ptr, int): ORNCInterfaceGetDevice
ptr(H, text): ORNCSysGetDeviceByPattern ORNCSysGetDeviceBySerialNumber ORNCSysGetDeviceByIP
int(text): ORNCGetAccessTypeByIPAddress
component(H, int): ORNCGetComponent
int(H, component, bool): ORNCComponentEnable
bool(H, component): ORNCComponentIsEnabled
ptr(H): ORNCGetDeviceParams ORNCGetStreamParams ORNCGetCommunicationParams
ptr(ptr, int): ORNCParamsGetParam ORNCGetParameterListIndex
ptr(ptr, text): ORNCParamsGetParamByName
int(ptr): ORNCParamGetType ORNCParamSendCommand ORNCGetParameterListCount
bool(ptr): ORNCParamIsAvailable ORNCParamIsReadable ORNCParamIsWritable
int(ptr, text, size): ORNCParamGetValueText
int(ptr, text): ORNCParamSetValueText
int(ptr, int64*, int64*, int64*): ORNCParamGetInteger64Range
int(ptr, float*, float*): ORNCParamGetFloatMinMaxValues
int(ptr, int*): ORNCParamGetEnumEntryCount
int(ptr, int, bool*): ORNCParamGetEnumEntryAvailable
int(ptr, int, text, int): ORNCParamGetEnumEntryName
int(ptr, text, int): ORNCDeviceGetSerialNumber ORNCDeviceGetModelName ORNCDeviceGetVendorName ORNCDeviceGetIPAddress
        ORNCDeviceGetMACAddress ORNCInterfaceGetDescription ORNCParamGetName ORNCParamGetDisplayName
        ORNCParamGetDescription ORNCParamGetTooltip ORNCParamGetUnit
int(H, int, int): ORNCAcquisitionStartMode ORNCSetDeliveryPacing
void(H, image_cb, ptr): ORNCSetImageCallback ORNCSetImageVecCallback
void(H, event_cb, ptr): ORNCSetEventCallback
int(H, frame_info*): ORNCGetFrameInfo
int(H, uint32, ptr*, size*): ORNCGetFramePartData
"""
_TYPES = {"void": None, "int": c_int, "text": c_char_p, "ptr": c_void_p, "H": POINTER(Handle), "bool": c_uint8,
          "size": c_size_t, "uint32": c_uint32, "int64": c_int64, "float": c_float, "component": POINTER(Component),
          "frame_info": FrameInfo, "log_cb": LOG_CALLBACK, "image_cb": IMAGE_CALLBACK, "event_cb": EVENT_CALLBACK}


def _ctype(name):
    return POINTER(_TYPES[name[:-1]]) if name.endswith("*") else _TYPES[name]


def _declare(lib):
    for group in re.split(r"\n(?=\S)", _SIGNATURES.strip()):
        result, arguments, functions = re.match(r"(\w+)\((.*?)\):(.*)", group, re.S).groups()
        for name in functions.split():
            function = getattr(lib, name)
            function.restype, function.argtypes = _ctype(result), [_ctype(a.strip()) for a in arguments.split(",")]


def _candidates():
    """Where libORNC.so may be, first match wins."""
    if os.environ.get("ORNC_LIBRARY"):
        yield os.environ["ORNC_LIBRARY"]
    prefixes = [os.environ.get("ORNC_PREFIX"), sys.prefix]
    try:  # the source tree this copy was installed from (written by setup.py)
        from ._source import SOURCE_DIR
    except ImportError:
        SOURCE_DIR = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    for prefix in filter(None, prefixes):
        for lib in ("lib", "lib64", "lib/x86_64-linux-gnu"):
            yield os.path.join(prefix, lib, "libORNC.so")
    yield from sorted(glob.glob(os.path.join(SOURCE_DIR, "build*", "src", "libORNC.so")), key=os.path.getmtime,
                      reverse=True)
    found = ctypes.util.find_library("ORNC")
    if found:
        yield found
    yield "/usr/local/lib/libORNC.so"


def _load():
    tried = []
    for path in _candidates():
        if os.sep in path and not os.path.exists(path):
            tried.append(path)
            continue
        lib = ctypes.CDLL(path)
        _declare(lib)
        lib.path = path
        return lib
    raise ImportError("libORNC.so not found (set ORNC_LIBRARY or ORNC_PREFIX); looked at " + ", ".join(tried))


lib = _load()

# The library's last log line, per thread: the log is written on the thread
# that makes the call, so a failing call's own line is the one kept here.
_last = threading.local()


@LOG_CALLBACK
def _keep_line(line):
    _last.line = line.decode(errors="replace").rstrip()


def start_log():
    """Errors and warnings reach _keep_line; ORNCDestroy stops the log, so each destroy is followed by this."""
    lib.ORNLogSetExternal(_keep_line)
    lib.ORNLogSetLevel(30)  # ORN_LOGLVL_MASK_WARN
    lib.ORNLogSetCategory(15)  # ORN_LOGCAT_MASK_ALL
    lib.ORNLogStart(0)


def last_line(clear=False):
    line = getattr(_last, "line", "")
    if clear:
        _last.line = ""
    return line


def text(function, *handle, size=256):
    """A name text through an ORN_StringCopy getter; "" when there is none."""
    buffer = ctypes.create_string_buffer(size)
    if function(*handle, buffer, size) <= 0:
        needed = function(*handle, None, 0)
        if needed <= size:
            return ""
        buffer = ctypes.create_string_buffer(needed)
        function(*handle, buffer, needed)
    return buffer.value.decode(errors="replace")


start_log()
