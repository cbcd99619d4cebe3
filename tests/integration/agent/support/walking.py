"""The right answers to GETNEXT and GETBULK, worked out from the objects there are."""

import bisect

from support import layout

END = "endOfMibView"


def successor(varbinds, oid):
    """Of sorted varbinds, the first behind an OID; at the end, that OID with endOfMibView."""
    at = bisect.bisect_right(varbinds, oid, key=lambda varbind: varbind[0])
    return varbinds[at] if at < len(varbinds) else (oid, END, None)


def bulk(varbinds, oids, non_repeaters, max_repetitions):
    """RFC 3416, 4.2.3, without the cut at the size of a message."""
    got = [successor(varbinds, oid) for oid in oids[:non_repeaters]]
    names = oids[non_repeaters:]
    for _ in range(max_repetitions):
        row = [successor(varbinds, name) for name in names]
        got += row
        names = [name for name, _, _ in row]
        if all(kind == END for _, kind, _ in row):
            break
    return got


def ends_unnamed(varbinds):
    """Without the names of ends: net-snmp gives them back as requested for GETNEXT, while for
    GETBULK it leaves whatever its own search has put there (snmp_agent.c, _fix_endofmibview)."""
    return [(None, END, None) if kind == END else (oid, kind, value) for oid, kind, value in varbinds]


def value(varbinds, oid):
    """The right answer to a GET of an object that is there, or could be."""
    at = bisect.bisect_left(varbinds, oid, key=lambda varbind: varbind[0])
    if at < len(varbinds) and varbinds[at][0] == oid:
        return varbinds[at]
    return oid, missing(oid), None


def missing(oid):
    """What a GET of an absent instance is answered: noSuchInstance within a readable column."""
    for probe, (number, _) in layout.TABLES.items():
        if oid[:len(layout.OBJECTS) + 2] == layout.OBJECTS + (number, 1) and len(oid) > len(layout.OBJECTS) + 2:
            column = oid[len(layout.OBJECTS) + 2]
            return "noSuchInstance" if column in layout.columns(probe) else "noSuchObject"
    return "noSuchObject"
