#!/bin/sh
# usage: scripts/fuzz.sh [SECONDS]
#        scripts/fuzz.sh --coverage
#
# Builds the fuzz programs with the sanitizers and runs each for SECONDS (60), as many at a time as
# there are processors: first those of libFuzzer, then mutated SNMP packets against a live agent.
# Prints the executions of each and of all; fails on a crash, a report of a sanitizer, an input that
# takes over five seconds of this unoptimised build or 2 GB. What they find is kept in build/asan/tests/fuzz/NAME.found/, inputs
# that led on and inputs that failed (crash-*, timeout-*, oom-*) alike; the next run begins with them.
#
# --coverage prints how many of the functions of our code the corpora reach, with what was found on
# this machine so far, folder by folder; functions that no program links are not counted.
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

scripts/build.sh asan fuzzers conmon-snmpd ConnectivityMonitorSnmp >"$logs/build.log"

if [ "${1-}" = --coverage ]; then
  for name in $fuzzers; do
    found=build/asan/tests/fuzz/$name.found
    [ -d "$found" ] || found=
    # shellcheck disable=SC2046,SC2086  # lists
    "build/asan/tests/$name" -runs=0 -print_coverage=1 $(corpora "$name") $found 2>&1 |
      grep -E '^(UN)?COVERED_FUNC: '
  done | awk '
    # COVERED_FUNC: hits: 5 edges: 3/13 NAME(ARGUMENTS) FILE:LINE, UNCOVERED_FUNC: the same
    match($0, /\.\.\/(platform|ConnectivityMonitorSnmp|agent|monitor)\/[^ ]*:[0-9]+$/) {
      place = substr($0, RSTART + 3)
      known[place] = 1
      if ($1 == "COVERED_FUNC:") reached[place] = 1
    }
    END {
      for (place in known) {
        room = place
        sub(/\/[^\/]*$/, "", room)
        all[room]++
        if (place in reached) some[room]++
      }
      for (room in all) printf "%-32s %4d of %4d functions\n", room, some[room], all[room]
    }' | sort
  exit
fi

seconds=${1:-60}

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
