#!/bin/sh
# usage: scripts/check-nothing-to-rebuild.sh PRESET TARGET...
#
# After a build of the targets, building again finds nothing to do: a rule whose output never
# becomes up to date would cost every later build, and hide what a change really touches.
set -eu

cd "$(dirname "$0")/.."
out=$(scripts/build.sh "$@")
echo "$out"
echo "$out" | grep -q '^ninja: no work to do'
