#!/bin/sh
# Runs examples/acquire_multipart against a virtual sensor started as its
# own process on 127.0.60.61, discovery limited to that loopback address.
#   acquisition_example_test.sh SENSOR_BINARY EXAMPLE_BINARY
set -u
sensor_bin=$1
example_bin=$2
address=127.0.60.61
out=$(mktemp)
log=$(mktemp)

"$sensor_bin" --address "$address" --serial AQ000061 --mac 02:00:00:00:60:61 --width 160 --height 120 --fps 20 \
    >"$log" 2>&1 &
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
for expected in "connected to AQ000061" "part 0: Coord3D_ABC32f" "part 1: Mono8" "part 2: Confidence8" \
    " 0 failed transfers"; do
    grep -q "$expected" "$out" || { echo "missing in the output: $expected"; exit 1; }
done
# Three parts, no fourth (the chunk part, if any, is never a vector entry).
if grep -q "^part 3:" "$out"; then echo "unexpected fourth part"; exit 1; fi
frames=$(sed -n 's/^\([0-9]*\) frames in.*/\1/p' "$out")
[ "${frames:-0}" -ge 10 ] || { echo "too few frames: ${frames:-none}"; exit 1; }
exit 0
