#!/bin/sh
# usage: scripts/coverage.sh [fuzz]
#
# Builds the tests of the store and the plug-in with clang's coverage, runs them, and prints what part
# of the lines and branches of each folder they reach. Fails below the limit for lines.
#
# Only the two rooms' own tests count, unit and property. The agent's and those of whole processes come
# on top of that.
#
# With `fuzz` it is the fuzz programs instead, each fed its corpus and what this machine's searches have
# found, and 20 seconds of SNMP packets; of these all four rooms are told, without a limit.
set -eu

cd "$(dirname "$0")/.."
. scripts/fuzz_programs.sh
scripts/setup.sh coverage
build=build/coverage
rooms='ConnectivityMonitorSnmp platform'
least=95
if [ "${1-}" = fuzz ]; then
  profiles=$build/profiles-fuzz
  programs=$fuzzers
  targets="$fuzzers conmon-snmpd ConnectivityMonitorSnmp"
  rooms="$rooms agent monitor"
  least=0
else
  profiles=$build/profiles
  programs='unit_connectivity_monitor unit_data_store unit_data_store_allocation unit_lintu unit_pomel
    unit_pomel_thread_safe unit_qiv unit_root unit_sm_types unit_snmp_support unit_snmp_types unit_table_sm
    unit_trace unit_ubo unit_velmor unit_velmor_cost unit_velmor_failure unit_velmor_unload property_store
    property_texts'
  targets=$programs
fi

# A test of how the process ends leaves no time to write a profile: the counters are in the file all
# the time (%c), which on Linux takes counters that can be moved, and a file for each library (%m).
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Coverage \
  -DCMAKE_CXX_FLAGS_COVERAGE='-O0 -g1 -fprofile-instr-generate -fcoverage-mapping -mllvm -runtime-counter-relocation' \
  >"$build.log" 2>&1 || {
  cat "$build.log" >&2
  exit 1
}
# shellcheck disable=SC2086  # several targets
cmake --build "$build" --parallel "$(nproc)" --target $targets >"$build.log" 2>&1 || {
  tail -n 60 "$build.log" >&2
  exit 1
}

rm -rf "$profiles"
mkdir -p "$profiles"
objects=
# profiled NAME COMMAND...: runs it with its counters in files of that name.
profiled() {
  name=$1
  shift
  LLVM_PROFILE_FILE="$PWD/$profiles/$name-%m-%p-%c.profraw" "$@" >"$profiles/$name.log" 2>&1 || {
    tail -n 40 "$profiles/$name.log" >&2
    echo "coverage: $name failed" >&2
    exit 1
  }
}
for program in $programs; do
  # shellcheck disable=SC2046  # several folders
  case $program in
    *_fuzzer) profiled "$program" "$build/tests/$program" $(corpora "$program") $(found "$program") ;;
    *) profiled "$program" "$build/tests/$program" --gtest_brief=1 ;;
  esac
  objects="$objects -object $build/tests/$program"
done
if [ "${1-}" = fuzz ]; then
  profiled packets python3 -B tests/fuzz/snmp_packets.py "$build/bin/conmon-snmpd" --seconds 20
  objects="$objects -object $build/bin/conmon-snmpd"
fi
for library in "$build"/lib/*.so; do objects="$objects -object $library"; done

find "$profiles" -name '*.profraw' -size +0 >"$profiles/all"
llvm-profdata merge --sparse --failure-mode=all --input-files="$profiles/all" -o "$profiles/merged"
# shellcheck disable=SC2086
llvm-cov export --summary-only --instr-profile="$profiles/merged" $objects >"$profiles/summary.json"
# shellcheck disable=SC2086
llvm-cov show --instr-profile="$profiles/merged" --show-branches=count --region-coverage-lt=100 \
  $objects $rooms >"$profiles.txt" 2>/dev/null || true
# shellcheck disable=SC2086
exec python3 -B scripts/coverage_report.py "$profiles/summary.json" "$least" $rooms
