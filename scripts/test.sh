#!/usr/bin/env bash
# Set up, build and run every test: once under AddressSanitizer and
# UndefinedBehaviorSanitizer, then the threaded tests under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

export QT_QPA_PLATFORM=offscreen
jobs=$(nproc)

cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVX_SANITIZE=address,undefined -DVX_BUILD_TESTS=ON
cmake --build build/asan -j "$jobs"
ctest --test-dir build/asan --output-on-failure -j "$jobs"

if [ "${VX_SKIP_TSAN:-0}" != 1 ]; then
  cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVX_SANITIZE=thread -DVX_BUILD_TESTS=ON
  cmake --build build/tsan -j "$jobs" --target toolkit_threads_test seedlink_test traceview_realtime_test server_session_test waveio_threads_test traveltime_threads_test waveform_threads_test mapdata_threads_test events_test pickpath_test
  ctest --test-dir build/tsan --output-on-failure -L threads
fi

# Under CI each libFuzzer target also runs for a short while (about 20 s
# each); run scripts/fuzz.sh for longer by hand when a parser changes.  A
# finding is reported loudly (the input lands in fuzz/corpus/<target>) but
# does not fail the run: a short random search is not repeatable, and the
# committed corpus, replayed by ctest above, is what gates.
if [ -n "${CI:-}" ]; then
  if ! scripts/fuzz.sh "${VX_FUZZ_SECONDS:-20}"; then
    echo "test.sh: FUZZING FOUND SOMETHING (or could not build): see the lines above" >&2
  fi
fi
