"""Requests for objects that no table has: each gets the answer that SNMP has for it."""

import random
import unittest

from support import ber, layout, walking
from support.case import SharedAgentCase

MAX_SUB_ID = 2**32 - 1
SEED = 20260


class OddInstances(SharedAgentCase):
    @classmethod
    def prepare(cls):
        with cls.agent.client("lab") as client:
            for at in range(4):
                client.put(f"h{at}", "icmp", address="192.0.2.1", latency=at)
                client.put("h" * (80 + at), "http", url="long" * at + "u")
                client.put(f"h{at}", "tcp", address="::1", port=at + 1)
            client.put("n" * 85, "http", url="u")
            client.put("ÿ", "http", url="ÿÿ")
            client.sync()
        cls.expected = cls.agent.model.varbinds()
        cls.keys = {probe: list(rows) for probe, rows in cls.agent.model.rows().items()}

    def check(self, oid):
        """GET, GETNEXT and GETBULK at this OID."""
        got = self.agent.snmp.get(oid)
        self.assertEqual((got.error, got.varbinds), (ber.NO_ERROR, [walking.value(self.expected, oid)]))
        got = self.agent.snmp.get_next(oid)
        self.assertEqual((got.error, got.varbinds),
                         (ber.NO_ERROR, [walking.successor(self.expected, oid)]))
        got = self.agent.snmp.get_bulk(oid, max_repetitions=2)
        self.assertEqual(got.error, ber.NO_ERROR)
        self.assert_bulk(got.varbinds, walking.bulk(self.expected, [oid], 0, 2))

    def check_in_each_column(self, *suffixes):
        for probe in layout.TABLES:
            for column in (0, 1, *layout.columns(probe), layout.columns(probe)[-1] + 1, MAX_SUB_ID):
                for suffix in suffixes:
                    self.check(layout.column_oid(probe, column) + suffix)

    def test_no_index(self):
        self.check_in_each_column(())

    def test_an_empty_index(self):
        self.check_in_each_column((0,), (0, 0))

    def test_a_partial_index(self):
        for probe, keys in self.keys.items():
            for key in keys:
                whole = layout.index_oid(key)
                for length in (1, 2, len(whole) // 2, len(whole) - 1):
                    self.check(layout.column_oid(probe, "Client") + whole[:length])

    def test_an_index_that_goes_on_behind_its_end(self):
        for probe, keys in self.keys.items():
            for key in keys:
                for more in ((0,), (97,), (MAX_SUB_ID,), (0, 0, 0)):
                    self.check(layout.instance(probe, "Client", key) + more)

    def test_a_length_larger_than_what_follows(self):
        self.check_in_each_column((5, 97), (90, 97), (91, 97), (100, 97), (101, 97), (255, 97),
                                  (256, 97), (65_536, 97), (2**31, 97), (MAX_SUB_ID, 97), (MAX_SUB_ID,))

    def test_a_length_smaller_than_what_follows(self):
        self.check_in_each_column((1, 97, 98), (0, 97))

    def test_sub_identifiers_over_255(self):
        self.check_in_each_column((1, 256), (2, 97, 256), (2, 256, 97), (2, 97, MAX_SUB_ID),
                                  (15,) + (353,) * 15)
        key = self.keys["icmp"][0]
        for at in range(len(key)):
            odd = list(layout.index_oid(key))
            odd[1 + at] += 256  # the same octet, if only the low bits were looked at
            self.check(layout.column_oid("icmp", "Host") + tuple(odd))

    def test_indexes_of_90_and_more_octets(self):
        self.assertIn(90, map(len, self.keys["http"]))
        for length in (89, 90, 91, 99, 100, 101, 110):
            for octet in (0, 97, 104, 110, 255):
                self.check(layout.column_oid("http", "Url") + (length,) + (octet,) * length)

    def test_columns_0_and_1_and_beyond_the_last_of_a_row_that_is_there(self):
        for probe, keys in self.keys.items():
            last = layout.columns(probe)[-1]
            for column in (0, 1, last + 1, last + 2, 255, 256, 2**31, MAX_SUB_ID):
                oid = layout.instance(probe, column, keys[0])
                self.check(oid)
                self.assertEqual(self.agent.tools.get(oid), [(oid, "noSuchObject", None)])

    def test_neighbours_of_the_tables(self):
        objects = layout.OBJECTS
        for oid in (layout.ARC, layout.ARC + (0,), objects, objects + (0,), objects + (0, 0),
                    objects + (1,), objects + (1, 0), objects + (1, 0, 2, 1, 97), objects + (1, 1),
                    objects + (1, 2), objects + (1, 2, 2, 1, 97), objects + (3, 2), objects + (4,),
                    objects + (MAX_SUB_ID,), layout.ARC + (2,), layout.ARC + (MAX_SUB_ID,),
                    layout.ARC[:-1] + (39,), (1, 3, 6, 1, 4, 1, 61112), (2, 999)):
            self.check(oid)

    def test_an_absent_object_among_others_spoils_none_of_them(self):
        key = self.keys["icmp"][0]
        here = [layout.instance("icmp", column, key) for column in (2, 11)]
        oids = [here[0], layout.instance("icmp", 12, key), layout.instance("icmp", 1, key),
                layout.instance("icmp", 2, b"absent"), here[1], layout.OBJECTS,
                layout.instance("http", 8, self.keys["http"][0])]
        expected = [walking.value(self.expected, oid) for oid in oids]
        self.assertEqual([kind for _, kind, _ in expected],
                         ["OCTET STRING", "noSuchObject", "noSuchObject", "noSuchInstance", "INTEGER",
                          "noSuchObject", "noSuchObject"])
        self.assert_varbinds(self.agent.tools.get(*oids), expected)

    def test_version_1_says_that_there_is_no_such_name_and_which(self):
        here = layout.instance("icmp", 2, self.keys["icmp"][0])
        for absent in (layout.instance("icmp", 12, self.keys["icmp"][0]),
                       layout.instance("icmp", 2, b"absent"), layout.column_oid("tcp", 1)):
            done = self.agent.tools.command("snmpget", ["-v1", "-c", "public"], here, absent,
                                            options=["-Cf", "-On"])
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertIn("(noSuchName)", done.stderr)
            self.assertIn(f"Failed object: {layout.dotted(absent)}\n", done.stderr)

    def test_oids_of_128_sub_identifiers_are_taken_and_longer_ones_harm_nothing(self):
        column = layout.column_oid("icmp", "Host")
        self.check(column + (114,) + (97,) * (128 - len(column) - 1))
        too_long = ber.message(ber.GETNEXT, [ber.varbind(column + (116,) + (97,) * 116)], 999_999)
        self.agent.snmp.unanswered([too_long], layout.SYS_DESCR)

    def test_random_changes_of_real_instances(self):
        rng = random.Random(SEED)
        head = len(layout.OBJECTS)
        for _ in range(1500):
            oid = list(rng.choice(self.expected)[0])
            for _ in range(rng.randint(1, 3)):
                at = rng.randint(head, max(head, len(oid) - 1))
                what = rng.randrange(5)
                if what == 0 and at < len(oid):
                    oid[at] = rng.choice((0, 1, 2, 255, 256, 2**31, MAX_SUB_ID,
                                          min(oid[at] + 1, MAX_SUB_ID), max(oid[at] - 1, 0)))
                elif what == 1:
                    del oid[at:]
                elif what == 2:
                    oid.insert(at, rng.choice((0, 1, 255, 256, MAX_SUB_ID)))
                elif what == 3:
                    oid += [rng.choice((0, 97, 255, 256))] * rng.randint(1, 4)
                elif len(oid) > head + 3:
                    oid[head + 3] = rng.choice((0, 1, 2, 18, 90, 91, 100, 127, 128, 255, 256, 2**31))
            with self.subTest(seed=SEED, oid=layout.dotted(oid)):
                self.check(tuple(oid[:120]))


if __name__ == "__main__":
    unittest.main()
