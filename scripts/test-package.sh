#!/bin/sh
# usage: scripts/test-package.sh [PRESET]
#
# Makes the Debian package, installs it into a root of its own with dpkg and its maintainer scripts,
# runs the installed programs, upgrades, removes and purges it, and looks for what is left. The
# machine's own packages, users and services are neither asked nor touched; no systemd has to run.
set -eu

cd "$(dirname "$0")/.."
preset=${1:-release}
# dpkg wants to be root, and what it installs to be root's.
if [ "$(id -u)" != 0 ]; then exec fakeroot "$0" "$preset"; fi

package=$(scripts/package.sh "$preset")
work=$(mktemp -d /tmp/conmon-package-XXXXXX)
root=$work/root
agent=
prober=

stop() { # PID: ends it as systemd would; it has to end well.
  kill "$1"
  wait "$1"
}
cleanup() {
  for process in $prober $agent; do kill -9 "$process" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

fail() {
  echo "test-package: $*" >&2
  for log in "$work"/*.log; do
    [ -f "$log" ] && sed "s|^|  ${log##*/}: |" "$log" >&2
  done
  exit 1
}

# ok COMMAND...: must succeed; what it says is shown if not.
ok() { "$@" >"$work/last.log" 2>&1 || fail "failed: $*"; }

# Maintainer scripts run outside of the root, which has no programs, and are told of it.
dpkg_there() {
  ok dpkg --root="$root" --force-script-chrootless --force-depends --force-confold --log=/dev/null "$@"
}

# Everything in the root that is not dpkg's own book-keeping, with type, mode and owner.
listing() {
  (cd "$root" && find . -path ./var/lib/dpkg -prune -o -printf '%p %y %m %U %G %l\n' | LC_ALL=C sort)
}

eventually() { # COMMAND...: succeeds within a bound that only a broken program reaches.
  for _ in $(seq 600); do
    if "$@" >/dev/null 2>&1; then return 0; fi
    sleep 0.1
  done
  fail "waited in vain for: $*"
}

new_root() {
  mkdir -p "$root/etc" "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
  : >"$root/var/lib/dpkg/status"
  : >"$root/var/lib/dpkg/available"
}

echo "== the package $package"
dpkg-deb --info "$package"
depends=$(dpkg-deb --field "$package" Depends)
for library in libc6 libevent libmnl0 libsnmp40 libsystemd0; do
  case $depends in *"$library"*) ;; *) fail "does not depend on $library" ;; esac
done
# What it depends on is what it was linked with, so all of it is installed here.
echo "$depends" | tr ',' '\n' | while read -r alternatives; do
  found=no
  for name in $(echo "$alternatives" | tr '|' '\n' | sed 's/^ *\([^ (]*\).*/\1/'); do
    if dpkg-query -W "$name" >/dev/null 2>&1; then found=yes; fi
  done
  [ "$found" = yes ] || fail "depends on $alternatives, which is not installed here"
done

echo '== installed'
new_root
listing >"$work/before"
dpkg_there --install "$package"
listing >"$work/installed"
cat "$work/installed"
for file in usr/sbin/conmon-snmpd usr/sbin/conmon-probed etc/conmon/conmon-snmpd.yaml \
  etc/conmon/conmon-probed.yaml usr/lib/systemd/system/conmon-snmpd.service \
  usr/lib/systemd/system/conmon-probed.service usr/share/conmon/mibs/VELMOR-CONMON-MIB.txt \
  usr/share/conmon/config.schema.json usr/share/doc/conmon/operation.md; do
  [ -e "$root/$file" ] || fail "/$file is missing"
done
for user in conmon-snmpd conmon-probed; do
  grep -q "^$user:.*:/usr/sbin/nologin\$" "$root/etc/passwd" || fail "no user $user"
  gid=$(sed -n "s/^$user:[^:]*:\([0-9]*\):.*/\1/p" "$root/etc/group")
  grep -qxF "./etc/conmon/$user.yaml f 640 0 $gid " "$work/installed" ||
    fail "$user.yaml is not for root and the group of $user alone"
done
grep -q '^conmon:' "$root/etc/group" || fail 'no group conmon'
if [ -x /usr/bin/deb-systemd-helper ]; then
  for unit in conmon-snmpd conmon-probed; do
    [ -L "$root/etc/systemd/system/multi-user.target.wants/$unit.service" ] || fail "$unit is not enabled"
  done
fi
if find "$root" -perm /0022 ! -type l ! -path '*/var/lib/dpkg*' | grep .; then fail 'others may write there'; fi

echo '== run'
ok "$root/usr/sbin/conmon-snmpd" --config "$root/etc/conmon/conmon-snmpd.yaml" --check-config
ok "$root/usr/sbin/conmon-probed" --check-config "$root/etc/conmon/conmon-probed.yaml"
feed=$work/feed.sock
objects=.1.3.6.1.4.1.61111.3.38.1

start_agent() {
  for attempt in 1 2 3 4 5 6 7 8; do
    port=$((20000 + ($$ * 37 + attempt * 7919) % 12000))
    "$root/usr/sbin/conmon-snmpd" --config "$root/etc/conmon/conmon-snmpd.yaml" \
      --listen "udp:127.0.0.1:$port" --feed "$feed" 2>"$work/agent.log" &
    agent=$!
    for _ in $(seq 300); do
      if [ -S "$feed" ]; then return 0; fi
      kill -0 "$agent" 2>/dev/null || break
      sleep 0.1
    done
    wait "$agent" || true
    agent=
  done
  fail 'the agent did not start'
}

# The walk names the host NAME in the table 1 (ICMP) to 3 (TCP).
shows() { # NAME TABLE
  snmpwalk -v2c -c public -On -r3 -t5 "127.0.0.1:$port" "$objects.$2.1.3" >"$work/walk" &&
    grep -qF "STRING: \"$1\"" "$work/walk"
}

start_agent
python3 - "$feed" <<'EOF'
import json, socket, sys
with socket.socket(socket.AF_UNIX) as feed:
    feed.settimeout(60)
    feed.connect(sys.argv[1])
    lines = [{"op": "hello", "client": "test"},
             {"op": "put", "host": "web1", "probe": "icmp", "address": "192.0.2.10", "latency": 1.5},
             {"op": "sync"}]
    answers = feed.makefile("rw")
    for line in lines:
        print(json.dumps(line), file=answers, flush=True)
        assert answers.readline() == '{"ok":true}\n'
EOF
# The row's key is its client, host, address and ifIndex.
key=$(printf 'testweb1192.0.2.100' | od -An -v -tu1 | tr -s ' \n' '.' | sed 's/\.$//')
value=$(snmpget -v2c -c public -Oqv -r3 -t5 "127.0.0.1:$port" "$objects.1.1.3.19$key") ||
  fail 'the record cannot be read'
[ "$value" = '"web1"' ] || fail "the record's host is read as $value"

cat >"$work/probed.yaml" <<EOF
client: probed
agent: {socket: $feed}
defaults: {interval: 200ms, timeout: 100ms}
hosts: [{name: refusing, address: 127.0.0.1, tcp: {port: 1}}]
EOF
"$root/usr/sbin/conmon-probed" --config "$work/probed.yaml" 2>"$work/prober.log" &
prober=$!
eventually shows refusing 3
if [ -x "$root/usr/bin/conmonctl" ]; then ok "$root/usr/bin/conmonctl" --help; fi
stop "$prober" || fail "the prober ended with $?"
prober=
stop "$agent" || fail "the agent ended with $?"
agent=
[ ! -e "$feed" ] || fail 'the agent left its socket behind'

echo '== upgraded: what the administrator changed stays'
echo '# mine' >>"$root/etc/conmon/conmon-snmpd.yaml"
dpkg_there --install "$package"
grep -qxF '# mine' "$root/etc/conmon/conmon-snmpd.yaml" || fail 'a changed conffile was replaced'

echo '== removed: the configuration stays'
dpkg_there --remove conmon
[ -f "$root/etc/conmon/conmon-snmpd.yaml" ] || fail 'the configuration is gone'
[ ! -e "$root/usr/sbin/conmon-snmpd" ] || fail 'the agent is still there'

echo '== purged: nothing stays but the users'
dpkg_there --purge conmon
listing >"$work/after"
# systemd-sysusers makes the files of users and groups where there are none, and keeps what was
# before with a dash; dpkg and systemd keep folders that the system has anyway.
sed -n '/^\.\/etc\/\(passwd\|group\|shadow\|gshadow\|\.pwd\.lock\)-\{0,1\} /!p' "$work/after" >"$work/left.all"
sed -n '/ d [0-7]* /!p' "$work/left.all" >"$work/left"
sed -n '/ d [0-7]* /!p' "$work/before" >"$work/expected"
diff "$work/expected" "$work/left" || fail 'files are left'
if grep -i conmon "$work/left.all"; then fail 'folders are left'; fi
[ -z "$(dpkg-query --admindir="$root/var/lib/dpkg" -W 2>/dev/null)" ] || fail 'dpkg still knows the package'
echo '== ok'
