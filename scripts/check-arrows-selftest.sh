#!/bin/sh
# Shows that check-arrows.sh passes a tree that keeps the arrows and refuses each way to break one.
set -eu

cd "$(dirname "$0")"
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

plant() { # FILE TEXT
  mkdir -p "$tree/$(dirname "$1")"
  printf '%s\n' "$2" >>"$tree/$1"
}

clean_tree() {
  rm -rf "${tree:?}"/*
  plant platform/Qiv/Ptr.h '#pragma once'
  plant platform/Qiv/Entity.h '#include "Qiv/Ptr.h"'
  plant platform/Snmp/String.h '#include <net-snmp/net-snmp-config.h>'
  plant ConnectivityMonitorSnmp/Rows.h '#include "Qiv/Ptr.h"'
  plant ConnectivityMonitorSnmp/velmorConMonMIB.cpp '#include <net-snmp/agent/net-snmp-agent-includes.h>'
  plant ConnectivityMonitorSnmp/velmorConMonMIB.cpp '#include "ConnectivityMonitorSnmp/Rows.h"'
  plant agent/Feed.h '#include <vector>'
  plant agent/main.cpp '#include "Feed.h"'
  plant agent/main.cpp '  #  include "Qiv/Entity.h"'
  plant monitor/probe.h '#include "Qiv/Entity.h"'
  plant ctl/show.h '#include <map>'
}

expect() { # pass|refuse WHAT
  if ./check-arrows.sh "$tree" >/dev/null 2>&1; then result=pass; else result=refuse; fi
  if [ "$result" != "$1" ]; then
    echo "check-arrows: expected to $1, did $result: $2" >&2
    failures=$((failures + 1))
  fi
}

refuses() { # FILE TEXT
  clean_tree
  plant "$1" "$2"
  expect refuse "$1 with $2"
}

clean_tree
expect pass 'a tree that keeps the arrows'

refuses platform/Qiv/Bad.h '#include "ConnectivityMonitorSnmp/Rows.h"'
refuses platform/Qiv/Bad.h '#include <ConnectivityMonitorSnmp/Rows.h>'
refuses platform/Qiv/Bad.h '#include "agent/Feed.h"'
refuses platform/Qiv/Bad.h '#include "../../agent/Feed.h"'
refuses platform/Qiv/Bad.h '#include <net-snmp/types.h>'
refuses ConnectivityMonitorSnmp/Bad.h '#include "agent/Feed.h"'
refuses ConnectivityMonitorSnmp/Bad.h '#include "monitor/probe.h"'
refuses ConnectivityMonitorSnmp/Bad.h '#include "ctl/show.h"'
refuses ConnectivityMonitorSnmp/Bad.cpp '#include <net-snmp/types.h>'
refuses agent/Bad.cpp '#include "ConnectivityMonitorSnmp/Rows.h"'
refuses agent/sub/Bad.cpp '  #  include "ConnectivityMonitorSnmp/Rows.h"  // why'
refuses monitor/Bad.cpp '#include "ConnectivityMonitorSnmp/Rows.h"'
refuses monitor/Bad.cpp '#include <net-snmp/types.h>'
refuses ctl/Bad.cpp '#include "ConnectivityMonitorSnmp/Rows.h"'
refuses ctl/Bad.cpp '#include "Rows.h"'

rm -rf "${tree:?}"/*
expect refuse 'an empty tree'

[ "$failures" -eq 0 ]
