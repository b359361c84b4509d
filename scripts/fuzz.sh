#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan), replays each
# corpus, then fuzzes each target for FUZZ_SECONDS (default 30) seconds from
# a scratch copy of its corpus.  A crash fails the script; its input is left
# in build-fuzz/crashes/ to be added to fuzz/corpus/<target>/ once fixed.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-30}
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_COMPILER=clang -DMC_BUILD_FUZZERS=ON -DMC_BUILD_TESTS=OFF -DMC_BUILD_APPS=OFF \
  -DMC_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build-fuzz -j "$(nproc)"
mkdir -p build-fuzz/crashes
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for src in fuzz/*_fuzz.cc; do
  [ -e "$src" ] || continue
  name=$(basename "$src" .cc)
  corpus=fuzz/corpus/$name
  scratch=build-fuzz/scratch/$name
  rm -rf "$scratch" && mkdir -p "$scratch"
  echo "== $name: replay of $(find "$corpus" -type f | wc -l) inputs, then ${seconds}s of fuzzing"
  build-fuzz/fuzz/"$name" -runs=0 "$corpus" >/dev/null 2>build-fuzz/"$name".log || { cat build-fuzz/"$name".log; exit 1; }
  build-fuzz/fuzz/"$name" -max_total_time="$seconds" -artifact_prefix=build-fuzz/crashes/"$name"- \
    -print_final_stats=1 "$scratch" "$corpus" >build-fuzz/"$name".log 2>&1 || { tail -n 60 build-fuzz/"$name".log; exit 1; }
  grep -E 'stat::number_of_executed_units' build-fuzz/"$name".log || true
done
