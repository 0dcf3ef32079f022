#!/usr/bin/env bash
# Installs the Debian packages that the build needs and that are missing. Says nothing when there is nothing to do.
set -euo pipefail

packages=(
  # tools
  g++ cmake ninja-build pkg-config python3
  # ray tracing, threads, subdivision
  libembree-dev libtbb-dev libosd-dev
  # images; CMake's description of the library checks that its tools are there
  libopenimageio-dev openimageio-tools libpng-dev libjpeg-dev
  # colour tables
  libopencolorio-dev
  # scene files
  libassimp-dev zlib1g-dev nlohmann-json3-dev libdraco-dev
  # command line, tests, benchmarks
  libcli11-dev libgtest-dev libbenchmark-dev
)
# Makes a second build quick; the build does without it.
wanted=(ccache)

installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
  echo "setup: no apt-get on this system; install what these Debian packages hold: ${packages[*]}" >&2
  exit 1
fi

missing=() required=()
for package in "${packages[@]}"; do
  installed "$package" || { missing+=("$package"); required+=("$package"); }
done
for package in "${wanted[@]}"; do
  installed "$package" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    [ ${#required[@]} -gt 0 ] || exit 0
    echo "setup: these packages are missing and installing them takes root: apt-get install ${required[*]}" >&2
    exit 1
  fi
  root=(sudo)
  # Without a terminal nobody can answer sudo's question.
  [ -t 0 ] || root=(sudo -n)
fi
apt() {
  "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o Acquire::Retries=2 -o DPkg::Lock::Timeout=300 \
    -qq "$@" </dev/null
}

echo "setup: installing ${missing[*]}" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! apt update >"$log" 2>&1; then
  cat "$log" >&2
  echo "setup: the package lists could not be fetched; is there a network?" >&2
  [ ${#required[@]} -gt 0 ] && exit 1 || exit 0
fi
if ! apt install --no-install-recommends "${missing[@]}" >"$log" 2>&1; then
  tail -20 "$log" >&2
  echo "setup: apt-get could not install ${missing[*]}" >&2
  [ ${#required[@]} -gt 0 ] && exit 1 || exit 0
fi
