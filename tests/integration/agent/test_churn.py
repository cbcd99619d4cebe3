"""Walks while rows come, go and are replaced under them."""

import unittest

from support import ber, layout
from support.case import AgentCase
from support.churn import Churn
from support.waiting import until
from support.walking import END

SEED = 7
STABLE_ROWS = 25
WALKS = 4  # of each kind, in which rows did change


class WalksUnderChurn(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start()
        with self.agent.client("stable") as client:
            for at in range(STABLE_ROWS):
                # In between the rows that change, in every order.
                host = f"churn{at}" + "y" * (at % 4)
                client.put(host, "icmp", address="192.0.2.1", latency=at)
                client.put(host, "http", url="u", responseTime=at)
                client.put(host, "tcp", address="192.0.2.1", port=at + 1, latency=at)
            client.sync()
        self.stable = self.agent.model.varbinds()

    def check_walk(self, got, allowed):
        """It ascends, misses nothing that was there all the time, and shows nothing that never was."""
        self.assert_ascending([oid for oid, _, _ in got])
        known = {oid for oid, _, _ in self.stable}
        self.assert_varbinds([varbind for varbind in got if varbind[0] in known], self.stable)
        for oid, kind, value in got:
            if oid not in known:
                self.assertIn((kind, value), allowed[oid], layout.dotted(oid))

    def walk_until_it_met_changes(self, churn, walk):
        allowed = churn.seen()
        met, changing_rows = [0], set()

        def again():
            before = churn.batches
            got = walk()
            self.check_walk(got, allowed)
            changing_rows.update(oid for oid, _, _ in got if oid in allowed)
            met[0] += churn.batches > before
            return met[0] >= WALKS or churn.error

        until(again, lambda: f"{WALKS} walks that met changes; seed {SEED}")
        self.assertGreater(len(changing_rows), 100)

    def test_walks_by_getnext(self):
        with Churn(self.agent, SEED) as churn:
            self.walk_until_it_met_changes(churn, lambda: self.agent.tools.walk(program="snmpwalk"))
        self.assert_serves(self.agent)

    def test_walks_by_getbulk(self):
        with Churn(self.agent, SEED) as churn:
            for repetitions in (2, 10, 50):
                self.walk_until_it_met_changes(
                    churn, lambda: self.agent.tools.walk(options=[f"-Cr{repetitions}"]))
        self.assert_serves(self.agent)

    def test_two_clients_change_rows_at_once(self):
        with Churn(self.agent, SEED) as churn, Churn(self.agent, SEED + 1, "other"):
            self.walk_rows_of_the_first(churn)

    def walk_rows_of_the_first(self, churn):
        allowed = churn.seen()

        def mine():
            got = self.agent.tools.walk(options=["-Cr20"])
            self.assert_ascending([oid for oid, _, _ in got])
            known = {oid for oid, _, _ in self.stable}
            return [varbind for varbind in got if varbind[0] in known or varbind[0] in allowed]

        self.walk_until_it_met_changes(churn, mine)

    def test_a_request_sees_a_row_whole_or_not_at_all(self):
        with Churn(self.agent, SEED) as churn:
            rows = sorted(churn.rows().items())
            seen = set()

            def again():
                for (probe, key), states in rows:
                    oids = [layout.instance(probe, column, key) for column in layout.columns(probe)]
                    response = self.agent.snmp.get(*oids)
                    self.assertEqual(response.error, ber.NO_ERROR)
                    cells = [(kind, value) for _, kind, value in response.varbinds]
                    absent = [("noSuchInstance", None)] * len(cells)
                    self.assertIn(cells, [absent, *states])
                    seen.add((probe, key, None if cells == absent else states.index(cells)))
                return len(seen) > 2.5 * len(rows) or churn.error

            until(again, lambda: f"most rows in each of their states; {len(seen)} were seen")
        self.assert_serves(self.agent)

    def test_a_walk_side_by_side_stays_in_one_row(self):
        with Churn(self.agent, SEED) as churn:
            start = churn.batches

            def again():
                for probe in layout.TABLES:
                    oids = [layout.column_oid(probe, column) for column in layout.columns(probe)]
                    heads = oids
                    while True:
                        got = self.agent.snmp.get_next(*oids).varbinds
                        names = [oid for oid, _, _ in got]
                        inside = [oid[:len(head)] == head and kind != END
                                  for (oid, kind, _), head in zip(got, heads)]
                        if not any(inside):
                            break
                        self.assertTrue(all(inside), got)
                        keys = {name[len(heads[0]):] for name in names}
                        self.assertEqual(len(keys), 1, "columns of different rows in one answer")
                        self.assertLess(oids[0], names[0])
                        oids = names
                return churn.batches >= start + 20 or churn.error

            until(again, "twenty batches of changes")


if __name__ == "__main__":
    unittest.main()
