"""conmonctl feed: lines from a file or a pipe, refusals with their line numbers."""

import json
import subprocess
import unittest

import running
from support.case import AgentCase
from support.waiting import until

HELLO = '{"op":"hello","client":"file"}\n'
SYNC = '{"op":"sync"}\n'


def put(number, **more):
    return json.dumps({"op": "put", "host": f"h{number}", "probe": "icmp", "address": "192.0.2.1",
                       "latency": 1, **more}) + "\n"


class Fed(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start()

    def feed(self, text, stdin=False):
        if stdin:
            return running.run(self.scratch, self.agent.feed_path, "feed", "-", stdin=text)
        return running.run(self.scratch, self.agent.feed_path, "feed",
                           self.scratch.file("lines", text).name)

    def rows(self):
        done = running.run(self.scratch, self.agent.feed_path, "tables", "--json")
        return json.loads(done.stdout)["icmp"]

    def clients(self):
        with self.agent.feed_connection() as asker:
            return asker.ask(op="clients")["clients"]

    def test_lines_that_are_taken_leave_no_word(self):
        done = self.feed(HELLO + put(1) + put(2) + SYNC)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        self.assertEqual([row["host"] for row in self.rows()], ["h1", "h2"])

    def test_standard_input_is_a_file_too(self):
        done = self.feed(HELLO + put(1) + SYNC, stdin=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        self.assertEqual(len(self.rows()), 1)

    def test_each_refused_line_is_told_with_its_number(self):
        done = self.feed(HELLO + put(1, address="web") + "\n" + put(2) + put(3, port=1) + SYNC)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertEqual(done.stderr.splitlines(), [
            "lines:2: address: must be an IPv4 or IPv6 address",
            "lines:3: not valid JSON at byte 1",
            "lines:5: port: not a field of put",
            "conmonctl: 3 of 6 lines refused"])
        self.assertEqual([row["host"] for row in self.rows()], ["h2"])

    def test_refusals_of_standard_input_name_it(self):
        done = self.feed("nonsense\n", stdin=True)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr.splitlines()[0], "standard input:1: not valid JSON at byte 2")

    def test_the_last_line_needs_no_end(self):
        done = self.feed(HELLO + put(1) + SYNC.strip())
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(len(self.rows()), 1)

    def test_an_empty_file_is_fine(self):
        done = self.feed("")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_a_file_that_is_not_there_is_an_error(self):
        done = running.run(self.scratch, self.agent.feed_path, "feed", "nowhere\x1b")
        self.assertEqual((done.returncode, done.stderr),
                         (1, "conmonctl: nowhere\\x1b: No such file or directory\n"))
        done = running.run(self.scratch, self.agent.feed_path, "feed", ".")
        self.assertEqual((done.returncode, done.stderr), (1, "conmonctl: .: Is a directory\n"))

    def test_a_line_that_is_too_long_ends_it(self):
        done = self.feed(HELLO + "x" * 70_000 + "\n" + put(1) * 1000)
        self.assertEqual(done.returncode, 1)
        lines = done.stderr.splitlines()
        self.assertEqual(lines[0], "lines:2: line longer than 65536 bytes")
        self.assertEqual(len(lines), 2)

    def test_many_lines_flow_both_ways(self):
        count = 20_000
        text = HELLO + "".join(put(number % 100, latency=number) if number % 4 else "x\n"
                               for number in range(count)) + SYNC
        done = self.feed(text)
        self.assertEqual(done.returncode, 1)
        lines = done.stderr.splitlines()
        self.assertEqual(len(lines), count // 4 + 1)
        self.assertEqual([line.split(":")[1] for line in lines[:3]], ["2", "6", "10"])

    def test_lines_of_a_slow_writer_are_taken_as_they_come(self):
        with subprocess.Popen([running.CONMONCTL, "--socket", self.agent.feed_path, "feed", "-"],
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=running.environment(self.scratch), text=True) as child:
            child.stdin.write(HELLO + put(1))
            child.stdin.flush()
            until(lambda: len(self.rows()) == 1, "the row of a line while the writer waits")
            child.stdin.write(put(2) + SYNC)
            out, errors = child.communicate()
        self.assertEqual((child.returncode, out, errors), (0, "", ""))
        self.assertEqual(len(self.rows()), 2)

    def test_records_stay_when_the_client_leaves_unless_it_named_a_time(self):
        self.assertEqual(self.feed(HELLO + put(1) + SYNC).returncode, 0)
        self.assertEqual(self.feed('{"op":"hello","client":"brief","holdSeconds":0}\n' + put(2) +
                                   SYNC).returncode, 0)
        until(lambda: [row["host"] for row in self.rows()] == ["h1"], "the end of the brief client")
        until(lambda: [client["name"] for client in self.clients()] == ["file"], "its being forgotten")


if __name__ == "__main__":
    unittest.main()
