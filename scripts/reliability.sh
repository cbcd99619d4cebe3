#!/bin/sh
# usage: scripts/reliability.sh churn|vrf-life|faults
#
# Builds the release and runs one of the long checks of tests/reliability.
set -eu

cd "$(dirname "$0")/.."
what=$1
bin=$PWD/build/release/bin

scripts/setup.sh test
scripts/build.sh release product reliability

case $what in
churn)
  "$bin/conmon-churn" "$bin/conmon-snmpd" --judge-memory
  "$bin/conmon-scan" build/release/lib/libConnectivityMonitorSnmp.so
  ;;
vrf-life)
  scripts/setup.sh valgrind
  CONMON_SNMPD=$bin/conmon-snmpd python3 -B tests/reliability/vrf_life.py --judge-memory
  CONMON_SNMPD=$bin/conmon-snmpd python3 -B tests/reliability/vrf_life.py --valgrind
  ;;
faults)
  export CONMON_SNMPD="$bin/conmon-snmpd" CONMON_PROBED="$bin/conmon-probed"
  export CONMON_CLOCK_STEP_LIBRARY="$PWD/build/release/tests/libconmon-clock-step.so"
  cd tests/reliability
  python3 -B -m unittest test_faults
  exec python3 -B kills.py
  ;;
*)
  echo "scripts/reliability.sh: no check is called $what" >&2
  exit 2
  ;;
esac
