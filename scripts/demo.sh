#!/bin/sh
# Builds, starts the agent on a free port with the example records, walks the three tables of the
# default VRF and of VRF blue, prints what came, and stops the agent. Succeeds only if every row was
# there: what has to come is worked out from the example file, and nothing else may come.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh run
scripts/build.sh release product

feed=examples/feed.jsonl
root=.1.3.6.1.4.1.61111.3.38.1
work=$(mktemp -d)
agent=

stop() {
  if [ -n "$agent" ]; then
    kill "$agent" 2>/dev/null || true
    wait "$agent" 2>/dev/null || true
    agent=
  fi
}
trap 'stop; rm -rf "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# Another process may hold the port: the agent then ends at once and the next port is tried.
start() {
  for attempt in 1 2 3 4 5 6 7 8; do
    port=$((20000 + ($$ * 31 + attempt * 7919) % 12000))
    build/release/bin/conmon-snmpd --config examples/conmon-snmpd.yaml \
      --listen "udp:127.0.0.1:$port" --feed "$work/feed.sock" --feed-file "$feed" \
      2>"$work/agent.log" &
    agent=$!
    for _ in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
      if snmpget -v2c -c public -r0 -t1 -Onq "127.0.0.1:$port" .1.3.6.1.2.1.1.3.0 >/dev/null 2>&1; then
        return 0
      fi
      kill -0 "$agent" 2>/dev/null || break
      sleep 0.2
    done
    stop
  done
  cat "$work/agent.log" >&2
  echo 'demo: the agent did not start' >&2
  return 1
}

community() {
  if [ "$1" = default ]; then echo public; else echo "public@$1"; fi
}

walk() { # VRF TABLE
  snmpwalk -v2c -c "$(community "$1")" -Onq "127.0.0.1:$port" "$root.$2"
}

# The varbinds of the columns that identify a row, as expected-rows.awk prints them.
seen() {
  for vrf in default blue; do
    for table in 1 2 3; do
      walk "$vrf" "$table" | sed -n "s/^\(\\$root\.[123]\.1\.[0-9]* *\)/\1/p" | sed "s/^/$vrf /"
    done
  done | awk '{
    split(substr($2, length(root) + 2), part, ".")
    column = part[1] "." part[3]
  } column ~ /^(1\.[236]|2\.[2345]|3\.[2367])$/' root="$root" | LC_ALL=C sort
}

awk -f scripts/expected-rows.awk "$feed" >"$work/all"
grep -E '^(default|blue) ' "$work/all" | LC_ALL=C sort >"$work/expected"
for vrf in default blue; do
  for table in 1 2 3; do
    if ! grep -qF "$vrf $root.$table." "$work/expected"; then
      echo "demo: $feed has no row for table $table of VRF $vrf" >&2
      exit 1
    fi
  done
done

start
deadline=$(($(date +%s) + 15))
seen >"$work/seen"
until cmp -s "$work/expected" "$work/seen" || [ "$(date +%s)" -ge "$deadline" ]; do
  sleep 0.2
  seen >"$work/seen"
done

for vrf in default blue; do
  for table in 1 2 3; do
    echo "\$ snmpwalk -v2c -c '$(community "$vrf")' -Onq 127.0.0.1:$port $root.$table"
    walk "$vrf" "$table"
    echo
  done
done

if cmp -s "$work/expected" "$work/seen"; then
  rows=$(grep -c "$root\.[123]\.1\.2\." "$work/expected")
  echo "demo: all $rows rows were there"
else
  echo 'demo: rows are missing (<) or were not expected (>):' >&2
  diff "$work/expected" "$work/seen" >&2 || true
  exit 1
fi
