#!/bin/sh
# usage: scripts/reliability.sh churn|vrf-life
#
# Builds the release and runs one of the long checks of tests/reliability.
set -eu

cd "$(dirname "$0")/.."
what=$1
bin=build/release/bin

scripts/setup.sh test
scripts/build.sh release product conmon-churn conmon-scan

case $what in
churn)
  "$bin/conmon-churn" "$bin/conmon-snmpd" --judge-memory
  "$bin/conmon-scan" build/release/lib/libConnectivityMonitorSnmp.so
  ;;
vrf-life)
  python3 -B tests/reliability/vrf_life.py --judge-memory
  python3 -B tests/reliability/vrf_life.py --valgrind
  ;;
*)
  echo "scripts/reliability.sh: no check is called $what" >&2
  exit 2
  ;;
esac
