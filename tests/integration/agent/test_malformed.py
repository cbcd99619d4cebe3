"""Datagrams that are no SNMP: the agent lives on and answers the next request."""

import random
import unittest

from support import ber, layout, walking
from support.case import SharedAgentCase

SEED = 4711
LOT = 50_000
OVERHEAD = 1000  # the kernel's own, for a datagram
MARKER = 0x7EADBEEF


class Malformed(SharedAgentCase):
    @classmethod
    def prepare(cls):
        with cls.agent.client("lab") as client:
            for at in range(5):
                client.put(f"h{at}", "icmp", address="192.0.2.1", latency=at)
                client.put(f"h{at}", "http", url="u")
            client.sync()
        cls.expected = cls.agent.model.varbinds()
        name = cls.expected[0][0]
        cls.requests = [
            ber.message(ber.GET, [ber.varbind(name)]),
            ber.message(ber.GETNEXT, [ber.varbind(layout.OBJECTS), ber.varbind(name)]),
            ber.message(ber.GETBULK, [ber.varbind(name)], third=5),
            ber.message(ber.SET, [ber.varbind(name, ber.octets(b"x"))]),
            ber.message(ber.GET, [ber.varbind(name)], version=ber.V1),
        ]

    def drain(self):
        """Takes answers that some datagrams did get, and proves that requests are still served."""
        marker = ber.message(ber.GETNEXT, [ber.varbind(layout.OBJECTS)], MARKER)
        self.agent.snmp.send(marker)
        while True:
            try:
                response = ber.parse_response(self.agent.snmp.receive())
            except ValueError:
                continue  # an SNMPv3 report, or what an odd request was worth
            if response.request_id == MARKER:
                break
        self.assertEqual(response.varbinds, [walking.successor(self.expected, layout.OBJECTS)])

    def send_all(self, datagrams):
        lot = 0
        for datagram in datagrams:
            self.agent.snmp.send(datagram)
            # In small lots: the kernel drops what does not fit into the agent's buffer.
            lot += len(datagram) + OVERHEAD
            if lot > LOT:
                self.drain()
                lot = 0
        self.drain()

    def tearDown(self):
        self.agent.check_alive()
        self.assert_serves(self.agent)

    def test_nothing_and_little(self):
        self.send_all([b"", b"\0", b"0", b"\x30\x80", b"\x30\xff", b"\xff" * 10, b"GET / HTTP/1.0\r\n\r\n"])

    def test_requests_that_end_anywhere(self):
        self.send_all(request[:length] for request in self.requests for length in range(len(request)))

    def test_requests_with_more_behind_their_end(self):
        self.send_all(request + more for request in self.requests
                      for more in (b"\0", b"\xff", request, b"x" * 1000))

    def test_each_octet_replaced(self):
        self.send_all(request[:at] + bytes([octet]) + request[at + 1:]
                      for request in self.requests for at in range(len(request))
                      for octet in (0, 1, 0x7F, 0x80, 0x84, 0xFF) if octet != request[at])

    def test_random_octets_replaced_removed_and_doubled(self):
        rng = random.Random(SEED)
        broken = []
        for _ in range(2000):
            octets = bytearray(rng.choice(self.requests))
            for _ in range(rng.randint(1, 4)):
                at = rng.randrange(len(octets))
                what = rng.randrange(3)
                if what == 0:
                    octets[at] = rng.randrange(256)
                elif what == 1:
                    del octets[at]
                else:
                    octets[at:at] = octets[at:at + rng.randint(1, 8)]
            broken.append(bytes(octets))
        with self.subTest(seed=SEED):
            self.send_all(broken)

    def test_random_octets_altogether(self):
        rng = random.Random(SEED)
        with self.subTest(seed=SEED):
            self.send_all(rng.randbytes(rng.choice((1, 10, 100, 1400, 9000))) for _ in range(500))

    def test_lengths_that_lie(self):
        body = self.requests[0][2:]
        self.send_all(b"\x30" + length + body for length in (
            b"\x00", b"\x01", b"\x7f", b"\x81\xff", b"\x82\xff\xff", b"\x84\xff\xff\xff\xff",
            b"\x84\x7f\xff\xff\xff", b"\x88" + b"\xff" * 8, b"\x80", b"\xfe" + b"\xff" * 126))

    def test_deep_nesting(self):
        def nested():
            datagram = b""
            while len(datagram) < 60_000:
                datagram = ber.tlv(ber.SEQUENCE, datagram)
                if len(datagram) % 1000 < 4:
                    yield datagram

        self.send_all(nested())

    def test_the_largest_datagrams(self):
        varbinds = [ber.varbind(layout.OBJECTS)] * 3000
        self.send_all([b"\x30" * 65_507, bytes(65_507), ber.message(ber.GETNEXT, varbinds, 5),
                       ber.message(ber.GET, [ber.varbind(layout.OBJECTS)], 6, b"c" * 60_000)])

    def test_no_varbinds_at_all(self):
        for kind in (ber.GET, ber.GETNEXT, ber.GETBULK, ber.SET):
            self.send_all([ber.message(kind, [])])

    def test_wrong_kinds_and_versions(self):
        varbinds = [ber.varbind(layout.OBJECTS)]
        self.send_all(ber.message(kind, varbinds) for kind in (ber.RESPONSE, 0xA4, 0xA6, 0xA7, 0xA8, 0xA9))
        self.send_all(ber.message(ber.GET, varbinds, version=version) for version in (2, 3, 4, 127, -1))

    def test_object_identifiers_that_are_none(self):
        contents = [b"", b"\x80", b"\xff" * 20, b"\x2b\x80", b"\x2b" + b"\x8f\xff\xff\xff\x7f" * 3,
                    b"\x2b" + b"\xff\xff\xff\xff\x7f", b"\x2b" + b"\x01" * 200, b"\xff\xff\xff\xff\x7f"]
        self.send_all(ber.message(kind, [ber.sequence(ber.tlv(ber.OID, content), ber.null())])
                      for kind in (ber.GET, ber.GETNEXT, ber.GETBULK, ber.SET) for content in contents)

    def test_numbers_out_of_range(self):
        name = ber.varbind(layout.OBJECTS)
        for big in (2**31 - 1, -2**31, 2**31, 2**32, 2**63, -1):
            self.send_all([ber.message(ber.GETNEXT, [name], big),
                           ber.message(ber.GETBULK, [name], 9, second=big, third=big),
                           ber.message(ber.GETBULK, [name] * 5, 9, second=big, third=10),
                           ber.message(ber.SET, [ber.varbind(self.expected[0][0], ber.integer(big))])])

    def test_secured_messages_that_are_broken(self):
        # SNMPv3: the engine's discovery as a manager sends it, and the same cut and changed.
        security = ber.sequence(ber.octets(b""), ber.integer(0), ber.integer(0), ber.octets(b""),
                                ber.octets(b""), ber.octets(b""))
        scoped = ber.sequence(ber.octets(b""), ber.octets(b"blue"), ber.tlv(
            ber.GET, ber.integer(1) + ber.integer(0) + ber.integer(0) + ber.sequence()))
        head = ber.sequence(ber.integer(1), ber.integer(65_507), ber.octets(b"\4"), ber.integer(3))
        whole = ber.sequence(ber.integer(3), head, ber.octets(security), scoped)
        rng = random.Random(SEED)
        self.send_all(whole[:length] for length in range(len(whole)))
        changed = []
        for at in range(len(whole)):
            changed += [whole[:at] + bytes([rng.randrange(256)]) + whole[at + 1:] for _ in range(4)]
        with self.subTest(seed=SEED):
            self.send_all(changed)


if __name__ == "__main__":
    unittest.main()
