"""Frames: the parts of one delivered buffer, copied once into arrays the frame owns."""
import ctypes
import sys
from dataclasses import dataclass

import numpy as np

from ._lib import FrameInfo, lib

ABC32F, C16 = 0x026000C0, 0x011000B8
# PFNC code -> (dtype, channels); unknown formats stay raw bytes.
PIXELS = {ABC32F: (np.float32, 3), 0x024000C2: (np.float32, 2), 0x012000BF: (np.float32, 1), C16: (np.uint16, 1),
          0x01080001: (np.uint8, 1), 0x010800C6: (np.uint8, 1), 0x01100007: (np.uint16, 1),
          0x01100005: (np.uint16, 1), 0x02180014: (np.uint8, 3), 0x02200016: (np.uint8, 4)}
# GVSP part data types, for parts whose component id the device does not name.
KINDS = {5: "Range", 1: "Intensity", 9: "Confidence"}


@dataclass(frozen=True)
class Info:
    block_id: int
    timestamp: int  # device ticks
    timestamp_ns: int  # device time in ns (0 when the device gives no tick frequency)
    host_time_ns: int  # the device time on the host's CLOCK_REALTIME, 0 when not mapped
    blocks_missing: int  # frames lost since the previous delivered one
    packets_resent: int
    payload_type: int


@dataclass(frozen=True)
class Part:
    name: str
    pixel_format: int
    width: int
    height: int
    data: np.ndarray  # the raw bytes, owned by the frame


@dataclass
class Calibration:
    """Coord3D_C16 to millimetres: value * scale + offset per axis (A, B, C); A and B
    None when the device maps only C; invalid is the value of a pixel without data."""
    scale: tuple = (None, None, 0.05)
    offset: tuple = (None, None, 0.0)
    invalid: float = None


class Blocks:
    """Arrays for the parts' bytes. An array the program no longer holds (only this
    list refers to it) is filled again instead of a new one: fresh memory costs a page
    fault per 4 KiB, some four times the copy itself. At most `keep` arrays are kept."""

    def __init__(self, keep=24):
        self.arrays, self.keep = [], keep

    def take(self, size):
        for i in range(len(self.arrays)):
            array = self.arrays[i]
            if sys.getrefcount(array) == 3:  # this list, `array` and getrefcount's argument
                if array.size == size:
                    return array
                if len(self.arrays) >= self.keep:
                    del self.arrays[i]  # a free array of another size makes room
                    break
        array = np.empty(size, np.uint8)
        if len(self.arrays) < self.keep:
            self.arrays.append(array)
        return array


def capture(handle, names, blocks):
    """On the library's thread, inside its callback: the frame being delivered, or None."""
    info = FrameInfo()
    if lib.ORNCGetFrameInfo(handle, ctypes.byref(info)) != 0:
        return None
    parts = []
    data, size = ctypes.c_void_p(), ctypes.c_size_t()
    for index in range(min(info.part_count, len(info.part))):
        if lib.ORNCGetFramePartData(handle, index, ctypes.byref(data), ctypes.byref(size)) != 0:
            continue
        described = info.part[index]
        if described.data_type == 10 or described.width == 0:  # chunk data
            continue
        copy = blocks.take(size.value)
        ctypes.memmove(copy.ctypes.data, data.value, size.value)
        name = names.get(described.data_purpose_id) or KINDS.get(described.data_type) or f"Part{index}"
        parts.append(Part(name, described.pixel_format, described.width, described.height, copy))
    ticks = info.timestamp * 1_000_000_000 // info.timestamp_frequency if info.timestamp_frequency else 0
    return Info(info.block_id, info.timestamp, ticks, info.host_time_ns, info.blocks_missing, info.packets_resent,
                info.payload_type), parts


class Frame:
    """frame["Range"]: (H, W, 3) float32 millimetres, NaN where invalid (Coord3D_C16 scaled);
    other parts (H, W) or (H, W, channels) arrays of their pixel type."""

    def __init__(self, info, parts, calibration):
        self.info, self.parts, self._calibration = info, {part.name: part for part in parts}, calibration

    def __contains__(self, name):
        return name in self.parts

    def __repr__(self):
        return f"<ornc.Frame {self.info.block_id}: {', '.join(self.parts)}>"

    def __getitem__(self, name):
        part = self.parts[name]
        dtype, channels = PIXELS.get(part.pixel_format, (None, 0))
        count = part.width * part.height * channels
        if dtype is None or part.data.size < count * np.dtype(dtype).itemsize:
            return part.data
        pixels = part.data[:count * np.dtype(dtype).itemsize].view(dtype)
        shape = (part.height, part.width) + ((channels,) if channels > 1 else ())
        if part.pixel_format == C16:
            return self._scale(pixels.reshape(part.height, part.width))
        return pixels.reshape(shape)

    def _scale(self, values):
        c = self._calibration
        h, w = values.shape
        xyz = np.empty((h, w, 3), np.float32)
        axes = (np.arange(w, dtype=np.float64)[None, :], np.arange(h, dtype=np.float64)[:, None], values)
        for axis, grid in enumerate(axes):
            scale, offset = (c.scale[axis], c.offset[axis]) if c.scale[axis] is not None else (1.0, 0.0)
            xyz[..., axis] = grid * scale + offset
        if c.invalid is not None:
            xyz[values == c.invalid] = np.nan
        return xyz

    def range_name(self):
        for name, part in self.parts.items():
            if part.pixel_format in (ABC32F, C16):
                return name
        raise KeyError("the frame has no Coord3D_ABC32f or Coord3D_C16 part")

    def points(self):
        """The valid points, (N, 3) float32 millimetres."""
        xyz = self[self.range_name()].reshape(-1, 3)
        return xyz[~np.isnan(xyz).any(axis=1)]

    def to_open3d(self):
        """An open3d.geometry.PointCloud of the valid points, grey from the Intensity part when present."""
        import open3d

        xyz = self[self.range_name()].reshape(-1, 3)
        valid = ~np.isnan(xyz).any(axis=1)
        cloud = open3d.geometry.PointCloud(open3d.utility.Vector3dVector(xyz[valid].astype(np.float64)))
        if "Intensity" in self.parts and self.parts["Intensity"].width * self.parts["Intensity"].height == valid.size:
            grey = self["Intensity"].reshape(-1)[valid].astype(np.float64) / 255.0
            cloud.colors = open3d.utility.Vector3dVector(np.repeat(grey[:, None], 3, axis=1))
        return cloud
