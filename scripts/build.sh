#!/bin/sh
# usage: scripts/build.sh PRESET [TARGET...]
#
# Configures build/PRESET and builds the targets, if any are named. The target `product` is the
# programs and the plug-in and can be built without the test packages; any other needs those too.
set -eu

cd "$(dirname "$0")/.."
preset=$1
shift
cache=build/$preset/CMakeCache.txt

set_tests=
if [ "$*" != product ]; then
  set_tests=-DCONMON_BUILD_TESTS=ON
elif [ ! -f "$cache" ]; then
  set_tests=-DCONMON_BUILD_TESTS=OFF
fi

# CMake refuses a build tree that was configured elsewhere; a moved or copied project starts anew.
fresh=
if [ -f "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$(pwd -P)" "$cache"; then
  fresh=--fresh
fi

mkdir -p build
log=build/configure-$preset.log
# shellcheck disable=SC2086  # empty means no argument
cmake --preset "$preset" $fresh $set_tests >"$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
[ $# -gt 0 ] || exit 0
exec cmake --build "build/$preset" --parallel "$(nproc)" --target "$@"
