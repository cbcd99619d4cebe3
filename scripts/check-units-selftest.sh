#!/bin/sh
# check-units.sh must refuse units that lost any of what it promises, and take those that did not.
set -eu

cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

fresh() {
  rm -rf "$work/units"
  cp -r packaging/systemd "$work/units"
}

refuses() { # WHAT SED-SCRIPT UNIT
  fresh
  sed -i "$2" "$work/units/$3"
  if cmp -s "$work/units/$3" "packaging/systemd/$3"; then
    echo "check-units-selftest: $1: the unit was not changed" >&2
    failed=1
  elif scripts/check-units.sh "$work/units" >"$work/log" 2>&1; then
    echo "check-units-selftest: $1 was not refused" >&2
    failed=1
  elif ! grep -q "^check-units: $3: " "$work/log"; then
    echo "check-units-selftest: $1 was refused for something else:" >&2
    cat "$work/log" >&2
    failed=1
  fi
}

fresh
if ! scripts/check-units.sh "$work/units" >"$work/log" 2>&1; then
  echo 'check-units-selftest: units that are as they should be were refused:' >&2
  cat "$work/log" >&2
  failed=1
fi
for unit in conmon-snmpd.service conmon-probed.service; do
  refuses 'a lost setting' '/^NoNewPrivileges=/d' "$unit"
  refuses 'a weakened setting' 's/^ProtectSystem=strict/ProtectSystem=full/' "$unit"
  refuses 'a capability more' 's/^CapabilityBoundingSet=.*/& CAP_SYS_ADMIN/' "$unit"
  refuses 'a lost watchdog' '/^WatchdogSec=/d' "$unit"
  refuses 'an unknown setting' 's/^PrivateTmp=yes/PrivateTemp=yes/' "$unit"
done
# Only the exposure tells of these.
refuses 'an exposed agent' '/^\(Protect[CHKP]\|Restrict[NRS]\|Private[DM]\)/d' conmon-snmpd.service
refuses 'an exposed prober' \
  '/^\(Protect[CHKP]\|Restrict[NRS]\|Private\|SystemCallArch\|MemoryDeny\|Lock\|RemoveIPC\|UMask\)/d' \
  conmon-probed.service
exit "$failed"
