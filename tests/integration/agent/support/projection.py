"""The rows that a feed must lead to: a small model of the feed, and its rows as SNMP shows them."""

import hashlib
import re
import socket

from support import floats, layout

INTEGER = "INTEGER"
OCTETS = "OCTET STRING"

MAX_KEY = 90
DIGEST = 1 + 64  # '#' and the SHA-256 digest in hexadecimal

_MEASUREMENTS = ("latency", "jitter", "packetLoss", "responseTime")


def row_key(name):
    """The key of a row with this name (octets): the name itself, or its beginning and a digest."""
    looks_shortened = len(name) == MAX_KEY and re.fullmatch(rb"#[0-9a-f]{64}", name[-DIGEST:])
    if len(name) <= MAX_KEY and not looks_shortened:
        return name
    return name[:MAX_KEY - DIGEST] + b"#" + hashlib.sha256(name).hexdigest().encode()


class Address:
    """An IP address: its octets, its canonical text, and its InetAddressType."""

    def __init__(self, text):
        family, self.type = (socket.AF_INET6, 2) if ":" in text else (socket.AF_INET, 1)
        self.octets = socket.inet_pton(family, text)
        self.text = socket.inet_ntop(family, self.octets)


class Record:
    """One probe of one client; `put` is a feed line that put it."""

    def __init__(self, client, put, turn):
        self.client = client
        self.turn = turn
        self.host = put["host"]
        self.vrf = put.get("vrf") or "default"
        self.probe = put["probe"]
        self.interface = put.get("interface", "")
        self.address = Address(put["address"]) if "address" in put else None
        self.port = int(put["port"]) if "port" in put else None
        self.url = put.get("url")
        self.measured = {name: floats.single(put.get(name, 0)) for name in _MEASUREMENTS}

    @property
    def key(self):
        return (self.client, self.host, self.vrf, self.probe, self.interface,
                self.address.octets if self.address else self.url, self.port)

    def row_key(self, if_index):
        target = self.url if self.probe == "http" else self.address.text
        port = "" if self.port is None else str(self.port)
        return row_key(f"{self.client}{self.host}{target}{port}{if_index}".encode())

    def cells(self, if_index):
        """The values of the columns, in order, each with its type."""
        def text(value):
            return OCTETS, value.encode()

        def number(value):
            return INTEGER, int(value)

        def time(name):
            value, precision = floats.value_and_precision(self.measured[name])
            return [number(precision), number(value)]

        who = [text(self.client), text(self.host)]
        if self.probe == "http":
            return who + [text(self.url), number(if_index)] + time("responseTime")
        address = [number(self.address.type), (OCTETS, self.address.octets)]
        if self.probe == "tcp":
            return who + address + [number(self.port), number(if_index)] + time("latency")
        loss = int(self.measured["packetLoss"] + 0.5)
        return who + address + [number(if_index)] + time("latency") + time("jitter") + [number(loss)]


class Model:
    """What the agent has been told, by all clients."""

    def __init__(self):
        self._records = {}
        self._indexes = {}
        self.turns = 0

    def apply(self, client, line):
        """Takes a line that the agent accepted from this client."""
        op = line["op"]
        if op == "interface":
            self._indexes[line["name"]] = line["ifIndex"]
        elif op == "put":
            self.turns += 1
            record = Record(client, line, self.turns)
            self._records[record.key] = record
        elif op == "remove":
            self._records.pop(Record(client, line, 0).key, None)
        elif op == "removeHost":
            host, vrf = line["host"], line.get("vrf") or "default"
            self._drop(lambda record: (record.client, record.host, record.vrf) == (client, host, vrf))
        elif op == "removeClient":
            self.withdraw(client)

    def withdraw(self, client):
        """What happens when the client's hold time is over."""
        self._drop(lambda record: record.client == client)

    def _drop(self, which):
        self._records = {key: record for key, record in self._records.items() if not which(record)}

    def _if_index(self, record):
        """0 for a probe without an interface; None while its interface has no index."""
        return self._indexes.get(record.interface) if record.interface else 0

    def rows(self, vrf="default"):
        """{probe: {key: cells}}, the keys in the order of a walk. Of records that have one key, the
        one that was put last shows."""
        shown = {probe: {} for probe in layout.TABLES}
        for record in sorted(self._records.values(), key=lambda record: record.turn):
            if_index = self._if_index(record)
            if record.vrf == vrf and if_index is not None:
                shown[record.probe][record.row_key(if_index)] = record.cells(if_index)
        return {probe: {key: rows[key] for key in sorted(rows, key=lambda key: (len(key), key))}
                for probe, rows in shown.items()}

    def varbinds(self, vrf="default"):
        """The whole walk of the tables: [(OID, type, value)]."""
        return [(layout.instance(probe, column, key), *cells[column - layout.FIRST_COLUMN])
                for probe, rows in self.rows(vrf).items()
                for column in layout.columns(probe)
                for key, cells in rows.items()]
