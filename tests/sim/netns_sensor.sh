#!/bin/sh
# Runs one virtual sensor and one client command inside the current network
# namespace, which the caller has just created (unshare -n): a veth pair
# carries link-local addresses, so clients that discover by broadcast reach
# the sensor and nothing else.
#
#   netns_sensor.sh SENSOR_BINARY [SENSOR_OPTIONS...] -- COMMAND [ARGS...]
#
# The sensor listens on 169.254.1.2; the client side owns 169.254.1.1.
# Every wait is bounded; the sensor is stopped with SIGINT by its pid.
set -u
sensor=$1
shift
sensor_args=""
while [ $# -gt 0 ] && [ "$1" != "--" ]; do
  sensor_args="$sensor_args $1"
  shift
done
[ $# -gt 0 ] && shift

ip link set lo up || exit 90
ip link add ornc-host type veth peer name ornc-dev || exit 91
ip addr add 169.254.1.1/16 brd + dev ornc-host || exit 92
ip addr add 169.254.1.2/16 brd + dev ornc-dev || exit 92
ip link set ornc-host mtu 9000 && ip link set ornc-dev mtu 9000
ip link set ornc-host up && ip link set ornc-dev up || exit 93

log=$(mktemp)
# shellcheck disable=SC2086
"$sensor" --address 169.254.1.2 $sensor_args > "$log" 2>&1 &
pid=$!
tries=0
until grep -q listening "$log"; do
  tries=$((tries + 1))
  if [ $tries -gt 50 ] || ! kill -0 $pid 2>/dev/null; then
    cat "$log" >&2
    rm -f "$log"
    exit 94
  fi
  sleep 0.1
done

"$@"
status=$?

kill -INT $pid
tries=0
while kill -0 $pid 2>/dev/null && [ $tries -lt 50 ]; do
  tries=$((tries + 1))
  sleep 0.1
done
kill -KILL $pid 2>/dev/null
wait $pid
sensor_status=$?
cat "$log" >&2
rm -f "$log"
[ $status -eq 0 ] && [ $sensor_status -ne 0 ] && exit 95
exit $status
