#!/bin/sh
# usage: scripts/check-arrows.sh [ROOT]
#
# Holds the arrows between the rooms, include by include. An include is resolved the way the
# compiler would (own folder, own room, the two include roots) and the room it leads to must be one
# that its own room may know. net-snmp's headers may be included in three places only. A quoted
# include that leads nowhere is an error as well: what cannot be resolved cannot be judged.
set -eu

root=${1:-$(dirname "$0")/..}
cd "$root"

sources=$(find platform ConnectivityMonitorSnmp agent monitor ctl -type f \
  \( -name '*.h' -o -name '*.cpp' \) 2>/dev/null | LC_ALL=C sort)
if [ -z "$sources" ]; then
  echo 'check-arrows: no sources found' >&2
  exit 1
fi

# Prints FILE:LINE:FORM:PATH of every include; FORM is " or <.
# shellcheck disable=SC2086  # no source has a blank in its name
includes=$(awk '
  match($0, /^[ \t]*#[ \t]*include[ \t]*[<"][^>"]*[>"]/) {
    path = substr($0, RSTART, RLENGTH)
    form = path ~ /"/ ? "\"" : "<"
    sub(/^[^<"]*[<"]/, "", path)
    sub(/[>"]$/, "", path)
    print FILENAME ":" FNR ":" form ":" path
  }' $sources)

status=0
refuse() {
  echo "$file:$line: $*" >&2
  status=1
}

may_use_net_snmp() {
  case $1 in
    ConnectivityMonitorSnmp/velmorConMonMIB* | platform/Snmp/* | agent/*) return 0 ;;
    *) return 1 ;;
  esac
}

# The rooms that a room may include from, besides itself.
may_know() {
  case "$1 $2" in
    'ConnectivityMonitorSnmp platform' | 'agent platform' | 'monitor platform' | 'ctl platform') return 0 ;;
    *) [ "$1" = "$2" ] ;;
  esac
}

resolve() { # sets $target, empty when the file is none of ours
  target=
  for candidate in "${file%/*}/$path" "$room/$path" "$path" "platform/$path"; do
    if [ -f "$candidate" ]; then
      target=$candidate
      return
    fi
  done
}

while IFS=: read -r file line form path; do
  [ -n "$file" ] || continue
  room=${file%%/*}
  case $path in
    net-snmp/*)
      may_use_net_snmp "$file" || refuse "includes net-snmp's <$path>, which only the MIB module, platform/Snmp and agent may"
      continue
      ;;
    ../* | */../* | /*)
      refuse "includes \"$path\": name it from an include root"
      continue
      ;;
  esac
  resolve
  if [ -n "$target" ]; then
    may_know "$room" "${target%%/*}" || refuse "$room may not include from ${target%%/*} (\"$path\")"
  elif [ "$form" = '"' ]; then
    refuse "\"$path\" is no file of the project; a library's header goes in <>"
  fi
done <<EOF
$includes
EOF

exit "$status"
