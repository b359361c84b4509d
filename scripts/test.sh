#!/usr/bin/env bash
# Sets up and runs every test: the suite built with g++, the suite again with
# clang under AddressSanitizer and UndefinedBehaviorSanitizer, the fuzz corpus
# replay, and a host built against an installed copy of the library.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=$(nproc)
scripts/deps.sh

echo "== g++ build and tests"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build -j "$jobs" --output-on-failure

echo "== clang build with AddressSanitizer and UndefinedBehaviorSanitizer, and tests"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
  -DMC_SANITIZE=ON >/dev/null
cmake --build build-asan -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan -j "$jobs" --output-on-failure

if [ -x scripts/fuzz.sh ]; then
  echo "== fuzz targets: corpus replay and short runs"
  scripts/fuzz.sh
fi

echo "== install, then a host built with pkg-config and with find_package"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install build --prefix "$prefix/usr" >/dev/null
scripts/check-install.sh "$prefix/usr"
echo "== all tests passed"
