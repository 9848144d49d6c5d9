"""The first run of python/README.md: discovery, parameters, frames, events, a point cloud.

    ORNC_INTERFACES=lo python first_frames.py [SERIAL] [--show]
"""
import sys

import ornc

serial = next((arg for arg in sys.argv[1:] if not arg.startswith("--")), "VS000001")
for dev in ornc.discover():                 # every supported device
    print(dev)
with ornc.connect(serial) as cam:           # serial, IP address or model pattern; monitor=True: read-only
    cam["Width"] = 320                      # typed get and set; ornc.Error on refusal
    print(cam.params["ExposureTime"].range, cam.params["ExposureTime"].unit)
    cam.components.enable("Range", "Intensity")
    cam.on_event("FrameEnd", lambda ev: print(ev.name, ev.data))
    for frame in cam.frames(count=3, timeout=2.0):
        xyz = frame["Range"]                # (H, W, 3) float32 millimetres, NaN where invalid
        print(frame.info.block_id, frame.info.blocks_missing, xyz.shape, frame["Intensity"].dtype,
              len(frame.points()))
    cam.on_event("FrameEnd", None)
cloud = frame.to_open3d()                   # needs python3-open3d
print(cloud)
if "--show" in sys.argv:
    import open3d

    open3d.visualization.draw_geometries([cloud])
