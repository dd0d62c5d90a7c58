#!/usr/bin/env bash
# Build the libFuzzer targets with clang (library and entry points under
# AddressSanitizer and UndefinedBehaviorSanitizer, with coverage) and run
# each for a while.  Run it for longer by hand whenever a parser changes.
#
#   scripts/fuzz.sh [seconds per target, default 20] [target ...]
#
# Targets are the names of fuzz/*_fuzz.cpp (commandscript, kv, ...); all by
# default.  Each run starts from the committed corpus fuzz/corpus/<target>
# and grows a scratch corpus under build/fuzz/corpus, which is not kept.  An
# input that crashes, leaks or hangs is written into fuzz/corpus/<target>
# as crash-*, leak-*, timeout-* or oom-*: commit it with the fix, and the
# corpus replay under CTest keeps it checked.  The status is 1 when any
# target found something.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-20}
shift || true
case "$seconds" in
  ''|*[!0-9]*) echo "fuzz.sh: seconds must be a whole number, not '$seconds'" >&2; exit 2 ;;
esac

cc=$(command -v clang-14 || command -v clang || true)
cxx=$(command -v clang++-14 || command -v clang++ || true)
if [ -z "$cc" ] || [ -z "$cxx" ]; then
  echo "fuzz.sh: clang is needed for libFuzzer" >&2
  exit 2
fi

if [ $# -gt 0 ]; then
  targets=("$@")
else
  targets=()
  for f in fuzz/*_fuzz.cpp; do
    n=$(basename "$f" _fuzz.cpp)
    targets+=("$n")
  done
fi

export QT_QPA_PLATFORM=offscreen
jobs=${VX_FUZZ_JOBS:-$(nproc)}
build=build/fuzz
CC=$cc CXX=$cxx cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DVX_SANITIZE=address,undefined -DVX_BUILD_FUZZ=ON -DVX_BUILD_TESTS=OFF -DVX_BUILD_TOOLS=OFF \
  -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link >/dev/null
cmake --build "$build" -j "$jobs" --target "${targets[@]/%/_fuzz}"

# fontconfig keeps its caches for the life of the process: not a leak of
# the code under test (the corpus replays under CTest suppress it too)
printf 'leak:libfontconfig.so\n' > "$build/lsan.supp"
export LSAN_OPTIONS="suppressions=$PWD/$build/lsan.supp:print_suppressions=0"

found=0
for n in "${targets[@]}"; do
  seeds=fuzz/corpus/$n
  work=$build/corpus/$n
  mkdir -p "$work" "$seeds"
  echo "== $n: ${seconds}s"
  if ! "$build/fuzz/${n}_fuzz" "$work" "$seeds" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
       -artifact_prefix="$seeds/" -print_final_stats=0 2>"$build/$n.log"; then
    found=1
    tail -n 40 "$build/$n.log" >&2
    echo "== $n: found an input that fails; it is in $seeds/" >&2
  else
    grep -E '^(Done|#[0-9]+ *DONE)' "$build/$n.log" | tail -n 1 || true
  fi
done
exit $found
