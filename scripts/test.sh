#!/usr/bin/env bash
# Fresh Debian machine to green tests in one command: installs what is
# needed, configures, builds and runs every test through CTest. A second
# stage runs everything again under AddressSanitizer, the threaded suites
# under ThreadSanitizer, and each fuzz target for a bounded time; set
# ORNC_SKIP_SANITIZERS=1 to leave those out.
set -euo pipefail

repo_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${ORNC_BUILD_DIR:-$repo_dir/build}"
jobs="${ORNC_JOBS:-$(nproc)}"

"$repo_dir/scripts/install-deps.sh"
# Every C and C++ file follows .clang-format before anything is built.
bash "$repo_dir/scripts/check-format.sh"

cmake -S "$repo_dir" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNC_BUILD_TESTS=ON "$@"
cmake --build "$build_dir" -j "$jobs"
# Unit suites share nothing and run in parallel. Everything else starts
# devices on loopback addresses and ports that tests may share, so those run
# one at a time.
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" --timeout 600 -L '^unit$'
ctest --test-dir "$build_dir" --output-on-failure -j 1 --timeout 600 -LE '^unit$'

# Sanitizer stages; ORNC_SKIP_SANITIZERS=1 leaves them all out, and
# ORNC_SKIP_FUZZ=1 only the fuzzing. Each uses a build tree of its own next
# to the plain one, and exports the run-time options that cmake wrote for
# it (suppressions for glib and Aravis, allocator behaviour).
if [ "${ORNC_SKIP_SANITIZERS:-0}" != "1" ]; then
  # 1. The whole suite under AddressSanitizer + UndefinedBehaviorSanitizer
  #    + LeakSanitizer, in the same two passes as above.
  asan_dir="$build_dir-asan"
  cmake -S "$repo_dir" -B "$asan_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNC_BUILD_TESTS=ON "$@" \
    -DORNC_SANITIZE=address >/dev/null
  cmake --build "$asan_dir" -j "$jobs"
  (
    source "$asan_dir/sanitizer-env.sh"
    ctest --test-dir "$asan_dir" --output-on-failure -j "$jobs" --timeout 900 -L '^unit$'
    ctest --test-dir "$asan_dir" --output-on-failure -j 1 --timeout 900 -LE '^unit$'
  )

  # 2. ThreadSanitizer on the suites that run every thread there is: the
  #    worker and logger (unit), the sensor's control, frame, stream and
  #    message threads (sim), Aravis's heartbeat and stream threads, the
  #    acquisition thread and the message channel (device), a sensor going
  #    silent under a connection (hostile), automatic recovery replacing a
  #    connection under the application's calls (its short cases, 3 outages
  #    instead of 10), three connections fired by one action command, and
  #    all of them at once (soak).
  tsan_dir="$build_dir-tsan"
  tsan_targets=(worker_thread_test logging_test sim_device_acquisition_test platform_stream_test
    acquisition_delivery_test acquisition_events_test acquisition_faults_test acquisition_frame_info_test
    silent_sensor_test recovery_test action_sync_test ornc_soak)
  tsan_tests='^(Worker|Logging|ThreadShims)\.|^sim_device_acquisition_test\.|^platform_stream_test|^acquisition_(delivery|events|faults|frame_info)_test\.|^silent_sensor_test\.|^recovery_test\.Recovery\.(AOneSecond|Callbacks|ADisconnect)|^action_sync_test\.ThreeSensors\.One|^soak\.'
  cmake -S "$repo_dir" -B "$tsan_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNC_BUILD_TESTS=ON "$@" \
    -DORNC_SANITIZE=thread >/dev/null
  # The target list is read once and whole: grep -q on a pipe would close
  # it early, and under pipefail make's broken pipe would count as absence.
  known_targets="$(cmake --build "$tsan_dir" --target help)"
  available=()
  for target in "${tsan_targets[@]}"; do
    if grep -q "^\.\.\. $target\$" <<<"$known_targets"; then available+=("$target"); fi
  done
  cmake --build "$tsan_dir" -j "$jobs" --target "${available[@]}"
  (
    source "$tsan_dir/sanitizer-env.sh"
    export ORNC_RECOVERY_OUTAGES=3
    ctest --test-dir "$tsan_dir" --output-on-failure -j 1 --timeout 900 -R "$tsan_tests"
  )

  # 3. libFuzzer (clang): every target for ORNC_FUZZ_SECONDS (20 s) from its
  #    committed seeds, and a replay of the crash inputs kept in
  #    fuzz/regressions/ (the other builds replay them too: fuzz_replay.*).
  if [ "${ORNC_SKIP_FUZZ:-0}" != "1" ]; then
    fuzz_dir="$build_dir-fuzz"
    cmake -S "$repo_dir" -B "$fuzz_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNC_BUILD_TESTS=ON "$@" \
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DORNC_BUILD_FUZZERS=ON -DORNC_SANITIZE=address >/dev/null
    cmake --build "$fuzz_dir" -j "$jobs" --target ornc_fuzzers
    (
      source "$fuzz_dir/sanitizer-env.sh"
      ctest --test-dir "$fuzz_dir" --output-on-failure -j 1 --timeout 600 -L '^fuzz$'
    )
  fi
fi
