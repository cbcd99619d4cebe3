#!/bin/sh
# usage: scripts/check-links.sh BUILD_DIR
#
# The folder arrows, on what was linked: the agent process takes the plug-in by dlopen only, the
# platform stands on nothing of ours, and no path of this machine is written into a library path.
set -eu

dir=$1
status=0

dynamic() {
  LC_ALL=C readelf -d "$1" || {
    echo "check-links: cannot read $1" >&2
    exit 1
  }
}

refuse() { # FILE PATTERN MESSAGE
  entries=$(dynamic "$1")
  if echo "$entries" | grep -Eq "$2"; then
    echo "check-links: $1 $3:" >&2
    echo "$entries" | grep -E "$2" >&2
    status=1
  fi
}

refuse "$dir/bin/conmon-snmpd" 'NEEDED.*libConnectivityMonitorSnmp' 'is linked with the plug-in'
refuse "$dir/lib/libConMonPlatform.so" 'NEEDED.*(libConnectivityMonitorSnmp|libConMonSnmp|libnetsnmp)' \
  'is linked with something above it'
for file in "$dir"/bin/conmon* "$dir"/lib/*.so; do
  refuse "$file" '\((RPATH|RUNPATH)\).*(\[|:)/' 'has an absolute library path'
done
exit "$status"
