"""Feed lines from files."""

import json
import unittest

from support import layout, places, tools
from support.case import AgentCase
from support.waiting import until


def lines(*objects):
    return "".join(json.dumps(line) + "\n" for line in objects)


HELLO = {"op": "hello", "client": "file"}
PUT = {"op": "put", "host": "h", "probe": "http", "url": "u", "responseTime": 1}


class Files(AgentCase):
    def read(self, agent, client, *objects):
        """Notes in the model what a file says, and waits until all of it is served."""
        for line in objects:
            agent.model.apply(client, line)
        until(lambda: agent.tools.walk() == agent.model.varbinds(), "the rows of the file")

    def test_records_of_a_file_are_served(self):
        agent = self.start("--feed-file", self.scratch.file("a.jsonl", lines(HELLO, PUT)))
        self.read(agent, "file", PUT)

    def test_the_example_is_served_and_refuses_nothing(self):
        path = places.ROOT / "examples/feed.jsonl"
        agent = self.start("--feed-file", path)
        objects = [json.loads(line) for line in path.read_text().splitlines()]
        self.read(agent, objects[0]["client"], *objects[1:])
        until(lambda: agent.tools.walk(access=tools.v2c("public@blue")) == agent.model.varbinds("blue"),
              "the rows of VRF blue")
        self.assertGreater(len(agent.model.varbinds()), 50)
        self.assertEqual(agent.said(), "")

    def test_several_files_are_several_clients(self):
        other = {**HELLO, "client": "other"}
        agent = self.start("--feed-file", self.scratch.file("a.jsonl", lines(HELLO, PUT)),
                           "--feed-file", self.scratch.file("b.jsonl", lines(other, PUT)))
        agent.model.apply("file", PUT)
        self.read(agent, "other", PUT)

    def test_the_last_line_needs_no_line_end(self):
        agent = self.start("--feed-file", self.scratch.file(
            "a.jsonl", lines(HELLO, PUT) + json.dumps({**PUT, "host": "last"})))
        self.read(agent, "file", PUT, {**PUT, "host": "last"})

    def test_refused_lines_are_told_with_file_and_line_and_passed_over(self):
        path = self.scratch.file("a.jsonl", lines(HELLO, {**PUT, "url": ""}, PUT) + "nonsense\n"
                                 + lines({**PUT, "host": "i"}, HELLO))
        agent = self.start("--feed-file", path)
        self.read(agent, "file", PUT, {**PUT, "host": "i"})
        until(lambda: len(agent.log()) >= 3, "the complaints")
        for at, part in ((2, "url"), (4, ""), (6, "op")):
            complaint = agent.log()[{2: 0, 4: 1, 6: 2}[at]]
            self.assertTrue(complaint.startswith(f"{path}:{at}: "), complaint)
            self.assertIn(part, complaint)
        self.assertEqual(len(agent.log()), 3)

    def test_records_stay_whatever_hold_time_the_file_says(self):
        agent = self.start("--feed-file", self.scratch.file(
            "a.jsonl", lines({**HELLO, "holdSeconds": 0}, PUT)))
        self.read(agent, "file", PUT)
        with agent.client("clock", holdSeconds=0) as clock:
            clock.put("h", "icmp", address="192.0.2.1")
            clock.sync()
        agent.model.withdraw("clock")
        until(lambda: agent.tools.walk() == agent.model.varbinds(), "the end of the clock's record")
        self.assertEqual(len(agent.model.rows()["http"]), 1)

    def test_a_connection_of_the_same_client_goes_on_with_the_file_s_records(self):
        agent = self.start("--feed-file", self.scratch.file("a.jsonl", lines(HELLO, PUT)))
        self.read(agent, "file", PUT)
        with agent.client("file") as client:
            client.put("h", "http", url="u", responseTime=2)
            client.put("h", "http", url="v")
            client.sync()
        self.assert_serves(agent)

    def test_an_empty_file_says_nothing(self):
        agent = self.start("--feed-file", self.scratch.file("empty.jsonl", ""))
        agent.check_alive()
        self.assertEqual(agent.tools.walk(), [])
        self.assertEqual(agent.said(), "")

    def test_a_file_of_garbage_does_not_keep_the_agent_from_serving(self):
        agent = self.start("--feed-file", self.scratch.file("garbage", bytes(range(256)) * 50))
        with agent.client() as client:
            client.put("h", "http", url="u")
            client.sync()
        self.assert_serves(agent)

    def test_a_line_that_is_too_long_ends_the_file(self):
        path = self.scratch.file("long.jsonl", lines(HELLO, PUT) + "x" * 100_000 + "\n" + lines(
            {**PUT, "host": "behind"}))
        agent = self.start("--feed-file", path)
        self.read(agent, "file", PUT)
        until(agent.log, "the complaint")
        self.assertTrue(agent.log()[0].startswith(f"{path}:3: "), agent.log())
        self.assert_serves(agent)

    def test_ten_thousand_records_of_a_file(self):
        objects = [{"op": "put", "host": f"h{at}", "probe": "http", "url": "u"} for at in range(10_000)]
        agent = self.start("--feed-file", self.scratch.file("many.jsonl", lines(HELLO, *objects)))
        for line in objects:
            agent.model.apply("file", line)
        expected = agent.model.varbinds()
        column = layout.column_oid("http", "Client")
        wanted = [varbind for varbind in expected if varbind[0][:len(column)] == column]
        until(lambda: agent.snmp.get(wanted[-1][0]).varbinds == wanted[-1:], "the last row")
        with agent.client("clock") as clock:
            clock.sync()
        self.assert_varbinds(agent.tools.walk(column, options=["-Cr50"]), wanted)


if __name__ == "__main__":
    unittest.main()
