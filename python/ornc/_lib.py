"""ctypes declarations of the C API (ORNC.h, ORNCExt.h) and the library's lookup.

Every foreign call through ctypes.CDLL releases the interpreter lock for its
duration; callbacks (CFUNCTYPE) take it back on the library's threads.
"""
import ctypes
import ctypes.util
import glob
import os
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

H, P, S = POINTER(Handle), c_void_p, c_char_p  # library handle, lent handle (device, param ...), text
# name: (result type, argument types)
_SIGNATURES = {
    "ORNCGetErrorMessage": (c_char_p, [c_int]),
    "ORNCGetVersion": (c_int, [c_char_p, c_int]),
    "ORNLogStart": (c_int, [c_int]),
    "ORNLogSetLevel": (None, [c_int]),
    "ORNLogSetCategory": (None, [c_int]),
    "ORNLogSetExternal": (None, [LOG_CALLBACK]),
    "ORNCInitEmpty": (None, [H]),
    "ORNCInit": (c_int, [H]),
    "ORNCDestroy": (None, [H]),
    "ORNCSysInit": (c_int, [H]),
    "ORNCSysDestroy": (None, [H]),
    "ORNCSysFindDevices": (c_int, [H]),
    "ORNCSysGetInterfaceCount": (c_int, [H]),
    "ORNCSysGetInterface": (P, [H, c_int]),
    "ORNCInterfaceGetDeviceCount": (c_int, [H, P]),
    "ORNCInterfaceGetDevice": (P, [H, P, c_int]),
    "ORNCInterfaceGetDescription": (c_int, [P, S, c_int]),
    "ORNCSysGetDeviceByPattern": (P, [H, S]),
    "ORNCSysGetDeviceBySerialNumber": (P, [H, S]),
    "ORNCSysGetDeviceByIP": (P, [H, S]),
    "ORNCGetAccessTypeByIPAddress": (c_int, [S]),
    "ORNCConnectByDevice": (c_int, [H, P]),
    "ORNCConnectByDeviceMonitor": (c_int, [H, P]),
    "ORNCDisconnect": (c_int, [H]),
    "ORNCGetComponentCount": (c_int, [H]),
    "ORNCGetComponent": (POINTER(Component), [H, c_int]),
    "ORNCComponentEnable": (c_int, [H, POINTER(Component), c_uint8]),
    "ORNCComponentIsEnabled": (c_uint8, [H, POINTER(Component)]),
    "ORNCGetDeviceParams": (P, [H]),
    "ORNCGetStreamParams": (P, [H]),
    "ORNCGetCommunicationParams": (P, [H]),
    "ORNCGetDeviceParamsCount": (c_int, [H]),
    "ORNCParamsGetParam": (P, [P, c_int]),
    "ORNCParamsGetParamByName": (P, [P, S]),
    "ORNCParamGetType": (c_int, [P]),
    "ORNCParamIsAvailable": (c_uint8, [P]),
    "ORNCParamIsReadable": (c_uint8, [P]),
    "ORNCParamIsWritable": (c_uint8, [P]),
    "ORNCParamGetValueText": (c_int, [P, S, c_size_t]),
    "ORNCParamSetValueText": (c_int, [P, S]),
    "ORNCParamSendCommand": (c_int, [P]),
    "ORNCParamGetInteger64Range": (c_int, [P, POINTER(c_int64), POINTER(c_int64), POINTER(c_int64)]),
    "ORNCParamGetFloatMinMaxValues": (c_int, [P, POINTER(c_float), POINTER(c_float)]),
    "ORNCParamGetEnumEntryCount": (c_int, [P, POINTER(c_int)]),
    "ORNCParamGetEnumEntryAvailable": (c_int, [P, c_int, POINTER(c_uint8)]),
    "ORNCParamGetEnumEntryName": (c_int, [P, c_int, S, c_int]),
    "ORNCGetParameterListCount": (c_int, [P]),
    "ORNCGetParameterListIndex": (P, [P, c_int]),
    "ORNCStart": (c_int, [H]),
    "ORNCAcquisitionStartMode": (c_int, [H, c_int, c_int]),
    "ORNCAcquisitionStop": (c_int, [H]),
    "ORNCTriggerSoftware": (c_int, [H]),
    "ORNCSetImageCallback": (None, [H, IMAGE_CALLBACK, c_void_p]),
    "ORNCSetImageVecCallback": (None, [H, IMAGE_CALLBACK, c_void_p]),
    "ORNCSetEventCallback": (None, [H, EVENT_CALLBACK, c_void_p]),
    "ORNCSetDeliveryPacing": (c_int, [H, c_int, c_int]),
    "ORNCGetFrameInfo": (c_int, [H, POINTER(FrameInfo)]),
    "ORNCGetFramePartData": (c_int, [H, c_uint32, POINTER(c_void_p), POINTER(c_size_t)]),
}
# Name texts (ORN_StringCopy: size query with a NULL buffer).
for _name in ("ORNCDeviceGetSerialNumber", "ORNCDeviceGetModelName", "ORNCDeviceGetVendorName", "ORNCDeviceGetIPAddress",
              "ORNCDeviceGetMACAddress", "ORNCParamGetName", "ORNCParamGetDisplayName", "ORNCParamGetDescription",
              "ORNCParamGetTooltip", "ORNCParamGetUnit"):
    _SIGNATURES[_name] = (c_int, [P, S, c_int])


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
        for name, (restype, argtypes) in _SIGNATURES.items():
            function = getattr(lib, name)
            function.restype, function.argtypes = restype, argtypes
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
