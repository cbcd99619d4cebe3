"""The order and the ends of walks, request by request."""

import unittest

from support import layout, walking
from support.case import AgentCase, SharedAgentCase
from support.walking import END

ROWS = 40


def fill(client, rows=ROWS):
    """Keys of many lengths, so that the order by length and that by octets differ."""
    lines = [{"op": "interface", "name": "eth1", "ifIndex": 12}]
    for at in range(rows):
        host = "host" * (at % 7) + f"{at * 37 % rows}"
        lines += [
            {"op": "put", "host": host, "probe": "icmp", "address": f"192.0.2.{at}", "latency": at},
            {"op": "put", "host": host, "probe": "http", "interface": "eth1", "url": "/" * (at + 1)},
            {"op": "put", "host": host, "probe": "tcp", "address": f"2001:db8::{at}", "port": at + 1}]
    client.say_all(lines)
    client.sync()


class FullTables(SharedAgentCase):
    @classmethod
    def prepare(cls):
        with cls.agent.client("lab") as client:
            fill(client)
        cls.expected = cls.agent.model.varbinds()

    def last(self, probe, column):
        oid = layout.column_oid(probe, column)
        return [name for name, _, _ in self.expected if name[:len(oid)] == oid][-1]

    def test_a_walk_by_getnext_shows_all_rows_in_ascending_order(self):
        got = self.agent.tools.walk(program="snmpwalk")
        self.assert_varbinds(got, self.expected)
        self.assert_ascending([oid for oid, _, _ in got])

    def test_a_walk_by_getbulk_shows_the_same_whatever_the_number_of_repetitions(self):
        for repetitions in (1, 3, 10, 25, 100, 1000):
            got = self.agent.tools.walk(options=[f"-Cr{repetitions}"])
            self.assert_varbinds(got, self.expected)
            self.assert_ascending([oid for oid, _, _ in got])

    def test_each_table_and_each_column_is_walked_by_itself(self):
        for probe in layout.TABLES:
            for oid in [layout.table_oid(probe), *(layout.column_oid(probe, column)
                                                   for column in layout.columns(probe))]:
                expected = [varbind for varbind in self.expected if varbind[0][:len(oid)] == oid]
                self.assert_varbinds(self.agent.tools.walk(oid), expected)

    def test_every_object_is_got_as_it_was_walked(self):
        for at in range(0, len(self.expected), 50):
            some = self.expected[at:at + 50]
            self.assert_varbinds(self.agent.tools.get(*(oid for oid, _, _ in some)), some)

    def test_every_object_has_the_next_one_behind_it(self):
        for oid, _, _ in self.expected:
            self.assertEqual(self.agent.snmp.get_next(oid).varbinds,
                             [walking.successor(self.expected, oid)])

    def test_the_walk_goes_from_the_system_group_into_the_tables(self):
        whole = self.agent.tools.walk((1,), program="snmpwalk")
        tables = [varbind for varbind in whole if varbind[0][:len(layout.ARC)] == layout.ARC]
        others = whole[:len(whole) - len(tables)]
        self.assert_varbinds(tables, self.expected)
        self.assertEqual(whole[-len(tables):], tables)
        self.assertEqual({varbind[0][:len(layout.SYSTEM)] for varbind in others}, {layout.SYSTEM})

    def test_a_column_s_end_leads_into_the_next_column(self):
        for probe in layout.TABLES:
            for column in list(layout.columns(probe))[:-1]:
                (got,) = self.agent.tools.get_next(self.last(probe, column))
                self.assertEqual(got[0][:len(layout.column_oid(probe, 1))],
                                 layout.column_oid(probe, column + 1))
                self.assertEqual(got, walking.successor(self.expected, self.last(probe, column)))

    def test_a_table_s_end_leads_into_the_next_table(self):
        for probe, following in (("icmp", "http"), ("http", "tcp")):
            last = self.last(probe, layout.columns(probe)[-1])
            (got,) = self.agent.tools.get_next(last)
            self.assertEqual(got[0][:len(layout.column_oid(following, 2))],
                             layout.column_oid(following, 2))

    def test_the_last_table_s_end_is_the_end_of_the_view(self):
        last = self.last("tcp", "LatencyValue")
        self.assertEqual(self.agent.tools.get_next(last), [(last, END, None)])

    def test_a_request_by_version_1_behind_the_end_is_an_error(self):
        done = self.agent.tools.command("snmpgetnext", ["-v1", "-c", "public"],
                                        self.last("tcp", "LatencyValue"))
        self.assertEqual(done.returncode, 2)
        self.assertIn("(noSuchName)", done.stderr)

    def test_getnext_of_several_objects_answers_each_by_itself(self):
        first = [oid for oid, _, _ in self.expected[:3]]
        requests = [
            [layout.column_oid("icmp", column) for column in layout.columns("icmp")],
            [layout.column_oid("tcp", "Port"), layout.column_oid("icmp", "Host"),
             layout.column_oid("http", "Url")],
            [self.last("icmp", "PacketLoss"), self.last("tcp", "LatencyValue"),
             self.last("http", "ResponseTimeValue"), self.last("icmp", "Client")],
            list(reversed(first)) + first,
            [first[0]] * 5,
        ]
        for oids in requests:
            expected = [walking.successor(self.expected, oid) for oid in oids]
            self.assert_varbinds(self.agent.tools.get_next(*oids), expected)

    def test_a_row_is_walked_side_by_side_in_all_columns(self):
        for probe in layout.TABLES:
            oids = [layout.column_oid(probe, column) for column in layout.columns(probe)]
            for key in self.agent.model.rows()[probe]:
                response = self.agent.snmp.get_next(*oids)
                oids = [oid for oid, _, _ in response.varbinds]
                self.assertEqual(oids, [layout.instance(probe, column, key)
                                        for column in layout.columns(probe)])

    def test_getbulk_over_columns_tables_and_the_end(self):
        starts = [
            [layout.OBJECTS],
            [layout.column_oid("icmp", "PacketLoss")],
            [self.last("icmp", "PacketLoss")],
            [self.last("http", "ResponseTimeValue"), self.last("icmp", "PacketLoss")],
            [layout.column_oid("tcp", "LatencyValue"), layout.column_oid("http", "Url")],
            [self.last("tcp", "LatencyValue")],
            [layout.column_oid("icmp", "Host"), layout.column_oid("icmp", "Client"),
             layout.column_oid("tcp", "LatencyValue")],
        ]
        for oids in starts:
            for non_repeaters in range(len(oids) + 1):
                for repetitions in (1, 2, 7):
                    got = self.agent.snmp.get_bulk(*oids, non_repeaters=non_repeaters,
                                                   max_repetitions=repetitions)
                    expected = walking.bulk(self.expected, oids, non_repeaters, repetitions)
                    self.assertEqual(got.error, 0)
                    self.assert_bulk(got.varbinds, expected)

    def test_getbulk_by_the_stock_tool_over_the_end(self):
        oids = [layout.column_oid("icmp", "Client"), self.last("tcp", "Client"),
                self.last("tcp", "LatencyValue")]
        got = self.agent.tools.bulk_get(*oids, non_repeaters=1, max_repetitions=3)
        self.assert_bulk(got, walking.bulk(self.expected, oids, 1, 3))

    def test_getbulk_without_repetitions_answers_the_non_repeaters_only(self):
        oids = [layout.column_oid("icmp", "Client"), layout.column_oid("tcp", "Client")]
        for non_repeaters in (0, 1, 2):
            got = self.agent.snmp.get_bulk(*oids, non_repeaters=non_repeaters, max_repetitions=0)
            self.assert_bulk(got.varbinds, walking.bulk(self.expected, oids, non_repeaters, 0))

    def test_getbulk_of_more_than_a_message_holds_is_cut_after_whole_objects(self):
        got = self.agent.snmp.get_bulk(layout.OBJECTS, max_repetitions=100_000).varbinds
        self.assertGreater(len(got), 10)
        self.assert_varbinds(got, self.expected[:len(got)])

    def test_getbulk_with_negative_counts_counts_them_as_none(self):
        oids = [layout.column_oid("icmp", "Client")]
        got = self.agent.snmp.get_bulk(*oids, non_repeaters=-1, max_repetitions=2).varbinds
        self.assert_bulk(got, walking.bulk(self.expected, oids, 0, 2))
        self.assertEqual(self.agent.snmp.get_bulk(*oids, max_repetitions=-1).varbinds, [])


class EmptyTables(AgentCase):
    """Tables without rows are stepped over."""

    def test_without_any_record_the_tables_end_at_once(self):
        agent = self.start()
        with agent.client() as client:
            client.sync()
        self.assertEqual(agent.tools.walk(), [])
        for oid in (layout.OBJECTS, layout.table_oid("icmp"), layout.column_oid("tcp", "Port")):
            self.assertEqual(agent.tools.get_next(oid), [(oid, END, None)])

    def test_only_one_table_has_rows(self):
        agent = self.start()
        client = agent.client()
        puts = {"icmp": {"address": "192.0.2.1"}, "http": {"url": "u"},
                "tcp": {"address": "192.0.2.1", "port": 1}}
        for probe, target in puts.items():
            client.put("h", probe, **target)
            client.sync()
            self.assert_serves(agent)
            expected = agent.model.varbinds()
            for start in (layout.OBJECTS, layout.table_oid("http"), layout.column_oid("icmp", "Host")):
                self.assertEqual(agent.tools.get_next(start), [walking.successor(expected, start)])
            client.remove("h", probe, **target)
            client.sync()
            self.assert_serves(agent)

    def test_rows_that_come_and_go_are_there_and_gone(self):
        agent = self.start()
        client = agent.client()
        fill(client, rows=10)
        self.assert_serves(agent)
        for at in range(0, 10, 2):
            client.say("removeHost", host="host" * (at % 7) + f"{at * 37 % 10}")
            client.sync()
            self.assert_serves(agent)
        client.say("removeClient")
        client.sync()
        self.assert_serves(agent)
        self.assertEqual(agent.tools.walk(), [])


if __name__ == "__main__":
    unittest.main()
