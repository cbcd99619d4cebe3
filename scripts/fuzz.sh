#!/bin/sh
# usage: scripts/fuzz.sh [SECONDS]
#        scripts/fuzz.sh --coverage
#
# Builds the fuzz programs with the sanitizers and runs each for SECONDS (60), as many at a time as
# there are processors: first those of libFuzzer, then mutated SNMP packets against a live agent.
# Prints the executions of each and of all; fails on a crash, a report of a sanitizer, an input that
# takes over a second of processor time or 2 GB. What they find is kept in build/asan/tests/fuzz/NAME.found/, inputs
# that led on and inputs that failed (crash-*, timeout-*, oom-*) alike; the next run begins with them.
#
# --coverage prints which share of the lines of our code the corpora reach, with what was found on
# this machine so far.
set -eu

cd "$(dirname "$0")/.."
fuzzers='feed_fuzzer store_fuzzer config_fuzzer prober_config_fuzzer mib_fuzzer icmp_reply_fuzzer
  peer_fuzzer'
logs=build/logs/fuzz
mkdir -p "$logs"

# The folders that a program begins with.
corpora() {
  case $1 in
    feed_fuzzer) echo tests/fuzz/corpus/feed ;;
    store_fuzzer) echo tests/fuzz/corpus/store ;;
    config_fuzzer) echo tests/fuzz/corpus/config ;;
    prober_config_fuzzer) echo tests/unit/monitor/corpus ;;
    mib_fuzzer) echo tests/fuzz/corpus/mib ;;
    icmp_reply_fuzzer) echo tests/fuzz/corpus/icmp ;;
    peer_fuzzer) echo tests/fuzz/corpus/peer ;;
  esac
}

scripts/setup.sh test

if [ "${1-}" = --coverage ]; then
  cmake -S . -B build/coverage-fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS='-O0 -fprofile-instr-generate -fcoverage-mapping' >"$logs/coverage.log"
  cmake --build build/coverage-fuzz --parallel "$(nproc)" --target fuzzers >>"$logs/coverage.log"
  objects=
  for name in $fuzzers; do
    found=build/asan/tests/fuzz/$name.found
    [ -d "$found" ] || found=
    # shellcheck disable=SC2046,SC2086  # lists
    LLVM_PROFILE_FILE=$logs/$name.profraw "build/coverage-fuzz/tests/$name" \
      $(corpora "$name") $found >>"$logs/coverage.log" 2>&1
    objects="$objects -object build/coverage-fuzz/tests/$name"
  done
  llvm-profdata-14 merge -o "$logs/all.profdata" "$logs"/*.profraw
  # shellcheck disable=SC2086
  exec llvm-cov-14 report -instr-profile="$logs/all.profdata" $objects \
    -object build/coverage-fuzz/lib/libconmon_platform.so \
    -object build/coverage-fuzz/lib/libconmon_snmp_support.so \
    -object build/coverage-fuzz/lib/libConnectivityMonitorSnmp.so \
    -ignore-filename-regex='/(usr|tests|\.deps|bench)/'
fi

seconds=${1:-60}
scripts/build.sh asan fuzzers conmon-snmpd ConnectivityMonitorSnmp >"$logs/build.log"

# one NAME: runs it; the last line of its log tells how it ended.
one() {
  found=build/asan/tests/fuzz/$1.found
  mkdir -p "$found"
  dictionary=
  case $1 in feed_fuzzer | store_fuzzer) dictionary=-dict=tests/fuzz/feed.dict ;; esac
  # shellcheck disable=SC2046,SC2086
  "build/asan/tests/$1" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=2048 \
    -print_final_stats=1 $dictionary -artifact_prefix="$found/" "$found" $(corpora "$1") \
    >"$logs/$1.log" 2>&1 && echo good >>"$logs/$1.log" || echo failed >>"$logs/$1.log"
}

failed=no
total=0
report() {
  count=$(sed -n 's/^stat::number_of_executed_units: *//p' "$logs/$1.log")
  total=$((total + ${count:-0}))
  how=$(tail -n 1 "$logs/$1.log")
  printf '%-22s %12s executions  %s\n' "$1" "${count:-?}" "$how"
  if [ "$how" != good ]; then
    failed=yes
    tail -n 40 "$logs/$1.log"
  fi
}

running=
for name in $fuzzers; do
  one "$name" &
  running="$running $name"
  # shellcheck disable=SC2086
  set -- $running
  if [ $# -eq "$(nproc)" ]; then
    wait
    for done in $running; do report "$done"; done
    running=
  fi
done
wait
for done in $running; do report "$done"; done

if python3 -B tests/fuzz/snmp_packets.py build/asan/bin/conmon-snmpd --seconds "$seconds" \
  >"$logs/snmp_packets.log" 2>&1; then how=good; else how=failed; fi
count=$(sed -n 's/^\([0-9]*\) packets .*/\1/p' "$logs/snmp_packets.log")
total=$((total + ${count:-0}))
printf '%-22s %12s packets     %s\n' snmp_packets "${count:-?}" "$how"
if [ "$how" != good ]; then
  failed=yes
  tail -n 40 "$logs/snmp_packets.log"
fi

echo "$total in all"
[ "$failed" = no ]
