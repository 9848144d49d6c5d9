#!/usr/bin/env bash
# Fresh Debian machine to green tests in one command: installs what is
# needed, configures, builds and runs every test through CTest.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${ORNC_BUILD_DIR:-$repo_dir/build}"
jobs="${ORNC_JOBS:-$(nproc)}"

"$repo_dir/scripts/install-deps.sh"

cmake -S "$repo_dir" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build "$build_dir" -j "$jobs"
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" --timeout 600
