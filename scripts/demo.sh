#!/usr/bin/env bash
# Sets up and runs the main job end to end, with nothing outside the build
# tree: builds the library and its tools, compiles the sample dictionary,
# writes a tovel.ini naming a tables and a working directory (through
# MC_PREFERENCES_DIR), runs the demo host module (start, traces, a message
# built, checked, sent, received and walked, a broken message, a signed
# file, stop), then looks at what it wrote with mctool.  Idempotent: the
# demo directory is made afresh at each run.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${MC_DEMO_BUILD_DIR:-build}
scripts/deps.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc)" --target mc mctool mc-keytool demo_host

demo=$root/$build/demo
rm -rf "$demo"
mkdir -p "$demo/preferences" "$demo/tables" "$demo/work"
export MC_PREFERENCES_DIR=$demo/preferences
mctool=$root/$build/apps/mctool
step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }

step "compile the sample dictionary (examples/dictionary.json)"
"$mctool" tables build examples/dictionary.json -o "$demo/tables/tablebin.kmt"
"$mctool" tables show "$demo/tables/tablebin.kmt"

step "configure: tovel.ini in MC_PREFERENCES_DIR=$MC_PREFERENCES_DIR"
"$mctool" ini set --preferences tovel.ini commun repertoiretable "$demo/tables"
"$mctool" ini set --preferences tovel.ini commun repertoiretravail "$demo/work"
cat "$MC_PREFERENCES_DIR/tovel.ini"

step "run the demo host module (examples/demo_host.c)"
"$root/$build/examples/demo_host" "$demo/work" "$root/keys/demo-private.key"

step "the message it sent, decoded and checked by mctool"
"$mctool" zone decode -f "$demo/work/message.bin"
"$mctool" zone check -f "$demo/work/message.bin"
step "a broken message: the date field holds 20241301"
broken=$("$mctool" zone decode --json -f "$demo/work/message.bin" | sed 's/"20240601"/"20241301"/')
echo "$broken" >"$demo/broken.json"
"$mctool" zone check "$("$mctool" zone encode "$demo/broken.json")" || echo "(exit code $?)"

step "the signed file it wrote"
"$mctool" dump "$demo/work/orders.bin" --table ORDERS
"$mctool" verify "$demo/work/orders.bin"

trace=$demo/work/demo_host.log
step "the trace it wrote: $trace ($(wc -l <"$trace") lines); its start and its error lines:"
# The trace is written in Latin-1.
head -n 8 "$trace" | iconv -f LATIN1 -t UTF-8
echo "..."
grep -n "ERREUR" "$trace" | head -n 8 | iconv -f LATIN1 -t UTF-8
