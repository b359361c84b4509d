#!/usr/bin/env bash
# Sets up and runs the main job: builds the library and its example host,
# runs the host and shows the trace it wrote.  Everything stays in build/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"
mkdir -p build/demo
build/examples/trace_host build/demo/trace_host.log
