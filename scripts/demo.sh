#!/usr/bin/env bash
# The main job: installs what is needed, builds, and shows the library at
# work. Until the device layers land it prints the version of the build and
# the status codes with their messages, straight from libORNC.so.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${ORNC_BUILD_DIR:-$repo_dir/build}"

"$repo_dir/scripts/install-deps.sh"
cmake -S "$repo_dir" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build_dir" -j "$(nproc)" --target ornc-status-codes >/dev/null
"$build_dir/examples/ornc-status-codes"
