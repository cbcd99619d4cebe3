#!/bin/sh
# usage: scripts/reliability.sh churn [SECONDS [RECORDS]]
#        scripts/reliability.sh vrf-life [--valgrind] [CYCLES]
#        scripts/reliability.sh faults [SECONDS]
#
# Builds the release and runs one of the long checks of tests/reliability:
#   churn     walks under changes for SECONDS (120), then while RECORDS (1000000) are scanned
#   vrf-life  CYCLES (10000) of each kind of name; with --valgrind under valgrind, which takes
#             some 25 minutes for as many
#   faults    each fault once, then kills for SECONDS (600)
# With make: make vrf-life ARGS='--valgrind 1000'.
set -eu

cd "$(dirname "$0")/.."
what=$1
shift
case $what in
churn | vrf-life | faults) ;;
*)
  echo "scripts/reliability.sh: no check is called $what" >&2
  exit 2
  ;;
esac
bin=$PWD/build/release/bin

scripts/setup.sh test
scripts/build.sh release product reliability

case $what in
churn)
  "$bin/conmon-churn" "$bin/conmon-snmpd" --judge-memory --seconds "${1:-120}"
  "$bin/conmon-scan" build/release/lib/libConnectivityMonitorSnmp.so --records "${2:-1000000}"
  ;;
vrf-life)
  judge=--judge-memory
  if [ "${1-}" = --valgrind ]; then
    scripts/setup.sh valgrind
    judge=--valgrind
    shift
  fi
  export CONMON_SNMPD="$bin/conmon-snmpd"
  exec python3 -B tests/reliability/vrf_life.py "$judge" --cycles "${1:-10000}"
  ;;
faults)
  export CONMON_SNMPD="$bin/conmon-snmpd" CONMON_PROBED="$bin/conmon-probed"
  export CONMON_CLOCK_STEP_LIBRARY="$PWD/build/release/tests/libconmon-clock-step.so"
  cd tests/reliability
  python3 -B -m unittest test_faults
  exec python3 -B kills.py --seconds "${1:-600}"
  ;;
esac
