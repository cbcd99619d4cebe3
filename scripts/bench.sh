#!/bin/sh
# Builds the release and runs all benchmarks; fails at the end if one missed a target.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh test
scripts/build.sh release all
bin=build/release/bin

missed=
for bench in pipeline_bench "snmp_bench $bin/conmon-snmpd" icmp_bench; do
  # A name and its argument.
  # shellcheck disable=SC2086
  "$bin"/$bench || missed="$missed ${bench%% *}"
done
python3 bench/prober_bench.py "$bin/conmon-snmpd" "$bin/conmon-probed" "$bin/conmon-example-web" \
  "$bin/far_end" ||
  missed="$missed prober_bench"
if [ -n "$missed" ]; then
  echo "bench: targets were missed by:$missed" >&2
  exit 1
fi
