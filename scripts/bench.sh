#!/bin/sh
# usage: scripts/bench.sh [ARGUMENT...]
#
# Builds the release and runs the benchmarks; arguments go to the benchmark program.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh test
scripts/build.sh release all
exec cmake --build build/release --target bench
