"""What bounds the cost that others can cause: answers to a GETBULK, and lines in the log."""

import unittest

from support import ber, layout
from support.case import AgentCase, SharedAgentCase
from support.waiting import until

ROWS = 30


def feed_rows(agent):
    with agent.client("lab") as client:
        for at in range(ROWS):
            client.put(f"h{at:02}", "http", url="u")
        client.sync()


class GetBulkByDefault(SharedAgentCase):
    @classmethod
    def prepare(cls):
        feed_rows(cls.agent)

    def test_an_answer_holds_100_varbinds_at_most(self):
        got = self.agent.snmp.get_bulk(layout.OBJECTS, max_repetitions=100_000).varbinds
        self.assertEqual(len(got), 100)

    def test_several_columns_share_the_100_in_whole_repetitions(self):
        columns = [layout.column_oid("http", name) for name in ("Client", "Host", "Url")]
        got = self.agent.snmp.get_bulk(*columns, max_repetitions=100_000).varbinds
        self.assertEqual(len(got), 99)


class Requests(SharedAgentCase):
    @staticmethod
    def request(octets):
        """A GET of exactly that many octets, of names that lead nowhere."""
        name = ber.varbind(layout.OBJECTS + (1,) * 100)
        names = [name] * (octets // len(name) - 1)
        requests = (ber.message(ber.GET, [*names, ber.varbind((1, 3) + (1,) * length)])
                    for length in range(1, 250))
        return next(request for request in requests if len(request) == octets)

    def test_a_request_of_8192_octets_is_answered_and_a_longer_one_is_not(self):
        self.agent.snmp.send(self.request(8192))
        answer = ber.parse_response(self.agent.snmp.receive())
        self.assertGreater(len(answer.varbinds), 60)
        self.agent.snmp.unanswered([self.request(8193)], layout.SYS_DESCR)


class GetBulk(AgentCase):
    def test_repetitions_and_varbinds_have_the_limits_that_were_asked_for(self):
        agent = self.start("--max-repetitions", "5", "--max-varbinds", "12")
        feed_rows(agent)
        columns = [layout.column_oid("http", name) for name in ("Client", "Host", "Url")]
        for asked, got in ((1, 5), (2, 10), (3, 12)):
            answer = agent.snmp.get_bulk(*columns[:asked], max_repetitions=100_000).varbinds
            self.assertEqual(len(answer), got, f"{asked} columns")

    def test_the_language_of_snmpd_conf_may_say_otherwise(self):
        conf = self.scratch.file("snmpd.conf", "maxGetbulkRepeats 3\n")
        agent = self.start("--max-repetitions", "5", "--snmp-conf", conf)
        feed_rows(agent)
        got = agent.snmp.get_bulk(layout.OBJECTS, max_repetitions=100_000).varbinds
        self.assertEqual(len(got), 3)


def counted(agent, what):
    """How many lines about it were written, and how many were withheld."""
    counts = [int(line.split()[0]) for line in agent.log() if f"more lines about {what}" in line]
    return len(agent.log()) - len(counts), sum(counts)


class LogLines(AgentCase):
    def test_a_file_of_refused_lines_does_not_flood_the_log(self):
        path = self.scratch.file("a.jsonl", "nonsense\n" * 500)
        agent = self.start("--feed-file", path)
        until(lambda: sum(counted(agent, "the feed")) == 500, "a line or a count for each refusal")
        self.assertTrue(agent.log()[0].startswith(f"{path}:1: "), agent.log()[0])
        self.assertEqual(counted(agent, "the feed"), (10, 490))

    def test_clients_that_connect_and_connect_do_not_flood_the_log(self):
        agent = self.start("--verbose")
        for _ in range(300):
            agent.feed_connection().close()
        until(lambda: sum(counted(agent, "feed connections")) >= 300, "a line or a count for each")
        written, withheld = counted(agent, "feed connections")
        self.assertGreater(withheld, written)

    def test_datagrams_that_are_refused_leave_no_line_each(self):
        agent = self.start()
        for at in range(200):
            agent.snmp.send(b"\x30\x03\x02\x01" + bytes([at]))
        agent.check_alive()
        self.assertLess(sum(counted(agent, "SNMP")), 200)


if __name__ == "__main__":
    unittest.main()
