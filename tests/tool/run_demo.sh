#!/usr/bin/env bash
# Runs scripts/demo.sh from this build in a scratch directory, on a loopback
# block of its own, and checks what it leaves behind: its files, and no
# process still running.
#   run_demo.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
source_dir="$1"
build_dir="$2"
work="$(mktemp -d "${TMPDIR:-/tmp}/ornc-demo-test.XXXXXX")"
trap 'rm -rf "$work"' EXIT
address="127.74.$(( $$ % 250 )).2"

fail() { echo "FAILED: $*" >&2; exit 1; }

cd "$work"
# Discovery before the sensor starts asks only this block, so a sensor of
# another test can never be taken for a real one.
ORNC_BUILD_DIR="$build_dir" ORNC_LOOPBACK_HOSTS="127.74.$(( $$ % 250 )).1-127.74.$(( $$ % 250 )).4" \
  timeout 540 bash "$source_dir/scripts/demo.sh" --sensor-address "$address" --frames 3 </dev/null \
  >"$work/demo.log" 2>&1 || { cat "$work/demo.log"; fail "demo.sh exited with $?"; }
cat "$work/demo.log"

grep -q "No sensor answered: starting ornc-virtual-sensor on $address" "$work/demo.log" || fail "the virtual sensor was not started"
grep -q "^\$ ornc-tool list" "$work/demo.log" || fail "list did not run"
grep -q "VS-DEMO-0001" "$work/demo.log" || fail "the tool did not see the virtual sensor"
grep -q "Done: every process the demo started has stopped" "$work/demo.log" || fail "the demo did not finish"
[ -s "$work/out/genicam.xml" ] || fail "out/genicam.xml missing"
grep -q "$work/out/genicam.xml" "$work/demo.log" || fail "the demo did not say what it wrote"
if grep -q '^\$ ornc-tool grab' "$work/demo.log"; then
  ls "$work"/out/*.ply >/dev/null 2>&1 || fail "grab wrote no point cloud"
  ls "$work"/out/*.png >/dev/null 2>&1 || fail "grab wrote no image"
  [ -s "$work/out/summary.json" ] || fail "grab wrote no summary"
fi
# The sensor the demo started is gone.
if pgrep -f "ornc-virtual-sensor --address $address " >/dev/null; then
  fail "ornc-virtual-sensor on $address still runs"
fi
echo "demo OK"
