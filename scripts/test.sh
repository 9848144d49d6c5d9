#!/usr/bin/env bash
# Fresh Debian machine to green tests in one command: installs what is
# needed, configures, builds and runs every test through CTest. A second
# stage runs the thread-heavy unit suites (worker, logger) under
# ThreadSanitizer; set ORNC_SKIP_SANITIZERS=1 to leave it out.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${ORNC_BUILD_DIR:-$repo_dir/build}"
jobs="${ORNC_JOBS:-$(nproc)}"

"$repo_dir/scripts/install-deps.sh"

cmake -S "$repo_dir" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNC_BUILD_TESTS=ON "$@"
cmake --build "$build_dir" -j "$jobs"
# Unit suites share nothing and run in parallel. Everything else starts
# devices on loopback addresses and ports that tests may share, so those run
# one at a time.
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" --timeout 600 -L '^unit$'
ctest --test-dir "$build_dir" --output-on-failure -j 1 --timeout 600 -LE '^unit$'

if [ "${ORNC_SKIP_SANITIZERS:-0}" != "1" ]; then
  tsan_dir="$build_dir-tsan"
  cmake -S "$repo_dir" -B "$tsan_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNC_BUILD_TESTS=ON \
    -DORNC_SANITIZE=thread >/dev/null
  cmake --build "$tsan_dir" -j "$jobs" --target worker_thread_test logging_test
  ctest --test-dir "$tsan_dir" --output-on-failure -j "$jobs" --timeout 600 -R '^(Worker|Logging|ThreadShims)\.'
fi
