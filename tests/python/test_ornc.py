# The Python package against virtual sensors on the suite's loopback block
# (127.0.81.x): the sensor program runs as a child process.
import os
import shutil
import subprocess
import threading
import time

import pytest

np = pytest.importorskip("numpy")
import ornc  # noqa: E402

SENSOR = os.environ.get("ORNC_SENSOR_BINARY", "")
HOST = "127.0.81."


def start_sensor(host, serial, *options):
    if not os.path.exists(SENSOR):
        pytest.skip("no ORNC_SENSOR_BINARY")
    sensor = subprocess.Popen([SENSOR, "--address", HOST + str(host), "--serial", serial, *options],
                              stdout=subprocess.PIPE, text=True)
    assert "listening" in sensor.stdout.readline()
    return sensor


@pytest.fixture(scope="module")
def sensor():
    os.environ.setdefault("ORNC_INTERFACES", "lo")
    os.environ.setdefault("ORNC_LOOPBACK_HOSTS", HOST + "1-" + HOST + "4")
    process = start_sensor(1, "PY000001")
    yield "PY000001"
    process.terminate()
    process.wait(10)


@pytest.fixture
def cam(sensor):
    with ornc.connect(sensor) as camera:
        yield camera


def scene(w, h, f):
    """The sensor's documented scene: xyz (NaN where invalid), confidence, intensity."""
    v, u = np.mgrid[0:h, 0:w].astype(np.int64)
    cu, cv, r = w // 4 + f % max(1, w // 2), h // 2, min(w, h) // 6
    d2 = (u - cu) ** 2 + (v - cv) ** 2
    on = d2 < r * r
    valid = ~((u < 4) | (v < 4) | (u + 4 >= w) | (v + 4 >= h) |
              ((u - cu > r) & (u - cu <= r + r // 2) & (2 * abs(v - cv) <= r)))
    x, y = (u - (w - 1) / 2) * 0.5, (v - (h - 1) / 2) * 0.5
    z = 1000 + 0.1 * x - np.where(on, np.sqrt(np.maximum(r * r - d2, 0)) * 0.5, 0)
    xyz = np.where(valid[..., None], np.stack([x, y, z], axis=-1), np.nan)
    confidence = np.where(valid, np.where(on, 255 - 55 * d2 // (r * r), 100 + 100 * v // h), 0)
    return xyz, confidence, (u + 2 * v + 3 * f) % 256


def test_discovery_lists_the_sensor_with_its_details(sensor):
    (dev,) = [d for d in ornc.discover() if d.serial == sensor]
    assert (dev.ip, dev.access, dev.adapter, dev.model) == (HOST + "1", "open", "lo", "lumenGAUGE Virtual 3D")
    assert dev.vendor and len(dev.mac.split(":")) == 6


@pytest.mark.parametrize("name, value", [("Width", 320), ("ExposureTime", 1234.5), ("TriggerMode", "On"),
                                         ("ChunkModeActive", True), ("Gain", 3.25)])
def test_typed_values_round_trip(cam, name, value):
    cam[name] = value
    assert cam[name] == value and type(cam[name]) is type(value)


@pytest.mark.parametrize("name, value, code", [
    ("Width", "abc", ornc.Status.PARAM_INVALID_VALUE), ("Width", 1.5, ornc.Status.PARAM_INVALID_VALUE),
    ("ExposureTime", float("nan"), ornc.Status.PARAM_INVALID_VALUE),
    ("TriggerMode", "Sideways", ornc.Status.PARAM_INVALID_VALUE),
    ("SensorWidth", 10, ornc.Status.PARAM_NOT_WRITEABLE), ("NoSuchFeature", 1, ornc.Status.PARAM_UNDEFINED)])
def test_refused_writes_raise_their_code_and_change_nothing(cam, name, value, code):
    before = cam["Width"]
    with pytest.raises(ornc.Error) as refused:
        cam[name] = value
    assert refused.value.code == code and refused.value.message and cam["Width"] == before


def test_ranges_units_and_entries(cam):
    width, exposure = cam.params["Width"], cam.params["ExposureTime"]
    assert width.range == (16, 640, 1) and width.writable and width.description
    assert exposure.range == (10.0, 100000.0, None) and exposure.unit == "us"
    assert cam.params["TriggerMode"].entries == ["Off", "On"]
    cam["ComponentSelector"] = "Range"
    assert cam.params["PixelFormat"].entries == ["Coord3D_ABC32f", "Coord3D_C16"]
    cam["Width"] = 10_000  # clamped into the range, never refused
    assert cam["Width"] == 640


@pytest.mark.parametrize("components", [("Range", "Intensity", "Confidence"), ("Intensity",), ("Confidence", "Range")])
def test_frames_carry_the_enabled_components_of_the_scene(cam, components):
    cam["Width"], cam["Height"] = 96, 64
    cam.components.enable(*components)
    assert sorted(cam.components.enabled) == sorted(components)
    for frame in cam.frames(count=2, timeout=3.0):
        assert sorted(frame.parts) == sorted(components)
        xyz, confidence, intensity = scene(96, 64, frame.info.block_id)
        if "Range" in components:
            assert frame["Range"].shape == (64, 96, 3) and frame["Range"].dtype == np.float32
            np.testing.assert_allclose(frame["Range"], xyz, atol=1e-3)
            assert len(frame.points()) == np.count_nonzero(~np.isnan(xyz[..., 0]))
        if "Confidence" in components:
            np.testing.assert_array_equal(frame["Confidence"], confidence)
        if "Intensity" in components:
            assert frame["Intensity"].dtype == np.uint8
            np.testing.assert_array_equal(frame["Intensity"], intensity)


@pytest.mark.parametrize("scale", [0.05, 0.2])
def test_c16_range_scaled_like_abc32f(cam, scale):
    cam["Width"], cam["Height"] = 80, 60
    cam.components.enable("Range:Coord3D_C16")
    cam["Scan3dCoordinateSelector"] = "CoordinateC"
    cam["Scan3dCoordinateScale"] = scale
    (frame,) = cam.frames(count=1, timeout=3.0)
    xyz, _, _ = scene(80, 60, frame.info.block_id)
    np.testing.assert_allclose(frame["Range"], xyz, atol=scale / 2 + 1e-3)
    assert frame.parts["Range"].pixel_format == 0x011000B8


def test_frame_info_counts_the_frames_a_cut_loses(sensor):
    cutter = start_sensor(2, "PY000002", "--cut-frame-every", "3", "--fps", "30")
    try:
        with ornc.connect("PY000002") as cam:
            cam["Width"], cam["Height"] = 64, 48
            frames = [f.info for f in cam.frames(count=6, timeout=3.0)]
    finally:
        cutter.terminate()
        cutter.wait(10)
    assert frames[0].timestamp_ns > 0 and frames[0].payload_type == 10
    gaps = [b.block_id - a.block_id - 1 for a, b in zip(frames, frames[1:])]
    assert gaps == [f.blocks_missing for f in frames[1:]] and sum(gaps) >= 1


def test_software_trigger_and_events(cam):
    events = []
    cam.on_event("FrameEnd", events.append)
    cam["Width"], cam["Height"] = 64, 48
    ids = [f.info.block_id for f in cam.frames(count=3, timeout=3.0, trigger=True)]
    assert ids == list(range(ids[0], ids[0] + 3))
    deadline = time.monotonic() + 3
    while len(events) < 3 and time.monotonic() < deadline:
        time.sleep(0.05)
    assert [(e.name, e.data["EventFrameEndFrameID"]) for e in events[:3]] == [("FrameEnd", i) for i in ids]
    cam.on_event("FrameEnd", None)


def test_waiting_for_frames_leaves_other_threads_running(cam):
    cam["TriggerMode"] = "On"  # no trigger comes: frames() waits out its time-out
    longest_gap, stop = [0.0], threading.Event()

    def run():
        last = time.monotonic()
        while not stop.is_set():
            now = time.monotonic()
            longest_gap[0], last = max(longest_gap[0], now - last), now
    thread = threading.Thread(target=run)
    thread.start()
    cpu = time.thread_time()
    with pytest.raises(TimeoutError):
        next(cam.frames(timeout=2.0, trigger=None))
    cpu = time.thread_time() - cpu
    stop.set()
    thread.join()
    # A wait holding the interpreter's lock would stall the other thread for
    # the whole wait; a polling one would spend the wait on the CPU. Neither
    # depends on how busy the machine is, unlike comparing two counts.
    assert longest_gap[0] < 1.0 and cpu < 0.5, (longest_gap[0], cpu)


def test_monitor_reads_while_another_controls(cam, sensor):
    cam["Width"] = 128
    with ornc.connect(HOST + "1", monitor=True) as monitor:
        assert monitor["Width"] == 128 and not monitor.params["Width"].writable
        for action, code in [(lambda: monitor.__setitem__("Width", 64), ornc.Status.PARAM_NOT_WRITEABLE),
                             (lambda: next(monitor.frames(count=1)), ornc.Status.DEVICE_OPEN_FAILED)]:
            with pytest.raises(ornc.Error) as refused:
                action()
            assert refused.value.code == code
    assert cam["Width"] == 128


def test_arrays_outlive_the_acquisition_and_the_connection(sensor):
    with ornc.connect(sensor) as cam:
        cam["Width"], cam["Height"] = 64, 48
        cam.components.enable("Range", "Intensity")
        frames = list(cam.frames(count=4, timeout=3.0))
        copies = [f["Intensity"].copy() for f in frames]
        list(cam.frames(count=4, timeout=3.0))  # the stream buffers are reused
    for frame, copy in zip(frames, copies):
        np.testing.assert_array_equal(frame["Intensity"], copy)
        np.testing.assert_allclose(frame["Range"], scene(64, 48, frame.info.block_id)[0], atol=1e-3)
    with pytest.raises(ornc.Error) as closed:
        cam["Width"]
    assert closed.value.code == ornc.Status.DEVICE_NOT_CONNECTED


def test_unknown_device_error_carries_the_library_log(sensor):
    with pytest.raises(ornc.Error) as missing:
        ornc.connect("NO-SUCH-SERIAL")
    assert missing.value.code == ornc.Status.DEVICE_NOT_FOUND and "ORNC:" in missing.value.log


def test_readme_example_runs_from_a_pip_install(sensor, tmp_path):
    pytest.importorskip("open3d")
    source = tmp_path / "python"  # pip builds inside the folder it installs
    shutil.copytree(os.path.join(os.path.dirname(__file__), "..", "..", "python"), source,
                    ignore=shutil.ignore_patterns("build", "*.egg-info", "__pycache__"))
    env = tmp_path / "env"
    if subprocess.run([os.sys.executable, "-m", "venv", "--system-site-packages", env]).returncode != 0:
        pytest.skip("no python3-venv")
    subprocess.run([env / "bin" / "pip", "install", "-q", "--no-build-isolation", "--no-index", source], check=True,
                   cwd=tmp_path)
    run = subprocess.run([env / "bin" / "python", os.path.join(source, "examples", "first_frames.py"), sensor],
                         cwd=tmp_path, capture_output=True, text=True, timeout=120,
                         env=dict(os.environ, PYTHONPATH=""))
    assert run.returncode == 0, run.stderr
    assert ", 320, 3) uint8" in run.stdout and "FrameEnd" in run.stdout and "PointCloud with" in run.stdout
