#!/bin/sh
# Runs an acquisition example against a virtual sensor started as its own
# process on 127.0.60.61, discovery limited to that loopback address, and
# checks what it prints:
#   multipart: examples/acquire_multipart, every part as rendered;
#   timing:    examples/frame_timing against a sensor that cuts every 3rd
#              frame, each cut frame counted lost and a latency per frame.
#   acquisition_example_test.sh SENSOR_BINARY EXAMPLE_BINARY multipart|timing
set -u
sensor_bin=$1
example_bin=$2
kind=$3
faults=""
[ "$kind" = timing ] && faults="--cut-frame-every 3"
address=127.0.60.61
out=$(mktemp)
log=$(mktemp)

# shellcheck disable=SC2086 # the fault switches are words
"$sensor_bin" --address "$address" --serial AQ000061 --mac 02:00:00:00:60:61 --width 160 --height 120 --fps 20 \
    $faults >"$log" 2>&1 &
sensor_pid=$!
cleanup() {
    kill -TERM "$sensor_pid" 2>/dev/null
    wait "$sensor_pid" 2>/dev/null
    rm -f "$out" "$log"
}
trap cleanup EXIT

# The sensor binds at once; give it a bounded moment.
i=0
while [ $i -lt 50 ] && ! grep -q "$address" "$log" 2>/dev/null; do
    sleep 0.1
    i=$((i + 1))
done
if ! kill -0 "$sensor_pid" 2>/dev/null; then
    echo "virtual sensor did not start:"; cat "$log"; exit 1
fi

ORNC_INTERFACES=lo ORNC_LOOPBACK_HOSTS=$address timeout 60 "$example_bin" 2 >"$out" 2>&1
status=$?
cat "$out"
[ $status -eq 0 ] || { echo "example exited with $status"; exit 1; }
must_print() {
    for expected in "$@"; do
        grep -q "$expected" "$out" || { echo "missing in the output: $expected"; exit 1; }
    done
}
if [ "$kind" = timing ]; then
    must_print "^block [0-9]*: latency [0-9.]* ms" "latency from the device timestamp: median"
    # Every cut frame fails and leaves a gap: as many lost as failed, at least one in 2 s (the
    # fourth frame, sent 0.2 s after the start, follows the first cut one).
    summary=$(grep "frames, .* lost" "$out")
    lost=$(echo "$summary" | sed -n 's/.*, \([0-9]*\) lost.*/\1/p')
    failed=$(echo "$summary" | sed -n 's/.*, \([0-9]*\) failed transfers.*/\1/p')
    [ "${lost:-0}" -ge 1 ] || { echo "no lost frame counted: $summary"; exit 1; }
    [ "$lost" -le "$failed" ] || { echo "more lost than failed: $summary"; exit 1; }
    exit 0
fi
must_print "connected to AQ000061" "part 0: Coord3D_ABC32f" "part 1: Mono8" "part 2: Confidence8" " 0 failed transfers"
# Three parts, no fourth (the chunk part, if any, is never a vector entry).
if grep -q "^part 3:" "$out"; then echo "unexpected fourth part"; exit 1; fi
frames=$(sed -n 's/^\([0-9]*\) frames in.*/\1/p' "$out")
[ "${frames:-0}" -ge 10 ] || { echo "too few frames: ${frames:-none}"; exit 1; }
exit 0
