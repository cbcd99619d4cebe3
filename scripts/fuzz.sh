#!/bin/sh
# usage: scripts/fuzz.sh [SECONDS]
#        scripts/fuzz.sh --coverage
#
# Builds the fuzz programs with the sanitizers, optimised, and runs each for SECONDS (60), as many at a
# time as there are processors: mutated SNMP packets against a live agent, and those of libFuzzer.
# Prints the processor's time and the executions of each, and the longest that one took; fails on a
# crash, a report of a sanitizer, an input that takes over a second of that time, or 2 GB. What they find
# is kept in build/fuzz/tests/fuzz/NAME.found/, inputs that led on and inputs that failed (crash-*,
# timeout-*, oom-*) alike; the next run begins with them.
#
# --coverage prints how many lines and branches of our code the corpora reach, with what was found on
# this machine so far and 20 seconds of packets, folder by folder.
set -eu

cd "$(dirname "$0")/.."
[ "${1-}" != --coverage ] || exec scripts/coverage.sh fuzz
. scripts/fuzz_programs.sh
seconds=${1:-60}
logs=build/logs/fuzz
mkdir -p "$logs"
scripts/setup.sh test
scripts/build.sh fuzz fuzzers conmon-snmpd ConnectivityMonitorSnmp >"$logs/build.log" || {
  tail -n 60 "$logs/build.log"
  exit 1
}

# search NAME: one program of libFuzzer.
search() {
  dictionary=
  case $1 in feed_fuzzer | store_fuzzer) dictionary=-dict=tests/fuzz/feed.dict ;; esac
  # shellcheck disable=SC2046,SC2086  # lists
  "build/fuzz/tests/$1" -max_total_time="$seconds" -timeout=300 -rss_limit_mb=2048 -print_funcs=0 \
    -entropic=0 -print_final_stats=1 $dictionary -artifact_prefix="$(found "$1")/" "$(found "$1")" \
    $(corpora "$1")
}
packets() {
  python3 -B tests/fuzz/snmp_packets.py build/fuzz/bin/conmon-snmpd --seconds "$seconds"
}
# one NAME: runs it; the last line of its log tells how it ended.
one() {
  if [ "$1" = snmp_packets ]; then packets; else search "$1"; fi >"$logs/$1.log" 2>&1 &&
    echo good >>"$logs/$1.log" || echo failed >>"$logs/$1.log"
}

failed=no
total=0
# line NAME EXECUTIONS MILLISECONDS LONGEST HOW, the times of the processor
line() {
  total=$((total + ${2:-0}))
  each=
  [ "${3:-0}" -eq 0 ] || each=$((${2:-0} * 1000 / $3))
  printf '%-22s %7s s %11s executions %8s /s, longest %5s ms  %s\n' \
    "$1" "$((${3:-0} / 1000))" "${2:-?}" "${each:-?}" "${4:-?}" "$5"
  if [ "$5" != good ]; then
    failed=yes
    tail -n 40 "$logs/$1.log"
  fi
}
# figure PATTERN NAME: what the pattern's group finds in the log.
figure() { sed -n "s/$1/\\1/p" "$logs/$2.log"; }
report() {
  how=$(tail -n 1 "$logs/$1.log")
  if [ "$1" = snmp_packets ]; then
    line "$1" "$(figure '^\([0-9]*\) packets .*' "$1")" \
      "$(figure '.* of \([0-9]*\) ms of the agent.s time$' "$1")" \
      "$(figure '.* had \([0-9]*\) ms of .*' "$1")" "$how"
  else
    line "$1" "$(figure '^stat::number_of_executed_units: *\([0-9]*\)' "$1")" \
      "$(figure '^longest input: .* of \([0-9]*\) ms$' "$1")" \
      "$(figure '^longest input: \([0-9]*\) ms.*' "$1")" "$how"
  fi
}

running=
for name in snmp_packets $fuzzers; do
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

echo "$total in all"
[ "$failed" = no ]
