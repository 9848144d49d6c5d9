#!/usr/bin/env bash
# The main job: on a fresh Debian machine, installs what is needed, builds,
# finds a GigE Vision 3D sensor (or starts the virtual sensor on loopback
# when none answers), shows it with ornc-tool, grabs a few frames into
# ./out, and says what it wrote and how to look at it. Every process it
# starts is stopped when it ends, however it ends.
#
#   bash scripts/demo.sh [--all-adapters] [--frames N] [--out DIR]
#                        [--sensor-address IP]
#
# By default discovery asks the loopback adapter only (ORNC_INTERFACES=lo):
# no packet leaves the machine. --all-adapters asks every adapter, for a
# real sensor on a real network.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${ORNC_BUILD_DIR:-$repo_dir/build}"
out_dir="$PWD/out"
frames=5
all_adapters=0
sensor_address="${ORNC_DEMO_SENSOR_ADDRESS:-127.0.0.2}"

usage() {
  sed -n '2,14p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
}

while [ $# -gt 0 ]; do
  case "$1" in
    --all-adapters) all_adapters=1 ;;
    --frames) frames="${2:?--frames needs a number}"; shift ;;
    --out) out_dir="$(realpath -m "${2:?--out needs a directory}")"; shift ;;
    --sensor-address) sensor_address="${2:?--sensor-address needs an address}"; shift ;;
    -h|--help) usage; exit 0 ;;
    *) echo "demo: unknown option $1 (see --help)" >&2; exit 2 ;;
  esac
  shift
done
case "$sensor_address" in
  127.*) ;;
  *) echo "demo: the virtual sensor runs on loopback; --sensor-address must be a 127.x.y.z address" >&2; exit 2 ;;
esac

if [ -t 1 ]; then
  say() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
else
  say() { printf '\n== %s\n' "$*"; }
fi

sensor_pid=""
stop_processes() {
  if [ -n "$sensor_pid" ] && kill -0 "$sensor_pid" 2>/dev/null; then
    kill -TERM "$sensor_pid" 2>/dev/null || true
    for _ in $(seq 1 50); do kill -0 "$sensor_pid" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$sensor_pid" 2>/dev/null || true
    wait "$sensor_pid" 2>/dev/null || true
  fi
  sensor_pid=""
}
trap stop_processes EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

say "Installing what the build needs"
"$repo_dir/scripts/install-deps.sh"

say "Building libORNC, ornc-tool and the virtual sensor in $build_dir"
if [ ! -f "$build_dir/CMakeCache.txt" ]; then
  cmake -S "$repo_dir" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$build_dir" -j "$(nproc)" --target ORNC ornc-tool ornc-virtual-sensor >/dev/null
tool="$build_dir/tools/ornc-tool"
sensor_bin="$build_dir/tools/ornc-virtual-sensor"

run() {
  echo "\$ ornc-tool $*"
  timeout 120 "$tool" "$@"
}

if [ "$all_adapters" = 1 ]; then
  unset ORNC_INTERFACES
  say "Looking for a supported sensor on every adapter"
else
  export ORNC_INTERFACES=lo
  say "Looking for a supported sensor on loopback (ORNC_INTERFACES=lo; --all-adapters asks every adapter)"
fi
found="$("$tool" list --brief | head -n 1)"

if [ -n "$found" ]; then
  device="$(printf '%s' "$found" | cut -f1)"
  echo "found $(printf '%s' "$found" | cut -f3) with serial $device at $(printf '%s' "$found" | cut -f2)"
else
  say "No sensor answered: starting ornc-virtual-sensor on $sensor_address"
  device="VS-DEMO-0001"
  "$sensor_bin" --address "$sensor_address" --serial "$device" &
  sensor_pid=$!
  # Ask only the sensor's address from now on: quick, and no other
  # loopback service is disturbed.
  export ORNC_INTERFACES=lo ORNC_LOOPBACK_HOSTS="$sensor_address"
  ready=0
  for _ in $(seq 1 50); do
    kill -0 "$sensor_pid" 2>/dev/null || { echo "demo: the virtual sensor did not start" >&2; exit 1; }
    if "$tool" list --brief | grep -q "^$device"; then ready=1; break; fi
    sleep 0.2
  done
  [ "$ready" = 1 ] || { echo "demo: the virtual sensor does not answer discovery" >&2; exit 1; }
fi

say "What ornc-tool sees"
run list
say "Everything discovery knows about $device"
run info "$device"
say "Its acquisition parameters"
run params "$device" --category AcquisitionControl
say "Its multipart components"
run components "$device"

mkdir -p "$out_dir"
written=()
say "Saving its GenICam description"
run dump-xml "$device" "$out_dir/genicam.xml"
written+=("$out_dir/genicam.xml   the device's GenICam description (any XML viewer)")

if "$tool" grab --help >/dev/null 2>&1; then
  say "Grabbing $frames frames into $out_dir"
  run grab "$device" -n "$frames" --out "$out_dir"
  for f in "$out_dir"/*.ply; do [ -e "$f" ] && written+=("$f   point cloud (meshlab, CloudCompare, or python3 -c 'import open3d...')"); done
  for f in "$out_dir"/*.png; do [ -e "$f" ] && written+=("$f   image (any image viewer)"); done
  [ -e "$out_dir/summary.json" ] && written+=("$out_dir/summary.json   what was grabbed, frame by frame")
else
  echo "(this build of ornc-tool has no grab command yet: only the description is written)"
fi

say "What the demo wrote"
for line in "${written[@]}"; do echo "  $line"; done
echo
echo "Point clouds open in MeshLab or CloudCompare (apt install meshlab / cloudcompare),"
echo "images in any viewer (xdg-open FILE)."
stop_processes
say "Done: every process the demo started has stopped"
