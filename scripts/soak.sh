#!/usr/bin/env bash
# Soak run with its own command, outside the normal test time:
#   bash scripts/soak.sh [SECONDS] [extra ornc_soak options]
# builds ornc_soak into build-soak/ (ORNC_BUILD_DIR to change) and runs it
# for SECONDS (default 1800) against three virtual sensors on loopback,
# at the lowest CPU priority. The log goes to <build dir>/soak.log; the last
# lines are the figures of the README's "Reliability" table.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${ORNC_BUILD_DIR:-$repo_dir/build-soak}"
seconds="${1:-1800}"
shift || true

cmake -S "$repo_dir" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNC_BUILD_TESTS=ON >/dev/null
nice -n 19 cmake --build "$build_dir" -j "${ORNC_JOBS:-2}" --target ornc_soak
nice -n 19 "$build_dir/soak/ornc_soak" --duration "$seconds" --sensors 3 --loss 0.02 "$@" 2>&1 | tee "$build_dir/soak.log"
exit "${PIPESTATUS[0]}"
