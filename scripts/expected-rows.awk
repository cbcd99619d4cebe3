# Reads a feed file and prints the varbinds that its records must lead to, one line each:
#
#     VRF OID VALUE        as `snmpwalk -Onq` prints them
#
# of the columns that identify a row: client, host, URL, port and interface index. A later record of
# the same key replaces an earlier one, and a record whose interface has no index makes no row.
# Fields are taken by name from flat objects without escapes, which is all that an example needs.

function text(name) {
  if (!match($0, "\"" name "\"[ ]*:[ ]*\"[^\"]*\"")) return ""
  value = substr($0, RSTART, RLENGTH)
  sub(/^"[^"]*"[ ]*:[ ]*"/, "", value)
  return substr(value, 1, length(value) - 1)
}

function number(name) {
  if (!match($0, "\"" name "\"[ ]*:[ ]*[0-9]+")) return 0
  value = substr($0, RSTART, RLENGTH)
  sub(/^.*:[ ]*/, "", value)
  return value + 0
}

# A string index on the wire: its length, then its octets.
function index_oid(name, oid, i) {
  oid = "." length(name)
  for (i = 1; i <= length(name); ++i) oid = oid "." octet[substr(name, i, 1)]
  return oid
}

function varbind(column, value) {
  print vrf[id], base "." table[id] ".1." column row, value
}

function quoted(value) { return "\"" value "\"" }

BEGIN {
  base = ".1.3.6.1.4.1.61111.3.38.1"
  for (i = 1; i < 128; ++i) octet[sprintf("%c", i)] = i
}

{ op = text("op") }

op == "hello" { client = text("client") }
op == "interface" { if_index[text("name")] = number("ifIndex") }
op ~ /^remove/ {
  print "expected-rows: line " FNR ": this reads files that only put" > "/dev/stderr"
  failed = 1
  exit 1
}
op == "put" {
  probe = text("probe")
  id = client SUBSEP text("host") SUBSEP text("vrf") SUBSEP probe SUBSEP text("interface") SUBSEP \
    text("address") SUBSEP text("url") SUBSEP number("port")
  if (!(id in table)) order[++count] = id
  table[id] = probe == "icmp" ? 1 : probe == "http" ? 2 : 3
  clients[id] = client
  host[id] = text("host")
  vrf[id] = text("vrf") == "" ? "default" : text("vrf")
  interface[id] = text("interface")
  target[id] = probe == "http" ? text("url") : text("address")
  port[id] = number("port")
}

END {
  if (failed) exit 1
  for (n = 1; n <= count; ++n) {
    id = order[n]
    if (interface[id] != "" && !(interface[id] in if_index)) continue
    index_of_row = interface[id] == "" ? 0 : if_index[interface[id]]
    name = clients[id] host[id] target[id] (table[id] == 3 ? port[id] : "") index_of_row
    if (length(name) > 90) {
      print "expected-rows: \"" name "\" is too long to be an index as it is" > "/dev/stderr"
      exit 1
    }
    row = index_oid(name)
    varbind(2, quoted(clients[id]))
    varbind(3, quoted(host[id]))
    if (table[id] == 1) varbind(6, index_of_row)
    if (table[id] == 2) { varbind(4, quoted(target[id])); varbind(5, index_of_row) }
    if (table[id] == 3) { varbind(6, port[id]); varbind(7, index_of_row) }
  }
}
