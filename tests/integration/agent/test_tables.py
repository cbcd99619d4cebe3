"""What a manager reads of each record: every column, its type and its value."""

import unittest

from support import ber, floats, layout, tools
from support.case import AgentCase, SharedAgentCase
from support.projection import INTEGER, OCTETS, row_key

LONG = "l" * 255


def oid(text):
    return layout.parse_oid("1.3.6.1.4.1.61111.3.38.1" + text)


class OneRecordOfEachKind(SharedAgentCase):
    """Written out in full, so that nothing is worked out by the code that is compared."""

    @classmethod
    def prepare(cls):
        with cls.agent.client("lab") as client:
            client.interface("eth1", 7)
            client.put("web1", "icmp", interface="eth1", address="192.0.2.10", latency=12.345,
                       jitter=0.2, packetLoss=33)
            client.put("web1", "http", url="http://x/", responseTime=25.7)
            client.put("db1", "tcp", interface="eth1", address="2001:db8::1", port=5432, latency=1.5)
            client.sync()

    def rows(self, table, index, cells):
        return [(oid(f".{table}.1.{column}.{index}"), *cell) for column, cell in enumerate(cells, 2)]

    def test_the_icmp_row_has_its_ten_columns(self):
        index = "18." + ".".join(str(octet) for octet in b"labweb1192.0.2.107")
        self.assert_varbinds(self.agent.tools.walk(oid(".1")), self.rows(1, index, [
            (OCTETS, b"lab"), (OCTETS, b"web1"), (INTEGER, 1), (OCTETS, b"\xc0\x00\x02\x0a"),
            (INTEGER, 7), (INTEGER, 3), (INTEGER, 12345), (INTEGER, 1), (INTEGER, 2), (INTEGER, 33)]))

    def test_the_http_row_has_its_six_columns(self):
        index = "17." + ".".join(str(octet) for octet in b"labweb1http://x/0")
        self.assert_varbinds(self.agent.tools.walk(oid(".2")), self.rows(2, index, [
            (OCTETS, b"lab"), (OCTETS, b"web1"), (OCTETS, b"http://x/"), (INTEGER, 0), (INTEGER, 1),
            (INTEGER, 257)]))

    def test_the_tcp_row_has_its_eight_columns(self):
        index = "22." + ".".join(str(octet) for octet in b"labdb12001:db8::154327")
        address = bytes.fromhex("20010db8000000000000000000000001")
        self.assert_varbinds(self.agent.tools.walk(oid(".3")), self.rows(3, index, [
            (OCTETS, b"lab"), (OCTETS, b"db1"), (INTEGER, 2), (OCTETS, address), (INTEGER, 5432),
            (INTEGER, 7), (INTEGER, 1), (INTEGER, 15)]))

    def test_values_are_printed_as_snmp_tools_print_them(self):
        done = self.agent.tools.command("snmpbulkwalk", tools.v2c(), oid(".1"), options=["-On"])
        self.assertEqual(done.stderr, "")
        self.assertEqual([line.split(" = ")[1] for line in done.stdout.splitlines()], [
            'STRING: "lab"', 'STRING: "web1"', "INTEGER: 1", "Hex-STRING: C0 00 02 0A ",
            "INTEGER: 7", "INTEGER: 3", "INTEGER: 12345", "INTEGER: 1", "INTEGER: 2", "INTEGER: 33"])

    def test_the_same_is_served_to_version_1(self):
        expected = self.agent.model.varbinds()
        self.assert_varbinds(self.agent.tools.walk(program="snmpwalk", access=tools.v1()), expected)

    def test_each_value_is_got_by_itself_and_all_in_one_request(self):
        expected = self.agent.model.varbinds()
        for varbind in expected:
            self.assert_varbinds(self.agent.tools.get(varbind[0]), [varbind])
        self.assert_varbinds(self.agent.tools.get(*(name for name, _, _ in expected)), expected)


class Values(AgentCase):
    """Records at the edges of what the feed takes, against the model."""

    def setUp(self):
        super().setUp()
        self.agent = self.start()
        self.client = self.agent.client("lab")

    def assert_served(self):
        self.client.sync()
        self.assert_serves(self.agent)

    def test_the_model_says_of_times_what_is_published(self):
        published = {
            0.0: (0, 0), 0.1: (1, 1), 0.5: (5, 1), 0.05: (5, 2), 0.001: (1, 3), 0.0004: (0, 0),
            1.0: (1, 0), 1.5: (15, 1), 12.345: (12345, 3), 12.3456: (12346, 3), 12.0: (12, 0),
            25.7: (257, 1), 100.0: (100, 0), 1000.0: (1000, 0), 0.9996: (1, 0), 0.0996: (1, 1),
            9.9996: (10, 1), 99.9999: (100, 1), 0.0005: (1, 0), -0.5: (-499, 0), -2.5: (-2499, 3),
            2147483.0: (2147483008, 3), 3000000.0: (-2147483648, 3), 2147483648.0: (2147483647, 0),
        }
        got = {time: floats.value_and_precision(floats.single(time)) for time in published}
        self.assertEqual(got, published)

    def test_times_of_all_sizes_in_every_column_that_shows_one(self):
        times = [0, 0.1, 0.5, 0.05, 0.001, 0.0004, 0.0005, 1, 1.5, 9.9996, 99.9999, 0.9996, 0.0996,
                 12.345, 12.3456, 25.7, 100, 1000, 12000, 100000, 16777.217, 2147483, 2147483.5, 3e6,
                 2147483520.0, 2147483648, 3e38, -0.5, -2.5, -3e6, -3e38, 1e-40, 5e-324, 1e-400,
                 340282346638528859811704183484516925440]
        lines = []
        for at, time in enumerate(times):
            host = f"host{at}"
            lines += [
                {"op": "put", "host": host, "probe": "icmp", "address": "192.0.2.1", "latency": time,
                 "jitter": times[-1 - at]},
                {"op": "put", "host": host, "probe": "http", "url": "u", "responseTime": time},
                {"op": "put", "host": host, "probe": "tcp", "address": "::1", "port": 1, "latency": time},
            ]
        self.client.say_all(lines)
        self.assert_served()

    def test_a_number_becomes_the_nearest_float_of_its_own_text(self):
        # Halfway between two floats and a trace above: a double on the way would round it down.
        text = "16384.00097656250000000000000001"
        line = '{"op":"put","host":"h","probe":"http","url":"u","responseTime":%s}' % text
        self.assertEqual(self.client.connection.ask_text(line.encode()), {"ok": True})
        self.client.sync()
        self.assertEqual(floats.value_and_precision(floats.single(text)), (16384002, 3))
        key = row_key(b"labhu0")
        got = self.agent.tools.get(layout.instance("http", "ResponseTimeValue", key),
                                   layout.instance("http", "ResponseTimePrec", key))
        self.assertEqual([value for _, _, value in got], [16384002, 3])

    def test_absent_measurements_are_zero(self):
        self.client.put("h", "icmp", address="192.0.2.1")
        self.client.put("h", "http", url="u")
        self.client.put("h", "tcp", address="192.0.2.1", port=80)
        self.assert_served()
        rows = self.agent.model.rows()
        self.assertEqual(rows["icmp"][b"labh192.0.2.10"][-5:], [(INTEGER, 0)] * 5)

    def test_packet_loss_is_rounded_to_whole_percent(self):
        shares = [0, 0.4, 0.5, 1, 33.3, 49.5, 99.4, 99.5, 100]
        for at, share in enumerate(shares):
            self.client.put(f"h{at}", "icmp", address="192.0.2.1", packetLoss=share)
        self.assert_served()
        shown = [cells[-1][1] for cells in self.agent.model.rows()["icmp"].values()]
        self.assertEqual(shown, [0, 0, 1, 1, 33, 50, 99, 100, 100])

    def test_addresses_of_both_families_and_their_spellings(self):
        addresses = ["0.0.0.0", "255.255.255.255", "127.0.0.1", "::", "::1", "2001:DB8:0:0::00A",
                     "fe80::1", "::ffff:192.0.2.1", "::192.0.2.1", "1:2:3:4:5:6:7:8",
                     "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "2001:db8:0:1:1:1:1:1"]
        for address in addresses:
            self.client.put("h", "icmp", address=address)
            self.client.put("h", "tcp", address=address, port=443)
        self.assert_served()
        self.assertEqual(len(self.agent.model.rows()["icmp"]), len(addresses))

    def test_two_spellings_of_an_address_are_one_record(self):
        self.client.put("h", "icmp", address="2001:db8:0:0::1", latency=1)
        self.client.put("h", "icmp", address="2001:DB8::1", latency=2)
        self.assert_served()
        self.assertEqual(len(self.agent.model.rows()["icmp"]), 1)

    def test_the_largest_and_the_smallest_numbers(self):
        self.client.interface("first", 1)
        self.client.interface("last", 2147483647)
        for interface in ("first", "last"):
            for port in (1, 65535):
                self.client.put("h", "tcp", interface=interface, address="192.0.2.1", port=port)
            self.client.put("h", "icmp", interface=interface, address="192.0.2.1")
            self.client.put("h", "http", interface=interface, url="u")
        self.assert_served()
        self.assertEqual(len(self.agent.model.rows()["tcp"]), 4)

    def test_strings_of_one_and_of_255_bytes(self):
        with self.agent.client("c" * 255) as client:
            client.put(LONG, "http", url="u" * 255)
            client.put("h", "icmp", address="192.0.2.1")
            client.sync()
        with self.agent.client("c") as client:
            client.put("h", "http", url="u")
            client.sync()
        self.assert_served()

    def test_strings_of_any_octets_that_json_can_carry(self):
        hosts = ["Zürich", "東京", "\U0001f600", " lead and trail ", "tab\tline\nreturn\r", "\"\\'/#%",
                 "\x01\x1f\x7f", "a.b-c_d"]
        for host in hosts:
            self.client.put(host, "http", url=f"http://{host}/?q={host}", vrf="")
        self.assert_served()
        self.assertEqual(len(self.agent.model.rows()["http"]), len(hosts))

    def test_keys_up_to_90_octets_are_the_name_and_longer_ones_are_shortened(self):
        for length in (60, 88, 89, 90, 91, 120, 255):
            # "lab" and the interface index "0" are the rest of the name.
            host = "n" * (length - len("lab") - len("/0"))
            self.client.put(host, "http", url="/")
        self.client.put("n" * 100 + "a", "http", url="/")
        self.client.put("n" * 100 + "b", "http", url="/")
        self.assert_served()
        keys = list(self.agent.model.rows()["http"])
        self.assertEqual(sorted(map(len, keys)), [60, 88, 89] + [90] * 6)

    def test_a_short_name_that_looks_like_a_shortened_one_is_not_taken_for_it(self):
        long_name = "labh" + "u" * 100 + "0"
        image = row_key(long_name.encode()).decode()
        self.client.put("h", "http", url="u" * 100, responseTime=1)
        # A record whose whole name, with the client in front and the index behind, is that image.
        if image.endswith("0"):
            self.client.put("h", "http", url=image[len("labh"):-1], responseTime=2)
        else:
            self.client.interface("if", 7)
            self.client.put("h", "http", url=image[len("labh"):-1], interface="if")
        self.assert_served()
        self.assertEqual(len(self.agent.model.rows()["http"]), 2)

    def test_a_hundred_random_records_of_each_kind(self):
        import random
        seed = 20240229
        rng = random.Random(seed)
        self.client.interface("eth1", 1)
        self.client.interface("eth2", 22)
        lines = []
        for at in range(100):
            where = {"host": f"h{at}", "vrf": rng.choice(["default", "", "blue"]),
                     "interface": rng.choice(["", "eth1", "eth2", "unknown"])}
            address = rng.choice(["192.0.2.", "2001:db8::"]) + str(rng.randrange(256))
            time = rng.choice([rng.random(), 10 ** rng.uniform(-4, 10), -rng.random() * 1e6])
            lines += [
                {"op": "put", **where, "probe": "icmp", "address": address, "latency": time,
                 "jitter": rng.random(), "packetLoss": rng.randrange(101)},
                {"op": "put", **where, "probe": "http", "url": "/" * rng.randrange(1, 200),
                 "responseTime": time},
                {"op": "put", **where, "probe": "tcp", "address": address,
                 "port": rng.randrange(1, 65536), "latency": time}]
        self.client.say_all(lines)
        self.assert_served()
        self.assert_serves(self.agent, "blue", access=tools.v2c("public@blue"))
        self.assertGreater(len(self.agent.model.varbinds("blue")), 100, f"seed {seed}")


class EncodingsOnTheWire(SharedAgentCase):
    """The octets themselves, as no tool shows them."""

    @classmethod
    def prepare(cls):
        with cls.agent.client("lab") as client:
            client.interface("last", 2147483647)
            client.put("h", "icmp", interface="last", address="192.0.2.1", latency=3e6, jitter=3e38)
            client.sync()
        (cls.key,) = cls.agent.model.rows()["icmp"]

    def encoded(self, column):
        name = layout.instance("icmp", column, self.key)
        self.agent.snmp.send(ber.message(ber.GET, [ber.varbind(name)]))
        octets = self.agent.snmp.receive()
        prefix = ber.oid(name)
        return octets[octets.index(prefix) + len(prefix):]

    def test_unsigned_and_signed_columns_are_integers_of_the_shortest_form(self):
        for column, value in (("IfIndex", 2147483647), ("LatencyPrecision", 3),
                              ("LatencyValue", -2147483648), ("JitterValue", 2147483647),
                              ("JitterPrecision", 0), ("PacketLoss", 0), ("IpAddrType", 1)):
            self.assertEqual(self.encoded(column), ber.integer(value), column)

    def test_strings_are_octet_strings(self):
        self.assertEqual(self.encoded("Client"), ber.octets(b"lab"))
        self.assertEqual(self.encoded("IpAddr"), ber.octets(b"\xc0\x00\x02\x01"))


if __name__ == "__main__":
    unittest.main()
