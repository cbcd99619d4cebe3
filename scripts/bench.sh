#!/bin/sh
# Builds the release and runs the benchmarks.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh test
scripts/build.sh release all
exec scripts/build.sh release bench
