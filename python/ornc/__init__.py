"""ornc: GigE Vision 3D sensors from Python, over libORNC's C API.

    import ornc
    for dev in ornc.discover():
        print(dev)
    with ornc.connect("VS000001") as cam:
        cam["Width"] = 320
        for frame in cam.frames(count=20, timeout=2.0):
            xyz = frame["Range"]        # (H, W, 3) float32 mm, NaN where invalid
"""
from ._lib import lib as _lib
from .camera import Camera, Components, Device, Event, Param, Params, connect, discover
from .errors import Error, Status
from .frame import Calibration, Frame, Info, Part

__all__ = ["Camera", "Calibration", "Components", "Device", "Error", "Event", "Frame", "Info", "Param", "Params",
           "Part", "Status", "connect", "discover", "library_path", "version"]
library_path = _lib.path


def version():
    from ._lib import text

    return text(lambda _h, buf, size: _lib.ORNCGetVersion(buf, size), None)
