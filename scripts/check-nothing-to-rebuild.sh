#!/bin/sh
# usage: scripts/check-nothing-to-rebuild.sh PRESET
#
# After a build of everything, building again finds nothing to do: a rule whose output never
# becomes up to date would cost every later build, and hide what a change really touches.
set -eu

cd "$(dirname "$0")/.."
out=$(scripts/build.sh "$1" all)
echo "$out"
echo "$out" | grep -q '^ninja: no work to do'
