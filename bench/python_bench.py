#!/usr/bin/env python3
"""The Python package's acquisition next to acquisition_bench's C client.

    PYTHONPATH=python ORNC_LIBRARY=build/src/libORNC.so \\
        unshare -n sh -c 'ip link set lo up && python3 bench/python_bench.py \\
        --sensor build/tools/ornc-virtual-sensor [--seconds S]'

The case of acquisition_bench's "large" row: 640x480 multipart frames of
three parts (Coord3D_ABC32f, Mono8, Confidence8, no chunk data) at 27 frames
a second from a sensor on an emulated 10 Gbit/s link, delivered with the
library's pacing of a pass every ms taking up to 16 buffers (what frames()
sets). The sensor runs as a program of its own (127.0.48.20), so the CPU
figure is getrusage(RUSAGE_SELF) of this process alone over the window: the
library's receiver and worker threads, the copy of every part into its
array in the callback, and the loop below that takes each frame and reads
its three arrays. After the window the device's acquisition is stopped
while frames() keeps receiving until nothing comes for a second; sent is the
sensor's own frame count, which it prints when it stops."""
import argparse
import os
import re
import resource
import signal
import subprocess
import sys
import time

import ornc

ADDRESS = "127.0.48.20"


def cpu_seconds():
    usage = resource.getrusage(resource.RUSAGE_SELF)
    return usage.ru_utime + usage.ru_stime


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--sensor", required=True, help="path of ornc-virtual-sensor")
    parser.add_argument("--seconds", type=float, default=5.0)
    args = parser.parse_args()
    os.environ.setdefault("ORNC_INTERFACES", "lo")
    os.environ.setdefault("ORNC_LOOPBACK_HOSTS", ADDRESS)
    sensor = subprocess.Popen([args.sensor, "--address", ADDRESS, "--serial", "BENCH0001", "--width", "640",
                               "--height", "480", "--fps", "27", "--link-speed", "10000"], stdout=subprocess.PIPE,
                              text=True)
    sensor.stdout.readline()
    delivered = payload = frame_bytes = 0
    delays, cpu, stopped = [], None, False
    with ornc.connect("BENCH0001") as cam:
        cam.components.enable("Range", "Intensity", "Confidence")
        cam["ChunkModeActive"] = False
        start = time.monotonic()
        try:
            for frame in cam.frames(timeout=1.0):
                now = time.time_ns()
                if cpu is None:
                    cpu, window_start = cpu_seconds(), time.monotonic()
                frame_bytes = sum(frame[name].nbytes for name in ("Range", "Intensity", "Confidence"))
                delivered += 1
                if time.monotonic() - window_start < args.seconds:
                    payload += frame_bytes
                    cpu_end, window_end = cpu_seconds(), time.monotonic()
                    if frame.info.host_time_ns:
                        delays.append((now - frame.info.host_time_ns) / 1e6)
                elif not stopped:  # the device stops; what it sent still arrives
                    cam.params["AcquisitionStop"].execute()
                    stopped = True
        except TimeoutError:
            pass
        elapsed = time.monotonic() - start
    sensor.send_signal(signal.SIGTERM)
    counters = sensor.communicate(timeout=10)[0]
    if cpu is None:
        print("no frame arrived", file=sys.stderr)
        return 1
    sent = int(re.search(r"(\d+) frames", counters).group(1))
    window = window_end - window_start
    delays.sort()
    pick = lambda q: delays[min(len(delays) - 1, int(q * len(delays)))] if delays else float("nan")  # noqa: E731
    print(f"case large: 640x480 at 27 frames/s, {frame_bytes / 1e3:.0f} kB a frame, "
          f"{window:.1f} s window, {elapsed:.1f} s in all")
    print(f"{'client':<7} {'sent':>6} {'delivered':>9} {'lost':>6} {'Gbit/s':>7} {'CPU/GB s':>9}   delay p50 / p99 ms")
    print(f"{'python':<7} {sent:>6} {delivered:>9} {sent - delivered:>6} {payload * 8 / window / 1e9:>7.3f} "
          f"{(cpu_end - cpu) / (payload / 1e9):>9.3f}   {pick(0.5):.2f} / {pick(0.99):.2f}")
    return 0 if sent == delivered else 1


if __name__ == "__main__":
    sys.exit(main())
