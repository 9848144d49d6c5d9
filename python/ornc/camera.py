"""Discovery, connection, parameters, components, acquisition and events."""
import ctypes
import queue
from dataclasses import dataclass

from . import frame as _frame
from ._lib import EVENT_CALLBACK, IMAGE_CALLBACK, Handle, last_line, lib, start_log, text
from .errors import Error, Status, check

ACCESS = {0: "unknown", 1: "open", 2: "control", 3: "readonly", 4: "exclusive"}
# orn_param_type_t: integer kinds (NONE is a 64-bit integer beyond both 32-bit ranges), float, boolean, command
INTEGERS, FLOAT, BOOLEAN, COMMAND = (0, 5, 6), 4, 1, 2


def _call(what, function, *args):
    last_line(clear=True)
    return check(function(*args), what)


@dataclass(frozen=True)
class Device:
    serial: str
    model: str
    vendor: str
    ip: str
    mac: str
    access: str  # open, control (another application controls it), exclusive, ...
    adapter: str


class _System:
    """A discovery handle for the duration of a with block."""

    def __enter__(self):
        self.handle = Handle()
        _call("discovery", lib.ORNCSysInit, self.handle)
        try:
            _call("discovery", lib.ORNCSysFindDevices, self.handle)
        except Error:
            lib.ORNCSysDestroy(self.handle)
            raise
        return self.handle

    def __exit__(self, *exc):
        lib.ORNCSysDestroy(self.handle)


def discover():
    """Every supported device on every adapter asked (ORNC_INTERFACES, ORNC_LOOPBACK_HOSTS apply)."""
    found = []
    with _System() as sys:
        for i in range(lib.ORNCSysGetInterfaceCount(sys)):
            adapter = lib.ORNCSysGetInterface(sys, i)
            for d in range(lib.ORNCInterfaceGetDeviceCount(sys, adapter)):
                dev = lib.ORNCInterfaceGetDevice(sys, adapter, d)
                ip = text(lib.ORNCDeviceGetIPAddress, dev)
                found.append(Device(text(lib.ORNCDeviceGetSerialNumber, dev), text(lib.ORNCDeviceGetModelName, dev),
                                    text(lib.ORNCDeviceGetVendorName, dev), ip, text(lib.ORNCDeviceGetMACAddress, dev),
                                    ACCESS.get(lib.ORNCGetAccessTypeByIPAddress(ip.encode()), "unknown"),
                                    text(lib.ORNCInterfaceGetDescription, adapter)))
    return found


def connect(key="", monitor=False):
    """A Camera connected to the device with this serial number, IP address or
    model-name pattern ("" the first); monitor=True connects read-only."""
    return Camera(key, monitor)


class Param:
    """One GenICam feature; .value reads and writes it through the strict text form."""

    def __init__(self, handle, name):
        self._handle, self.name = handle, name

    def __repr__(self):
        return f"<ornc.Param {self.name}>"

    type = property(lambda self: lib.ORNCParamGetType(self._handle))
    unit = property(lambda self: text(lib.ORNCParamGetUnit, self._handle))
    tooltip = property(lambda self: text(lib.ORNCParamGetTooltip, self._handle, size=1024))
    # The description, or the tooltip when the device gives none.
    description = property(lambda self: text(lib.ORNCParamGetDescription, self._handle, size=1024) or self.tooltip)
    display_name = property(lambda self: text(lib.ORNCParamGetDisplayName, self._handle))
    readable = property(lambda self: bool(lib.ORNCParamIsReadable(self._handle)))
    writable = property(lambda self: bool(lib.ORNCParamIsWritable(self._handle)))
    available = property(lambda self: bool(lib.ORNCParamIsAvailable(self._handle)))

    @property
    def text(self):
        size = 256
        while True:
            buffer = ctypes.create_string_buffer(size)
            last_line(clear=True)
            status = lib.ORNCParamGetValueText(self._handle, buffer, size)
            if status != Status.STRING_TOO_LONG or size > 1 << 20:
                check(status, f"reading {self.name}")
                return buffer.value.decode(errors="replace")
            size *= 16

    @property
    def value(self):
        """int, float, bool or str after the feature's kind."""
        kind, value = self.type, self.text
        if kind in INTEGERS:
            return int(value)
        if kind == FLOAT:
            return float(value)
        return value == "true" if kind == BOOLEAN else value

    @value.setter
    def value(self, value):
        if isinstance(value, bool):
            value = "true" if value else "false"
        elif isinstance(value, float):
            value = repr(value)
        _call(f"writing {self.name} = {value}", lib.ORNCParamSetValueText, self._handle, str(value).encode())

    def execute(self):
        if self.type != COMMAND:
            raise Error(Status.PARAM_WRONG_TYPE, f"{self.name} is not a command")
        _call(f"executing {self.name}", lib.ORNCParamSendCommand, self._handle)

    @property
    def range(self):
        """(min, max, inc) of an integer, (min, max, None) of a float."""
        if self.type == FLOAT:
            low, high = ctypes.c_float(), ctypes.c_float()
            _call(f"range of {self.name}", lib.ORNCParamGetFloatMinMaxValues, self._handle, low, high)
            return low.value, high.value, None
        bounds = [ctypes.c_int64() for _ in range(3)]
        _call(f"range of {self.name}", lib.ORNCParamGetInteger64Range, self._handle, *bounds)
        return tuple(b.value for b in bounds)

    @property
    def entries(self):
        """The names of the enumeration's available entries."""
        count, available, names = ctypes.c_int(), ctypes.c_uint8(), []
        _call(f"entries of {self.name}", lib.ORNCParamGetEnumEntryCount, self._handle, ctypes.byref(count))
        for i in range(count.value):
            buffer = ctypes.create_string_buffer(256)
            if (lib.ORNCParamGetEnumEntryAvailable(self._handle, i, ctypes.byref(available)) == 0 and available.value
                    and lib.ORNCParamGetEnumEntryName(self._handle, i, buffer, 256) == 0):
                names.append(buffer.value.decode())
        return names


class Params:
    """The connected device's features by name (stream and transport features too)."""

    def __init__(self, camera):
        self._camera = camera

    def __getitem__(self, name):
        ornc = self._camera._connected()
        for arrays in (lib.ORNCGetDeviceParams, lib.ORNCGetStreamParams, lib.ORNCGetCommunicationParams):
            params = arrays(ornc)
            handle = lib.ORNCParamsGetParamByName(params, name.encode()) if params else None
            if handle:
                return Param(handle, name)
        raise Error(Status.PARAM_UNDEFINED, f"no feature {name}", last_line())

    def __contains__(self, name):
        try:
            return self[name] is not None
        except Error:
            return False

    def __iter__(self):
        ornc = self._camera._connected()
        params = lib.ORNCGetDeviceParams(ornc)
        for i in range(lib.ORNCGetDeviceParamsCount(ornc)):
            yield text(lib.ORNCParamGetName, lib.ORNCParamsGetParam(params, i))


class Components:
    """The multipart components: "Range", or "Range:Coord3D_C16" for a pixel format of it."""

    def __init__(self, camera):
        self._camera = camera

    def _table(self):
        ornc = self._camera._connected()
        return [lib.ORNCGetComponent(ornc, i) for i in range(lib.ORNCGetComponentCount(ornc))]

    def _entry(self, key):
        name, _, pixel = key.partition(":")
        for entry in self._table():
            if entry.contents.compname.decode() == name and pixel in ("", entry.contents.pixelname.decode()):
                return entry
        raise Error(Status.ELEMENT_NOT_FOUND, f"no component {key}")

    @property
    def names(self):
        return list(dict.fromkeys(e.contents.compname.decode() for e in self._table()))

    @property
    def enabled(self):
        ornc = self._camera._connected()
        return [n for n in self.names if lib.ORNCComponentIsEnabled(ornc, self._entry(n))]

    def enable(self, *keys, only=True):
        """Enables these components (each with its pixel format when given); with only=True the others go off."""
        ornc = self._camera._connected()
        chosen = {key.partition(":")[0] for key in keys}
        for key in keys:
            _call(f"enabling {key}", lib.ORNCComponentEnable, ornc, self._entry(key), 1)
        for name in self.names if only else ():
            if name not in chosen:
                _call(f"disabling {name}", lib.ORNCComponentEnable, ornc, self._entry(name), 0)

    def disable(self, *names):
        for name in names:
            _call(f"disabling {name}", lib.ORNCComponentEnable, self._camera._connected(), self._entry(name), 0)


@dataclass(frozen=True)
class Event:
    name: str  # the EventSelector entry whose data features the event carries, or "?"
    timestamp: int
    data: dict  # feature name -> value


class Camera:
    """A connection; close() or a with block ends it."""

    def __init__(self, key="", monitor=False):
        self._handle, self._started, self._queue, self._handlers, self._names = Handle(), False, None, {}, {}
        self._blocks = _frame.Blocks()
        lib.ORNCInitEmpty(self._handle)
        _call("initialising a handle", lib.ORNCInit, self._handle)
        self.params, self.components = Params(self), Components(self)
        try:
            with _System() as sys:
                device = None
                for select in (lib.ORNCSysGetDeviceBySerialNumber, lib.ORNCSysGetDeviceByIP,
                               lib.ORNCSysGetDeviceByPattern):
                    device = device or (key and select(sys, key.encode()))
                device = device or (not key and lib.ORNCSysGetDeviceByPattern(sys, b""))
                if not device:
                    raise Error(Status.DEVICE_NOT_FOUND, f"no supported device matches '{key}'", last_line())
                self.serial = text(lib.ORNCDeviceGetSerialNumber, device)
                connect_to = lib.ORNCConnectByDeviceMonitor if monitor else lib.ORNCConnectByDevice
                _call(f"connecting to {key or self.serial}", connect_to, self._handle, device)
        except BaseException:
            self.close()
            raise
        # Callbacks stay referenced as long as the handle may call them.
        self._on_frame = IMAGE_CALLBACK(self._deliver)
        self._on_event = EVENT_CALLBACK(self._dispatch)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        return f"<ornc.Camera {getattr(self, 'serial', '?')}>"

    def __getitem__(self, name):
        return self.params[name].value

    def __setitem__(self, name, value):
        self.params[name].value = value

    def _connected(self):
        if self._handle is None:
            raise Error(Status.DEVICE_NOT_CONNECTED, "the camera is closed")
        return self._handle

    def close(self):
        """Stops, disconnects and frees the handle; arrays of frames taken stay valid."""
        if self._handle is None:
            return
        lib.ORNCDisconnect(self._handle)
        lib.ORNCDestroy(self._handle)
        start_log()  # the destroy stopped the library's log
        self._handle = None

    def _start_worker(self):
        if not self._started:
            _call("starting the acquisition worker", lib.ORNCStart, self._connected())
            self._started = True

    # Runs on the library's acquisition thread: copies the frame, hands it on.
    def _deliver(self, record, _userdata):
        target = self._queue
        if record and target is not None:
            captured = _frame.capture(self._handle, self._names, self._blocks)
            if captured:
                target.put(captured)

    def _component_ids(self):
        """Component id (the parts' data purpose) -> component name."""
        names = {}
        if "ComponentIDValue" not in self.params or not self.components.names:
            return names
        selector = self.params["ComponentSelector"]
        kept = selector.text
        for name in self.components.names:
            try:
                selector.value = name
                names[self["ComponentIDValue"]] = name
            except Error:
                pass
        selector.value = kept
        return names

    def _calibration(self):
        """Coord3D_C16 to millimetres, read as ornc-tool grab reads it."""
        c, p = _frame.Calibration(), self.params
        number = lambda name: float(p[name].text) if name in p and p[name].readable else None  # noqa: E731
        scale, offset = list(c.scale), list(c.offset)
        if "Scan3dCoordinateSelector" in p:
            kept = p["Scan3dCoordinateSelector"].text
            for axis, name in enumerate(("CoordinateA", "CoordinateB", "CoordinateC")):
                try:
                    p["Scan3dCoordinateSelector"].value = name
                    scale[axis], offset[axis] = number("Scan3dCoordinateScale"), number("Scan3dCoordinateOffset")
                except Error:
                    pass
            p["Scan3dCoordinateSelector"].value = kept
        elif "Scan3dCoordinateScale" in p:
            scale[2], offset[2] = number("Scan3dCoordinateScale"), number("Scan3dCoordinateOffset")
        if scale[2] is None:
            scale[2], offset[2] = c.scale[2], c.offset[2]
        flag = "Scan3dInvalidDataFlag" in p and p["Scan3dInvalidDataFlag"].text == "false"
        invalid = None if flag else number("Scan3dInvalidDataValue")
        return _frame.Calibration(tuple(scale), tuple(offset), invalid)

    def frames(self, count=None, timeout=1.0, trigger=False):
        """Acquires and yields Frames until `count` (None: no end) or the loop leaves.
        trigger=True sends a software trigger for each frame, None keeps the device's
        trigger mode. TimeoutError when no frame comes within `timeout` seconds."""
        ornc = self._connected()
        self._start_worker()
        self._names, calibration = self._component_ids(), self._calibration()
        self._queue = frames = queue.Queue()
        lib.ORNCSetImageVecCallback(ornc, self._on_frame, None)
        lib.ORNCSetImageCallback(ornc, self._on_frame, None)
        _call("setting the delivery pace", lib.ORNCSetDeliveryPacing, ornc, 1, 16)
        _call("starting the acquisition", lib.ORNCAcquisitionStartMode, ornc, 0, -1 if trigger is None else int(trigger))
        try:
            delivered = 0
            while count is None or delivered < count:
                if trigger:
                    status = lib.ORNCTriggerSoftware(ornc)
                    if status not in (0, Status.ACQUI_BUSY):
                        check(status, "software trigger")
                try:
                    info, parts = frames.get(timeout=timeout)
                except queue.Empty:
                    raise TimeoutError(f"no frame within {timeout} s") from None
                delivered += 1
                yield _frame.Frame(info, parts, calibration)
        finally:
            self._queue = None
            if self._handle is not None:
                lib.ORNCAcquisitionStop(ornc)

    def trigger(self):
        """A software trigger during frames(trigger=None) in trigger mode."""
        _call("software trigger", lib.ORNCTriggerSoftware, self._connected())

    def on_event(self, name, handler):
        """Calls handler(Event) on a library thread for each event `name` (an EventSelector
        entry) the device sends; handler None switches it off."""
        self["EventSelector"] = name
        self["EventNotification"] = "On" if handler else "Off"
        self._handlers[name] = handler
        self._event_names = self.params["EventSelector"].entries
        self._start_worker()
        lib.ORNCSetEventCallback(self._connected(), self._on_event, None)

    def _dispatch(self, timestamp, items, _userdata):
        data = {}
        for i in range(lib.ORNCGetParameterListCount(items)):
            param = Param(lib.ORNCGetParameterListIndex(items, i), "")
            param.name = text(lib.ORNCParamGetName, param._handle)
            try:
                data[param.name] = param.value
            except Error:
                data[param.name] = None
        names = [n for n in self._event_names if any(feature.startswith("Event" + n) for feature in data)]
        name = max(names, key=len, default="?")
        handler = self._handlers.get(name)
        if handler:
            handler(Event(name, timestamp, data))
