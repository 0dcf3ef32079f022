#!/usr/bin/env bash
# Sets up and builds: tools/build.sh [PRESET [TARGET...]]. Quiet: one line when there is something to build, the whole
# output in build/PRESET.log, its end on failure.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=${1:-release}
[ $# -gt 0 ] && shift
tools/setup.sh

mkdir -p build
log=build/$preset.log

# One build of a folder at a time: two that run at once would write the same files.
exec 9>"build/$preset.lock"
flock 9

fail() {
  echo "build: failed; the end of $PWD/$log:" >&2
  grep -nE 'error:|Error|FAILED' "$log" | head -20 >&2 || true
  tail -30 "$log" >&2
  exit 1
}

: >"$log"
if [ ! -f "build/$preset/build.ninja" ]; then
  echo "build: configuring ($preset)" >&2
  cmake --preset "$preset" >>"$log" 2>&1 9>&- || fail
fi
# What is up to date is checked in a moment and not worth a line.
ninja -C "build/$preset" "$@" >>"$log" 2>&1 9>&- &
builder=$!
trap 'kill "$builder" 2>/dev/null || true' EXIT
for _ in {1..30}; do
  kill -0 "$builder" 2>/dev/null || break
  sleep 0.1
done
if kill -0 "$builder" 2>/dev/null; then
  echo "build: compiling ($preset, a first build takes some minutes); log: $PWD/$log" >&2
fi
wait "$builder" || fail
trap - EXIT
