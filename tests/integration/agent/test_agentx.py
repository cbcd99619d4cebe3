"""What a stock snmpd serves that the agent is a subagent of."""

import unittest

from support import layout, sockets, tools
from support.churn import Churn
from support.subagent import SubagentCase
from support.waiting import until
from support.walking import successor


class ThroughAMaster(SubagentCase):
    def test_all_tables_are_served_in_each_context(self):
        master = self.start_master()
        agent = self.start_subagent()
        self.fill(agent)
        self.wait_for_all(master, agent)
        expected = agent.model.varbinds("blue")
        blue = tools.v2c("public@blue")
        walked = master.tools.walk(program="snmpwalk", access=blue)
        self.assert_varbinds(walked, expected)
        self.assert_ascending([oid for oid, _, _ in walked])
        for at in range(0, len(expected), 40):
            some = expected[at:at + 40]
            self.assert_varbinds(master.tools.get(*(oid for oid, _, _ in some), access=blue), some)

    def test_odd_requests_get_the_same_answers_as_without_a_master(self):
        master = self.start_master()
        agent = self.start_subagent()
        self.fill(agent)
        self.wait_for_all(master, agent, ("blue",))
        expected = agent.model.varbinds("blue")
        oid = expected[0][0]
        master.snmp.community = b"public@blue"
        for odd in (oid[:-1], oid + (0,), oid[:-3] + (256,), layout.column_oid("icmp", 2) + (91, 97),
                    layout.column_oid("http", 0), layout.column_oid("http", 1) + (1, 97),
                    layout.column_oid("tcp", 10), layout.column_oid("tcp", 2) + (2**32 - 1,)):
            self.assertEqual(master.snmp.get_next(odd).varbinds, [successor(expected, odd)], odd)
            (got,) = master.snmp.get(odd).varbinds
            self.assertIn(got[1], ("noSuchInstance", "noSuchObject"), odd)

    def test_nothing_can_be_written_through_the_master(self):
        master = self.start_master()
        agent = self.start_subagent()
        self.fill(agent)
        self.wait_for_all(master, agent, ("",))
        for probe, rows in agent.model.rows().items():
            for column in layout.columns(probe):
                oid = layout.instance(probe, column, next(iter(rows)))
                words = (oid, "s", "x") if column in (2, 3) else (oid, "i", "5")
                done = master.tools.command("snmpset", tools.v2c(), *words)
                self.assertEqual((done.returncode, done.stdout), (2, ""))
                self.assertIn("notWritable", done.stderr)
        self.assertTrue(self.shows(master, agent, "", tools.v2c()))

    def test_contexts_and_rows_come_and_go_while_it_is_connected(self):
        master = self.start_master()
        agent = self.start_subagent()
        client = agent.client()
        for latency in range(2):
            client.put("h", "icmp", vrf="red", address="192.0.2.1", latency=latency)
            client.sync()
            self.wait_for_all(master, agent, ("red",))
            client.remove("h", "icmp", vrf="red", address="192.0.2.1")
            client.sync()
            until(lambda: self.shows_nothing(master, "red"), "the end of the context")

    def test_walks_ascend_while_rows_are_replaced(self):
        master = self.start_master()
        agent = self.start_subagent()
        self.fill(agent)
        self.wait_for_all(master, agent, ("",))
        stable = agent.model.varbinds()
        known = {oid for oid, _, _ in stable}
        with Churn(agent, seed=3) as churn:
            allowed = churn.seen()
            met = [0]

            def again():
                before = churn.batches
                got = master.tools.walk(options=["-Cr20"])
                self.assert_ascending([oid for oid, _, _ in got])
                self.assert_varbinds([varbind for varbind in got if varbind[0] in known], stable)
                for oid, kind, value in got:
                    if oid not in known:
                        self.assertIn((kind, value), allowed[oid], layout.dotted(oid))
                met[0] += churn.batches > before
                return met[0] >= 4 or churn.error

            until(again, "four walks that met changes")


if __name__ == "__main__":
    unittest.main()
