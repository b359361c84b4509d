#!/usr/bin/env bash
# Builds a tiny host against an installed copy of the library, once through
# pkg-config and once through CMake's find_package, and runs both.
set -euo pipefail
prefix=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat > "$work/host.c" <<'C'
#include <mc.h>
#include <stdio.h>
int main(void) {
  void *p = MC_Allouer(16);
  int ok = p != NULL && ulMemAllouee > 0;
  MC_Liberer(p);
  printf("installed host: %s\n", ok ? "ok" : "FAILED");
  return ok ? 0 : 1;
}
C
libdir=$(dirname "$(find "$prefix" -name libmc.so | head -n1)")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Werror "$work/host.c" -o "$work/host-pc" $(pkg-config --cflags --libs mc)
LD_LIBRARY_PATH="$libdir" "$work/host-pc"
mkdir -p "$work/cm"
cat > "$work/cm/CMakeLists.txt" <<'CM'
cmake_minimum_required(VERSION 3.20)
project(host C)
find_package(mc REQUIRED)
add_executable(host ../host.c)
target_link_libraries(host PRIVATE mc::mc)
CM
cmake -S "$work/cm" -B "$work/cm/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cm/build" >/dev/null
"$work/cm/build/host"
# The command-line tool installed beside the library runs against it.
LD_LIBRARY_PATH="$libdir" "$prefix/bin/mctool" --version
