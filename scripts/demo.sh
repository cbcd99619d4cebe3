#!/bin/sh
# Builds, makes the quick start on free ports, walks the three tables of the default VRF and of VRF
# blue, prints what came, and stops everything. Succeeds only if every row was there, the measured
# ones moved and the end was clean: what has to come is worked out from the example file and from
# quickstart-rows.jsonl, and nothing else may come.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh run
scripts/build.sh release product

feed=examples/feed.jsonl
root=.1.3.6.1.4.1.61111.3.38.1
work=$(mktemp -d /tmp/conmon-demo.XXXXXX)
quickstart=

stop() { # the status of its end is that of the quick start's
  if [ -n "$quickstart" ]; then
    running=$quickstart
    quickstart=
    kill "$running" 2>/dev/null || true
    wait "$running"
  fi
}
trap 'stop || true; rm -rf "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# Another process may hold a port: the quick start then ends at once, and the next ones are tried.
start() {
  for attempt in 1 2 3 4 5 6 7 8; do
    port=$((20000 + ($$ * 31 + attempt * 7919) % 12000))
    web_port=$((port + 12000))
    scripts/quickstart.sh "$port" "$web_port" "conmon-demo-$$" "$work" 2>"$work/log" &
    quickstart=$!
    for _ in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
      if snmpget -v2c -c public -r0 -t1 -Onq "127.0.0.1:$port" .1.3.6.1.2.1.1.3.0 >/dev/null 2>&1; then
        return 0
      fi
      kill -0 "$quickstart" 2>/dev/null || break
      sleep 0.2
    done
    stop || true
  done
  echo 'demo: the quick start did not start' >&2
  return 1
}

community() {
  if [ "$1" = default ]; then echo public; else echo "public@$1"; fi
}

walk() { # VRF TABLE
  snmpwalk -v2c -c "$(community "$1")" -Onq "127.0.0.1:$port" "$root.$2"
}

walk_all() { # prints VRF OID VALUE
  for vrf in default blue; do
    for table in 1 2 3; do
      walk "$vrf" "$table" | sed -n "s/^\(\\$root\.[123]\.1\.[0-9]* *\)/\1/p" | sed "s/^/$vrf /"
    done
  done
}

# Of a walk, the columns that identify a row, as expected-rows.awk prints them, or those of the times
# of the quick start's rows.
columns() { # PATTERN
  awk '{
    split(substr($2, length(root) + 2), part, ".")
    column = part[1] "." part[3]
  } column ~ pattern' root="$root" pattern="$1" | LC_ALL=C sort
}
seen() { walk_all | columns '^(1\.[236]|2\.[2345]|3\.[2367])$'; }
# "quickstart" is how the row's index begins; what stands before it is its length. A walk may end with
# words in place of a value.
measured_times() {
  walk_all | columns '^(1\.8|2\.7|3\.9)$' | grep '\.113\.117\.105\.99\.107\.115\.116\.97\.114\.116\..* [0-9]*$'
}

sees_rows() {
  seen >"$work/seen"
  cmp -s "$work/expected" "$work/seen"
}
# Every time is another than before, but that of the host "nobody", who does not answer.
move() {
  measured_times >"$work/later"
  [ "$(wc -l <"$work/times")" -gt 1 ] && [ "$(wc -l <"$work/times")" = "$(wc -l <"$work/later")" ] &&
    ! LC_ALL=C comm -12 "$work/times" "$work/later" | grep -qvF '.110.111.98.111.100.121.'
}

within() { # SECONDS COMMAND
  deadline=$(($(date +%s) + $1))
  until "$2"; do
    [ "$(date +%s)" -lt "$deadline" ] || return 1
    sleep 0.2
  done
}

fail() {
  echo "demo: $*" >&2
  if [ -f "$work/log" ]; then cat "$work/log" >&2; fi
  exit 1
}

start || fail 'no start'
{
  cat "$feed"
  sed -e "s/1161/$port/g" -e "s/8161/$web_port/g" scripts/quickstart-rows.jsonl
} >"$work/feed"
if grep -q 'no network namespaces' "$work/log"; then
  cat "$work/log"
  grep -v '"host":"web","vrf":"blue"' "$work/feed" >"$work/feed.here"
  mv "$work/feed.here" "$work/feed"
fi
awk -f scripts/expected-rows.awk "$work/feed" | grep -E '^(default|blue) ' | LC_ALL=C sort >"$work/expected"
for vrf in default blue; do
  for table in 1 2 3; do
    grep -qF "$vrf $root.$table." "$work/expected" || fail "no row is expected in table $table of VRF $vrf"
  done
done

if ! within 60 sees_rows; then
  diff "$work/expected" "$work/seen" >&2 || true
  fail 'rows are missing (<) or were not expected (>)'
fi
measured_times >"$work/times"

for vrf in default blue; do
  for table in 1 2 3; do
    echo "\$ snmpwalk -v2c -c '$(community "$vrf")' -Onq 127.0.0.1:$port $root.$table"
    walk "$vrf" "$table"
    echo
  done
done

within 60 move || fail 'not all times move'
echo 'And a moment later the times of the measured rows were:'
sed 's/^[^ ]* //' "$work/later"
echo
stop || fail 'the end was not clean'
rows=$(grep -c "$root\.[123]\.1\.2\." "$work/expected")
echo "demo: all $rows rows were there"
