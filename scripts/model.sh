#!/bin/sh
# usage: scripts/model.sh [WORLDS [SEED]]
#
# Builds the release and runs that many random worlds (100,000) beside the reference model, on all
# processors, each with the seed after the one before; without SEED they begin at a random one.
# Prints the seeds, figures, and the first failure made short.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh test
scripts/build.sh release model_worlds >/dev/null
worlds=${1:-100000}
seed=${2:-$(od -An -N4 -tu4 /dev/urandom | tr -d ' ')}
exec build/release/tests/model_worlds --worlds "$worlds" --seed "$seed" --jobs "$(nproc)" \
  --seconds 3600
