"""Agents and probers that are killed and come back: exactly the right rows remain."""

import unittest

from probing import ANSWERED, ProberCase, row
from support.waiting import until


class Restarts(ProberCase):
    def test_an_agent_that_was_killed_is_told_everything(self):
        pairs = [self.tcp("tcp"), self.http("web"), self.icmp("ping")]
        expected = self.write(*pairs)
        self.prober.start()
        for _ in range(3):
            self.wait_for_rows(expected)
            self.kill_agent()
            self.start_agent()
        self.wait_for_rows(expected)

    def test_what_changed_while_the_agent_was_away_is_right_afterwards(self):
        stays, goes, comes = self.tcp("stays"), self.http("goes"), self.http("comes")
        self.wait_for_rows_of(stays, goes)
        self.kill_agent()
        until(lambda: not self.prober.status()["agent"]["connected"], "the loss of the agent")
        expected = self.write(stays, comes)
        self.prober.reload()
        self.wait_for_news("stays")  # it measures without the agent as well
        self.start_agent()
        self.wait_for_rows(expected)
        self.wait_for_outcomes({each: ANSWERED for each in expected})

    def test_an_agent_that_stops_in_order_is_found_again(self):
        expected = self.wait_for_rows_of(self.tcp("tcp"), self.icmp("ping"))
        self.end_agent()
        self.start_agent()
        self.wait_for_rows(expected)
        lines = [line for line in self.prober.process.stderr_lines if "<4>agent " in line]
        self.assertTrue(any(line.endswith("connected") for line in lines), lines)

    def test_the_rows_of_a_killed_prober_go_after_the_hold_time(self):
        blue = self.namespace("hold")
        ping = row("icmp", "h", "127.0.0.1")
        self.prober.write(["{name: h, address: 127.0.0.1, icmp: {}}",
                           "{name: h, vrf: blue, address: 127.0.0.1, icmp: {}}"],
                          hold="2s", more=f"vrfs: {{blue: {{netns: {blue.name}}}}}\n")
        # Rows of somebody else, which stay, show that it is not the tables that went.
        other = row("http", "other", "u")
        with self.agent.client("other") as client:
            client.put("other", "http", url="u")
            client.put("other", "http", vrf="blue", url="u")
        self.prober.start()
        self.wait_for_rows([ping, other])
        self.wait_for_rows([ping, other], "blue")
        self.prober.kill()
        self.wait_for_rows([other])
        self.wait_for_rows([other], "blue")

    def test_a_prober_that_comes_back_in_time_takes_its_rows_over_and_clears_what_is_left(self):
        stays, goes = self.tcp("stays"), self.http("goes")
        expected = self.wait_for_rows_of(stays, goes)
        self.prober.kill()
        self.assertEqual(self.rows(), expected, "within the hold time they stay")
        expected = self.write(stays)
        self.prober.start()
        self.wait_for_rows(expected)

    def test_many_kills_end_with_exactly_the_last_ones_rows(self):
        hosts = [self.tcp(f"tcp{n}") for n in range(6)] + [self.http("web"), self.icmp("ping")]
        for turn in range(5):
            expected = self.write(*hosts[turn:turn + 4])
            self.prober.start()
            until(lambda: self.prober.status()["agent"]["lines"] > turn, "some lines")
            if turn < 4:
                self.prober.kill()
        self.wait_for_rows(expected)

    def test_a_prober_that_ends_in_order_leaves_its_rows_for_the_hold_time(self):
        expected = self.wait_for_rows_of(self.tcp("tcp"), self.icmp("ping"))
        self.prober.stop()
        self.assertEqual(self.rows(), expected)

    def wait_for_rows_of(self, *pairs):
        expected = self.write(*pairs)
        self.prober.start()
        self.wait_for_rows(expected)
        return expected


if __name__ == "__main__":
    unittest.main()
