#!/usr/bin/env bash
# Builds the library and its benchmarks in release mode (in build-bench/),
# runs every benchmark program with repetitions and prints one table: each
# figure of the library beside its reference, with the ratio of their speeds
# and the goal it answers.  The JSON results stay in build-bench/bench/results.
#   BENCH_REPETITIONS  repetitions of each benchmark (default 5; medians kept)
#   BENCH_MIN_TIME     seconds each repetition runs at least (default 0.2)
#   BENCH_BUILD_DIR    build directory (default build-bench)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
build=${BENCH_BUILD_DIR:-build-bench}
repetitions=${BENCH_REPETITIONS:-5}
min_time=${BENCH_MIN_TIME:-0.2}

echo "== release build of the library and the benchmarks ($build)" >&2
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMC_BUILD_BENCH=ON \
  -DMC_BUILD_TESTS=OFF -DMC_BUILD_APPS=OFF -DMC_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" --target benchmarks -j "$(nproc)" >&2

results="$build/bench/results"
rm -rf "$results"
mkdir -p "$results"
# Repetitions of the benchmarks of one program are interleaved in random
# order, so that a change of load on the machine falls on figure and
# reference alike.
for program in "$build"/bench/*_bench; do
  name=$(basename "$program")
  echo "== $name" >&2
  "$program" --benchmark_repetitions="$repetitions" --benchmark_report_aggregates_only=true \
    --benchmark_enable_random_interleaving=true --benchmark_min_time="$min_time" \
    --benchmark_out="$results/$name.json" --benchmark_out_format=json \
    >"$results/$name.txt" 2>&1
done

cpu=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n1)
echo
echo "$(uname -srm), ${cpu:-unknown processor}, $(nproc) cores; load average: $(cut -d' ' -f1-3 /proc/loadavg)"
echo
"$build/bench/bench_report" "$results"/*.json
