#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan), replays each
# corpus, then fuzzes each target for FUZZ_SECONDS (default 20) seconds from
# a scratch copy of its corpus, with leak detection on.  A crash, a leak, a
# failed check of a target or a unit slower than 25 seconds fails the
# script; the input is left in <build>/crashes/ to be added to
# fuzz/corpus/<target>/ once fixed.
#   FUZZ_SECONDS=3600 scripts/fuzz.sh        one hour per target
#   FUZZ_TARGETS="zone_edit_fuzz" ...        only the targets named
#   FUZZ_BUILD_DIR=build-mine ...            another build directory
#   FUZZ_SEED=0 ...                          a fresh random seed (default 1: a CI run
#                                            replays the same mutations every time)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-20}
seed=${FUZZ_SEED:-1}
build=${FUZZ_BUILD_DIR:-build-fuzz}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_COMPILER=clang -DMC_BUILD_FUZZERS=ON -DMC_BUILD_TESTS=OFF -DMC_BUILD_APPS=OFF \
  -DMC_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" -j "$(nproc)"
mkdir -p "$build"/crashes
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
targets=${FUZZ_TARGETS:-$(for src in fuzz/*_fuzz.cc; do [ -e "$src" ] && basename "$src" .cc; done)}
for name in $targets; do
  corpus=fuzz/corpus/$name
  scratch=$build/scratch/$name
  log=$build/$name.log
  rm -rf "$scratch" && mkdir -p "$scratch"
  echo "== $name: replay of $(find "$corpus" -type f | wc -l) inputs, then ${seconds}s of fuzzing"
  "$build"/fuzz/"$name" -runs=0 "$corpus" >/dev/null 2>"$log" || { cat "$log"; exit 1; }
  # Each load of a tables file keeps the dictionary's value texts (a kept
  # behaviour), so tables_fuzz grows by about half a kilobyte per input: an
  # hour-long run passes libFuzzer's default 2 GB limit without any fault.
  "$build"/fuzz/"$name" -max_total_time="$seconds" -seed="$seed" -timeout=25 -rss_limit_mb=8192 -artifact_prefix="$build"/crashes/"$name"- \
    -print_final_stats=1 "$scratch" "$corpus" >"$log" 2>&1 || { tail -n 60 "$log"; exit 1; }
  grep -E 'stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)' "$log" || true
done
