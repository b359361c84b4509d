#!/usr/bin/env bash
# Line and function coverage of the library by the test suite: builds with
# g++ --coverage in build-coverage/ (or COVERAGE_BUILD_DIR), runs ctest, and
# prints the coverage of each library source and the total.  The HTML report, when
# genhtml is present, lands in <build>/html/index.html.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${COVERAGE_BUILD_DIR:-build-coverage}
command -v lcov >/dev/null || { echo "coverage.sh needs lcov (apt-get install lcov)" >&2; exit 1; }
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc \
  -DCMAKE_C_FLAGS=--coverage -DCMAKE_CXX_FLAGS=--coverage -DMC_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" -j "$(nproc)"
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" -j "$(nproc)" --output-on-failure >"$build"/ctest.log || { tail -n 40 "$build"/ctest.log; exit 1; }
tail -n 3 "$build"/ctest.log
lcov --quiet --capture --directory "$build" --output-file "$build"/all.info >/dev/null 2>&1
lcov --quiet --extract "$build"/all.info "$(pwd)/core/*" "$(pwd)/trace/*" "$(pwd)/binfile/*" "$(pwd)/dictionary/*" \
  "$(pwd)/zone/*" "$(pwd)/tools/*" "$(pwd)/rsaref/*" --output-file "$build"/library.info >/dev/null 2>&1
lcov --list "$build"/library.info | sed "s|$(pwd)/||"
lcov --summary "$build"/library.info 2>&1 | grep -E 'lines|functions'
if command -v genhtml >/dev/null; then genhtml --quiet "$build"/library.info -o "$build"/html >/dev/null 2>&1 || true; fi
