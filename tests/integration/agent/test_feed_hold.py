"""What becomes of a client's records when its connection is gone."""

import unittest

from support import tools
from support.case import AgentCase
from support.waiting import until

LONG = 3600
SHORT = 0.5


class Hold(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start()

    def leave(self, name, **hello):
        """A client that puts a record in a VRF of its name, and goes."""
        with self.agent.client(name, **hello) as client:
            client.put("h", "http", vrf=name, url="u")
            client.put("h", "icmp", address="192.0.2.1")
            client.sync()

    def hosts(self):
        """The clients that rows of the default VRF are of."""
        return {value.decode() for _, _, value in self.agent.tools.walk((1, 3, 6, 1, 4, 1, 61111, 3,
                                                                         38, 1, 1, 1, 2))}

    def wait_for_the_end_of(self, name):
        until(lambda: name not in self.hosts(), f"the withdrawal of {name}'s records")
        self.agent.model.withdraw(name)

    def test_without_a_hold_time_they_stay(self):
        self.leave("stays")
        self.leave("goes", holdSeconds=0)
        self.wait_for_the_end_of("goes")
        self.assert_serves(self.agent)
        self.assert_serves(self.agent, "stays", access=tools.v2c("public@stays"))
        with self.agent.client("stays") as client:
            client.say("removeClient")
            client.sync()
        self.assert_serves(self.agent)

    def test_they_go_when_the_hold_time_is_over(self):
        self.leave("long", holdSeconds=LONG)
        self.leave("short", holdSeconds=SHORT)
        self.leave("at-once", holdSeconds=0)
        self.wait_for_the_end_of("at-once")
        self.wait_for_the_end_of("short")
        self.assert_serves(self.agent)
        self.assertEqual(self.hosts(), {"long"})

    def test_the_longer_hold_time_ends_later(self):
        # In one order of going and in the other.
        self.leave("a", holdSeconds=3 * SHORT)
        self.leave("b", holdSeconds=SHORT)
        seen = []

        def gone():
            seen.append(frozenset(self.hosts()))
            return not seen[-1]

        until(gone, "the end of both")
        self.assertNotIn(frozenset({"b"}), seen, "the shorter time has to end first")

    def test_a_client_that_comes_back_in_time_takes_its_records_over(self):
        self.leave("back", holdSeconds=SHORT)
        with self.agent.client("back", holdSeconds=SHORT) as client:
            # Leaves later with the same hold time: when it has gone, the first time is long over.
            self.leave("clock", holdSeconds=SHORT)
            self.wait_for_the_end_of("clock")
            self.assert_serves(self.agent)
            self.assertEqual(self.hosts(), {"back"})
            client.put("h", "icmp", address="192.0.2.1", latency=9)
            client.remove("h", "http", vrf="back", url="u")
            client.sync()
            self.assert_serves(self.agent)
        self.wait_for_the_end_of("back")
        self.assert_serves(self.agent)

    def test_the_hold_time_of_the_last_hello_counts(self):
        self.leave("c", holdSeconds=SHORT)
        with self.agent.client("c"):
            pass
        self.leave("clock", holdSeconds=SHORT)
        self.wait_for_the_end_of("clock")
        self.assertEqual(self.hosts(), {"c"})
        with self.agent.client("c", holdSeconds=0):
            pass
        self.wait_for_the_end_of("c")
        self.assert_serves(self.agent)

    def test_the_time_begins_when_the_last_connection_closes(self):
        first = self.agent.client("twice", holdSeconds=0)
        second = self.agent.client("twice", holdSeconds=0)
        first.put("h", "icmp", address="192.0.2.1")
        first.close()
        self.leave("clock", holdSeconds=0)
        self.wait_for_the_end_of("clock")
        second.put("i", "icmp", address="192.0.2.1")
        second.sync()
        self.assert_serves(self.agent)
        self.assertEqual(self.hosts(), {"twice"})
        second.close()
        self.wait_for_the_end_of("twice")

    def test_interfaces_outlive_their_client(self):
        with self.agent.client("gone", holdSeconds=0) as client:
            client.interface("eth1", 7)
            client.put("h", "icmp", address="192.0.2.1", interface="eth1")
            client.sync()
        self.wait_for_the_end_of("gone")
        with self.agent.client("new") as client:
            client.put("h", "icmp", address="192.0.2.1", interface="eth1")
            client.sync()
        self.assert_serves(self.agent)
        self.assertEqual(len(self.agent.model.rows()["icmp"]), 1)

    def test_a_client_that_is_killed_is_one_whose_connection_closed(self):
        client = self.agent.client("killed", holdSeconds=0)
        client.put("h", "icmp", address="192.0.2.1")
        client.sync()
        client.connection.send(b'{"op":"put","host":"never whole"')
        client.close()
        self.wait_for_the_end_of("killed")
        self.assert_serves(self.agent)

    def test_a_hold_time_of_any_size_is_taken(self):
        for at, seconds in enumerate((0, 0.001, 1e-300, 1e6, 1e18, 1e308)):
            self.leave(f"c{at}", holdSeconds=seconds)
        for at in range(3):
            self.wait_for_the_end_of(f"c{at}")
        self.assert_serves(self.agent)
        self.assertEqual(self.hosts(), {"c3", "c4", "c5"})


if __name__ == "__main__":
    unittest.main()
