#!/bin/sh
# usage: scripts/check-units.sh [FOLDER]
#
# Holds the systemd units to what operation.md promises of them: what systemd's own analysis calls
# their exposure has a limit, what they say is understood by systemd, and the settings that an
# exposure cannot stand for are there. Needs no running systemd.
set -eu

units=${1:-$(dirname "$0")/../packaging/systemd}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

refuse() {
  echo "check-units: $*" >&2
  status=1
}

demand() { # UNIT LINE...: each has to be in the unit as it stands.
  unit=$1
  shift
  for line in "$@"; do
    grep -qxF -- "$line" "$units/$unit" || refuse "$unit: no line '$line'"
  done
}

# UNIT TENTHS: the exposure, in tenths as --threshold counts, is at most that.
limit() {
  report=$work/$1.report
  if ! systemd-analyze security --offline=true --no-pager --threshold="$2" "$units/$1" >"$report" 2>&1; then
    refuse "$1: exposed beyond $2 tenths, or not to be analysed:"
    grep -e '^✗' -e exposure "$report" >&2 || cat "$report" >&2
  fi
  grep 'Overall exposure level' "$report" || refuse "$1: systemd-analyze gave no exposure"
}

# systemd reads the unit without complaint. The programs need not be installed for that.
understood() {
  sed 's|^\(Exec[A-Za-z]*=\)/usr/sbin/[^ ]*|\1/bin/true|' "$units/$1" >"$work/$1"
  # Wants= and man pages lead to other files, which are not asked about here.
  systemd-analyze verify --recursive-errors=no --man=no "$work/$1" >"$work/verify" 2>&1 || true
  if grep -F "$1" "$work/verify" >&2; then refuse "$1: not understood"; fi
}

for unit in conmon-snmpd.service conmon-probed.service; do
  if [ ! -f "$units/$unit" ]; then
    refuse "$units/$unit is missing"
    continue
  fi
  demand "$unit" Type=notify NoNewPrivileges=yes ProtectSystem=strict SystemCallFilter=@system-service \
    'SystemCallFilter=~@privileged @resources' \
    'RestrictAddressFamilies=AF_INET AF_INET6 AF_UNIX AF_NETLINK' Group=conmon
  grep -q '^WatchdogSec=[1-9]' "$units/$unit" || refuse "$unit: no watchdog"
  understood "$unit"
done
[ "$status" = 0 ] || exit "$status"

demand conmon-snmpd.service User=conmon-snmpd CapabilityBoundingSet= AmbientCapabilities=
demand conmon-probed.service User=conmon-probed CapabilityBoundingSet=CAP_NET_RAW \
  AmbientCapabilities=CAP_NET_RAW
limit conmon-snmpd.service 15
limit conmon-probed.service 25
exit "$status"
