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

if [ ! -f "build/$preset/build.ninja" ]; then
  echo "build: configuring ($preset)" >&2
  cmake --preset "$preset" >"$log" 2>&1 9>&- || fail
fi
# Configuring again when a file came or went is a step of its own, and so is the question whether anything is old.
if ! plan=$(ninja -C "build/$preset" -n "$@" 2>/dev/null) || [[ $plan != *"no work to do"* ]]; then
  echo "build: compiling ($preset, a first build takes some minutes); log: $PWD/$log" >&2
  cmake --build "build/$preset" --parallel "$(nproc)" ${1:+--target "$@"} >>"$log" 2>&1 9>&- || fail
fi
