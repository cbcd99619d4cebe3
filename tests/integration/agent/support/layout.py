"""The published numbers of the tables: a manager depends on every one of them."""

ARC = (1, 3, 6, 1, 4, 1, 61111, 3, 38)
OBJECTS = ARC + (1,)
SYSTEM = (1, 3, 6, 1, 2, 1, 1)
SYS_DESCR = SYSTEM + (1, 0)

# By probe: the table's number and its columns from 2 upward (1 is the index, which has no value).
TABLES = {
    "icmp": (1, ("Client", "Host", "IpAddrType", "IpAddr", "IfIndex", "LatencyPrecision",
                 "LatencyValue", "JitterPrecision", "JitterValue", "PacketLoss")),
    "http": (2, ("Client", "Host", "Url", "IfIndex", "ResponseTimePrec", "ResponseTimeValue")),
    "tcp": (3, ("Client", "Host", "IpAddrType", "IpAddr", "Port", "IfIndex", "LatencyPrecision",
                "LatencyValue")),
}
FIRST_COLUMN = 2


def table_oid(probe):
    return OBJECTS + (TABLES[probe][0],)


def columns(probe):
    """The numbers of the columns that have values."""
    return range(FIRST_COLUMN, FIRST_COLUMN + len(TABLES[probe][1]))


def column_number(probe, name):
    return FIRST_COLUMN + TABLES[probe][1].index(name)


def column_oid(probe, column):
    """`column` is a number or a name."""
    number = column_number(probe, column) if isinstance(column, str) else column
    return table_oid(probe) + (1, number)


def index_oid(key):
    """A row's key in an instance: its length, then its octets."""
    return (len(key), *key)


def instance(probe, column, key):
    return column_oid(probe, column) + index_oid(key)


def dotted(oid):
    return "".join(f".{number}" for number in oid)


def parse_oid(text):
    return tuple(int(number) for number in text.strip(".").split("."))
