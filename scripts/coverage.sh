#!/bin/sh
# Builds the tests of the store and the plug-in with clang's coverage, runs them, and prints what part
# of the lines and branches of each folder they reach. Fails below the limit for lines.
#
# Only the two rooms' own tests count, unit and property. The agent's and those of whole processes come
# on top of that.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh coverage
build=build/coverage
profiles=$build/profiles
programs='unit_connectivity_monitor unit_data_store unit_data_store_allocation unit_lintu unit_pomel
  unit_pomel_thread_safe unit_qiv unit_root unit_sm_types unit_snmp_support unit_snmp_types unit_table_sm
  unit_trace unit_ubo unit_velmor unit_velmor_cost unit_velmor_failure unit_velmor_unload property_store
  property_texts'

# A test of how the process ends leaves no time to write a profile: the counters are in the file all
# the time (%c), which on Linux takes counters that can be moved, and a file for each library (%m).
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Coverage \
  -DCMAKE_CXX_FLAGS_COVERAGE='-O0 -g1 -fprofile-instr-generate -fcoverage-mapping -mllvm -runtime-counter-relocation' \
  >"$build.log" 2>&1 || {
  cat "$build.log" >&2
  exit 1
}
# shellcheck disable=SC2086  # several targets
cmake --build "$build" --parallel "$(nproc)" --target $programs >"$build.log" 2>&1 || {
  tail -n 60 "$build.log" >&2
  exit 1
}

rm -rf "$profiles"
mkdir -p "$profiles"
objects=
for program in $programs; do
  LLVM_PROFILE_FILE="$PWD/$profiles/$program-%m-%p-%c.profraw" \
    "$build/tests/$program" --gtest_brief=1 >"$profiles/$program.log" 2>&1 || {
    tail -n 40 "$profiles/$program.log" >&2
    echo "coverage: $program failed" >&2
    exit 1
  }
  objects="$objects -object $build/tests/$program"
done
for library in "$build"/lib/*.so; do objects="$objects -object $library"; done

find "$profiles" -name '*.profraw' -size +0 >"$profiles/all"
llvm-profdata merge --sparse --failure-mode=all --input-files="$profiles/all" -o "$profiles/merged"
# shellcheck disable=SC2086
llvm-cov export --summary-only --instr-profile="$profiles/merged" $objects >"$profiles/summary.json"
# shellcheck disable=SC2086
llvm-cov show --instr-profile="$profiles/merged" --show-branches=count --region-coverage-lt=100 \
  $objects ConnectivityMonitorSnmp platform >"$build/lines.txt" 2>/dev/null || true
exec python3 -B scripts/coverage_report.py "$profiles/summary.json"
