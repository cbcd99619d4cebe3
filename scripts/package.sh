#!/bin/sh
# usage: scripts/package.sh [PRESET]
#
# Makes the Debian package of what was built with the preset (release) and prints its path. What is
# not built yet is built first.
set -eu

cd "$(dirname "$0")/.."
preset=${1:-release}
scripts/build.sh "$preset" product >&2
rm -rf "build/$preset/package"
log=build/package-$preset.log
# umask: what is in the package is for all to read.
(umask 022 && cd "build/$preset" && cpack -G DEB) >"$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
set -- "build/$preset"/package/conmon_*.deb
if [ ! -f "$1" ] || [ $# -ne 1 ]; then
  cat "$log" >&2
  echo 'package: no package came of it' >&2
  exit 1
fi
echo "$1"
