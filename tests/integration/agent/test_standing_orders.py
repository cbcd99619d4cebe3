"""What the agent does so that the plug-in's strict rules always hold."""

import signal
import unittest

from support import tools
from support.case import AgentCase
from support.waiting import until


class StartGate(AgentCase):
    def test_records_that_are_sent_at_once_show_up(self):
        agent = self.start()
        client = agent.client()
        client.say_all([{"op": "interface", "name": "eth1", "ifIndex": 1}]
                       + [{"op": "put", "host": f"h{at}", "probe": "icmp", "address": "192.0.2.1",
                           "interface": ("", "eth1", "eth2")[at % 3]} for at in range(300)])
        client.say_all([{"op": "remove", "host": f"h{at}", "probe": "icmp", "address": "192.0.2.1",
                         "interface": ("", "eth1", "eth2")[at % 3]} for at in range(0, 300, 2)])
        client.sync()
        self.assert_serves(agent)
        self.assertEqual(len(agent.model.rows()["icmp"]), 100)

    def test_a_sync_as_the_first_word_is_answered(self):
        agent = self.start()
        agent.client().sync()

    def test_records_survive_a_replacement_of_the_plug_in_s_agent(self):
        agent = self.start("--trace", "ConnectivityMonitorSnmpTableSm=7")
        client = agent.client()
        client.interface("eth1", 5)
        for at in range(50):
            client.put(f"h{at}", "icmp", address="192.0.2.1", latency=at)
            client.put(f"h{at}", "http", vrf="blue", url="u", interface="eth1", responseTime=at)
            client.put(f"h{at}", "tcp", address="::1", port=1, interface="eth2")
        client.sync()

        def deleted():
            return agent.process.stderr.count("into( conMonMib.icmpTable[ index ] ): deleting")

        for round_number in range(1, 4):
            agent.process.signal(signal.SIGHUP)
            # Changes meanwhile wait their turn.
            client.put("meanwhile", "icmp", address="192.0.2.1", latency=round_number)
            client.sync()
            until(lambda: deleted() >= 50 * round_number, "the withdrawal of all records")
            client.sync()
            until(lambda: agent.tools.walk() == agent.model.varbinds(), "the rows of default")
            until(lambda: agent.tools.walk(access=tools.v2c("public@blue"))
                  == agent.model.varbinds("blue"), "the rows of blue")
        self.assertEqual(len(agent.model.rows("blue")["http"]), 50)


class Interfaces(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start()
        self.client = self.agent.client()

    def test_a_record_waits_for_its_interface(self):
        self.client.put("h", "icmp", address="192.0.2.1", interface="eth1")
        self.client.put("h", "http", url="u", interface="eth1")
        self.client.put("h", "tcp", address="192.0.2.1", port=1, interface="eth1")
        self.client.sync()
        self.assertEqual(self.agent.tools.walk(), [])
        self.client.interface("eth2", 2)
        self.client.sync()
        self.assertEqual(self.agent.tools.walk(), [])
        self.client.interface("eth1", 1)
        self.client.sync()
        self.assert_serves(self.agent)
        self.assertEqual([len(rows) for rows in self.agent.model.rows().values()], [1, 1, 1])

    def test_after_each_change_of_an_index_there_is_one_row_a_probe(self):
        self.client.interface("eth1", 1)
        self.client.interface("eth2", 2)
        for at in range(20):
            for interface in ("eth1", "eth2", ""):
                self.client.put(f"h{at}", "icmp", address="192.0.2.1", interface=interface, latency=at)
                self.client.put(f"h{at}", "http", url="u", interface=interface, vrf="blue")
                self.client.put(f"h{at}", "tcp", address="::1", port=1, interface=interface)
        for index in (7, 77, 2147483647, 7, 3, 1):
            self.client.interface("eth1", index)
            self.client.sync()
            self.assert_serves(self.agent)
            self.assert_serves(self.agent, "blue", access=tools.v2c("public@blue"))
            rows = self.agent.model.rows()
            self.assertEqual([len(rows["icmp"]), len(rows["tcp"])], [60, 60])

    def test_an_index_that_is_told_again_changes_nothing(self):
        self.client.interface("eth1", 1)
        self.client.put("h", "icmp", address="192.0.2.1", interface="eth1")
        self.client.interface("eth1", 1)
        self.client.sync()
        self.assert_serves(self.agent)

    def test_indexes_are_exchanged_between_interfaces(self):
        for name, index in (("eth1", 1), ("eth2", 2)):
            self.client.interface(name, index)
            self.client.put(name, "icmp", address="192.0.2.1", interface=name)
        for name, index in (("eth1", 2), ("eth2", 1)):
            self.client.interface(name, index)
        self.client.sync()
        self.assert_serves(self.agent)
        self.client.say("removeClient")
        self.client.sync()
        self.assertEqual(self.agent.tools.walk(), [])

    def test_any_client_s_index_counts_for_all(self):
        other = self.agent.client("other")
        other.put("h", "icmp", address="192.0.2.1", interface="eth1")
        self.client.interface("eth1", 4)
        self.client.sync()
        self.assert_serves(self.agent)
        self.client.interface("eth1", 5)
        self.client.sync()
        self.assert_serves(self.agent)
        self.assertEqual(len(self.agent.model.rows()["icmp"]), 1)

    def test_records_change_while_their_interface_does(self):
        for index in range(1, 40):
            self.client.say_all([
                {"op": "interface", "name": "eth1", "ifIndex": index % 5 + 1},
                {"op": "put", "host": f"h{index % 7}", "probe": "icmp", "address": "192.0.2.1",
                 "interface": "eth1", "latency": index},
                {"op": "remove", "host": f"h{index % 3}", "probe": "icmp", "address": "192.0.2.1",
                 "interface": "eth1"}])
        self.client.sync()
        self.assert_serves(self.agent)


class Collisions(AgentCase):
    """Two records whose names, without separators, are the same."""

    ONE = {"host": "h1", "probe": "icmp", "address": "1.0.0.1"}
    TWO = {"host": "h", "probe": "icmp", "address": "11.0.0.1"}

    def setUp(self):
        super().setUp()
        self.agent = self.start()
        self.client = self.agent.client()

    def put(self, record, **measured):
        self.client.say("put", **record, **measured)
        self.client.sync()

    def remove(self, record):
        self.client.say("remove", **record)
        self.client.sync()

    def shown_host(self):
        self.assert_serves(self.agent)
        (cells,) = self.agent.model.rows()["icmp"].values()
        return cells[1][1]

    def warnings(self):
        return [line for line in self.agent.log() if "one row" in line]

    def test_the_later_one_shows_and_without_it_the_earlier_again(self):
        self.put(self.ONE, latency=1)
        self.put(self.TWO, latency=2)
        self.assertEqual(self.shown_host(), b"h")
        self.put(self.ONE, latency=3)
        self.assertEqual(self.shown_host(), b"h1")
        self.remove(self.ONE)
        self.assertEqual(self.shown_host(), b"h")
        self.put(self.ONE, latency=3)
        self.remove(self.TWO)
        self.assertEqual(self.shown_host(), b"h1")
        self.remove(self.ONE)
        self.assertEqual(self.agent.tools.walk(), [])

    def test_an_equal_record_put_again_is_the_later_one_too(self):
        self.put(self.ONE, latency=1)
        self.put(self.TWO, latency=2)
        self.put(self.ONE, latency=1)
        self.assertEqual(self.shown_host(), b"h1")
        self.remove(self.ONE)
        self.assertEqual(self.shown_host(), b"h")

    def test_a_warning_names_both_once(self):
        self.put(self.ONE)
        self.assertEqual(self.warnings(), [])
        self.put(self.TWO)
        until(self.warnings, "the warning")
        for at in range(3):
            self.put(self.ONE, latency=at)
            self.put(self.TWO, latency=at)
            self.remove(self.ONE)
            self.put(self.ONE)
        (warning,) = self.warnings()
        for part in ('"h1"', '"h"', "1.0.0.1", "11.0.0.1", '"lab"', '"default"'):
            self.assertIn(part, warning)

    def test_each_pair_is_warned_of(self):
        pairs = 5
        for at in range(pairs):
            self.put({**self.ONE, "host": f"p{at}h1"})
            self.put({**self.TWO, "host": f"p{at}h"})
        until(lambda: len(self.warnings()) == pairs, "a warning for each pair")
        self.assert_serves(self.agent)

    def test_names_that_need_quotes_stay_in_one_line(self):
        for host, address in (('a"\n\\b1', "1.0.0.1"), ('a"\n\\b', "11.0.0.1")):
            self.put({"host": host, "probe": "icmp", "address": address})
        until(self.warnings, "the warning")
        self.assertEqual(len(self.agent.log()), 1)

    def test_records_of_two_clients_share_a_row(self):
        with self.agent.client("la") as other:
            other.put("bh1", "icmp", address="1.0.0.1", latency=5)
            other.sync()
            self.put(self.ONE, latency=1)
            self.assertEqual(self.shown_host(), b"h1")
            until(self.warnings, "the warning")
            self.assertIn('"la"', self.warnings()[0])
        self.remove(self.ONE)
        self.assertEqual(self.shown_host(), b"bh1")

    def test_two_interfaces_of_one_index_share_rows(self):
        self.client.interface("a", 1)
        self.client.interface("b", 2)
        for at, name in enumerate("ab"):
            self.put({**self.ONE, "interface": name}, latency=at)
        self.assert_serves(self.agent)
        self.assertEqual(len(self.agent.model.rows()["icmp"]), 2)
        self.client.interface("b", 1)
        self.client.sync()
        self.assert_serves(self.agent)
        self.assertEqual(len(self.agent.model.rows()["icmp"]), 1)
        self.client.interface("b", 3)
        self.client.sync()
        self.assert_serves(self.agent)
        self.assertEqual(len(self.agent.model.rows()["icmp"]), 2)

    def test_three_records_in_one_row(self):
        third = {"host": "h11", "probe": "icmp", "address": "1.0.0.1"}
        first = {"host": "h1", "probe": "icmp", "address": "11.0.0.1"}
        second = {"host": "h", "probe": "icmp", "address": "111.0.0.1"}
        for at, record in enumerate((first, second, third)):
            self.put(record, latency=at)
        self.assertEqual(self.shown_host(), b"h11")
        self.remove(second)
        self.assertEqual(self.shown_host(), b"h11")
        self.remove(third)
        self.assertEqual(self.shown_host(), b"h1")

    def test_the_same_names_in_two_vrfs_or_tables_do_not_meet(self):
        self.put(self.ONE)
        self.put({**self.TWO, "vrf": "blue"})
        self.client.put("h", "http", url="11.0.0.1")
        self.client.sync()
        self.assert_serves(self.agent)
        self.assert_serves(self.agent, "blue", access=tools.v2c("public@blue"))
        self.assertEqual(self.warnings(), [])

    def test_a_client_s_end_shows_another_client_s_record_again(self):
        with self.agent.client("la", holdSeconds=0) as other:
            self.put(self.ONE, latency=1)
            other.put("bh1", "icmp", address="1.0.0.1", latency=5)
            other.sync()
            self.assertEqual(self.shown_host(), b"bh1")
        self.agent.model.withdraw("la")
        until(lambda: self.agent.tools.walk() == self.agent.model.varbinds(), "the earlier record")
        self.assertEqual(self.shown_host(), b"h1")


class Counts(AgentCase):
    """A VRF's count never goes wrong, whatever the order of changes."""

    def test_removals_of_all_kinds_in_any_order(self):
        agent = self.start()
        client = agent.client()
        client.interface("eth1", 1)
        record = {"host": "h", "probe": "icmp", "address": "192.0.2.1", "vrf": "blue"}
        removals = [{"op": "remove", **record}, {"op": "removeHost", "host": "h", "vrf": "blue"},
                    {"op": "removeClient"}]
        for interface in ("", "eth1", "waits"):
            for updates in range(3):
                for first in removals:
                    for second in removals:
                        where = {"interface": interface}
                        lines = [{"op": "put", **record, **where, "latency": at}
                                 for at in range(updates + 1)]
                        for removal in (first, second):
                            lines.append({**removal, **where} if removal["op"] == "remove" else removal)
                        client.say_all(lines)
                        client.sync()
        self.assert_serves(agent)
        client.put("h", "icmp", address="192.0.2.1", vrf="blue", latency=1)
        client.sync()
        self.assert_serves(agent, "blue", access=tools.v2c("public@blue"))


if __name__ == "__main__":
    unittest.main()
