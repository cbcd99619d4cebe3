"""conmonctl tables, watched and piped and compared with the walk."""

import json
import signal
import subprocess
import unittest

import running
from support import floats, layout
from support.case import AgentCase, SharedAgentCase
from support.projection import INTEGER, OCTETS, Address

MANY = 10_000


class Shown(SharedAgentCase):
    @classmethod
    def prepare(cls):
        cls.lab = cls.agent.client("lab")
        cls.lab.interface("eth1", 999_001)
        cls.lab.put("web", "icmp", interface="eth1", address="192.0.2.1", latency=12.345, jitter=0.2,
                    packetLoss=3)
        cls.lab.put("down", "icmp", address="192.0.2.123", packetLoss=100,
                    result="timed out")
        cls.lab.put("web", "http", url="http://192.0.2.1/", responseTime=25.7)
        cls.lab.put("db", "tcp", vrf="blue", address="2001:db8::1", port=5432, latency=1.5)
        cls.lab.put("\x1b[2J\u202e", "tcp", vrf="odd", address="192.0.2.1", port=1, latency=1)
        cls.lab.sync()

    def ctl(self, *words, **how):
        return running.run(self.scratch, self.agent.feed_path, *words, **how)

    def test_into_a_pipe_columns_are_separated_by_tabs(self):
        done = self.ctl("tables")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout, "\n".join([
            "VRF default",
            "",
            "ICMP, 2 rows",
            "CLIENT\tHOST\tADDRESS\tINTERFACE\tIFINDEX\tLATENCY\tJITTER\tLOSS\tRESULT",
            "lab\tdown\t192.0.2.123\t\t0\tno answer\t-\t100 %\ttimed out",
            "lab\tweb\t192.0.2.1\teth1\t999001\t12.345 ms\t0.200 ms\t3 %\t",
            "",
            "HTTP, 1 row",
            "CLIENT\tHOST\tURL\tINTERFACE\tIFINDEX\tRESPONSE TIME\tRESULT",
            "lab\tweb\thttp://192.0.2.1/\t\t0\t25.700 ms\t",
            "",
            "TCP, 0 rows",
            ""]))

    def test_on_a_terminal_columns_are_aligned_and_coloured(self):
        shown = running.run_on_terminal(self.scratch, self.agent.feed_path, "tables")
        self.assertIn("lab     web   192.0.2.1    eth1        999001  12.345 ms  0.200 ms"
                      "    \x1b[31m3 %\x1b[0m  \n", shown)
        self.assertIn("\x1b[1mCLIENT\x1b[0m  \x1b[1mHOST\x1b[0m", shown)

    def test_colour_is_left_out_where_it_is_not_wanted(self):
        for variables in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
            shown = running.run_on_terminal(self.scratch, self.agent.feed_path, "tables", **variables)
            self.assertNotIn("\x1b", shown)
            self.assertIn("lab     web   192.0.2.1    eth1        999001  12.345 ms", shown)
        shown = running.run_on_terminal(self.scratch, self.agent.feed_path, "tables", NO_COLOR="")
        self.assertIn("\x1b[1m", shown)

    def test_another_vrf_is_shown_by_its_name(self):
        done = self.ctl("tables", "--vrf", "blue")
        self.assertEqual(done.stdout.splitlines()[0], "VRF blue")
        self.assertIn("lab\tdb\t2001:db8::1\t5432\t\t0\t1.500 ms\t", done.stdout.splitlines())

    def test_an_unknown_vrf_is_an_error(self):
        done = self.ctl("tables", "--vrf", "red")
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (1, "", "conmonctl: vrf: no such VRF\n"))

    def test_names_cannot_act_on_a_terminal(self):
        for shown in (self.ctl("tables", "--vrf", "odd").stdout,
                      running.run_on_terminal(self.scratch, self.agent.feed_path, "tables", "--vrf",
                                              "odd", NO_COLOR="1")):
            self.assertIn("\\x1b[2J\\u202e", shown)
            self.assertNotIn("\x1b", shown)
            self.assertNotIn("\u202e", shown)

    def test_json_says_the_same_to_programs(self):
        done = self.ctl("tables", "--vrf", "odd", "--json")
        document = json.loads(done.stdout)
        self.assertEqual((document["vrf"], document["icmp"], document["http"]), ("odd", [], []))
        (row,) = document["tcp"]
        self.assertEqual((row["host"], row["port"], row["latency"]), ("\x1b[2J\u202e", 1, 1.0))
        self.assertEqual(done.stdout.count("\n"), 1)

    def test_watching_shows_the_tables_again_and_again_until_it_is_interrupted(self):
        self.watch("--json", "--interval", "0")
        self.watch("--interval", "0.01")

    def watch(self, *options):
        with subprocess.Popen([running.CONMONCTL, "--socket", self.agent.feed_path, "tables",
                               "--vrf", "blue", "--watch", *options], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=running.environment(self.scratch),
                              text=True) as child:
            documents = 0
            while documents < 3:
                line = child.stdout.readline()
                self.assertTrue(line, "it ended")
                documents += '"vrf":"blue"' in line or line == "VRF blue\n"
            child.send_signal(signal.SIGINT)
            _, errors = child.communicate()
        self.assertEqual((child.returncode, errors), (-signal.SIGINT, ""))

    def test_a_reader_that_goes_ends_it_without_a_word(self):
        # The first program ignores SIGPIPE, as children of services do.
        with subprocess.Popen([running.CONMONCTL, "--socket", self.agent.feed_path, "tables",
                               "--watch", "--interval", "0"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, env=running.environment(self.scratch),
                              restore_signals=False) as child:
            child.stdout.readline()
            child.stdout.close()
            errors = child.stderr.read()
            child.wait()
        self.assertEqual((child.returncode, errors), (-signal.SIGPIPE, b""))

    def test_output_that_cannot_be_written_is_an_error(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([running.CONMONCTL, "--socket", self.agent.feed_path, "tables"],
                                  stdout=full, stderr=subprocess.PIPE, text=True,
                                  env=running.environment(self.scratch))
        self.assertEqual((done.returncode, done.stderr),
                         (1, "conmonctl: cannot write to standard output: No space left on device\n"))


class WatchedAgentThatEnds(AgentCase):
    def test_the_end_of_the_agent_ends_the_watching_with_an_error(self):
        agent = self.start()
        with subprocess.Popen([running.CONMONCTL, "--socket", agent.feed_path, "tables", "--watch",
                               "--interval", "0"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=running.environment(self.scratch), text=True) as child:
            child.stdout.readline()
            agent.process.signal(signal.SIGTERM)
            _, errors = child.communicate()
        self.assertEqual(child.returncode, 1)
        self.assertRegex(errors, r"\Aconmonctl: the (agent|connection)[^\n]*\n\Z")


class AsMuchAsTheWalk(AgentCase):
    def test_ten_thousand_rows_are_those_of_the_walk(self):
        agent = self.start()
        client = agent.client("lab")
        client.interface("eth1", 7)
        lines = []
        for number in range(MANY):
            kind = number % 3
            key = {"op": "put", "host": f"host-{number}", **({"interface": "eth1"} if number % 2 else {})}
            if kind == 0:
                lines.append({**key, "probe": "icmp", "address": f"192.0.2.{number % 250}",
                              "latency": number / 7, "jitter": number / 1000, "packetLoss": number % 101})
            elif kind == 1:
                lines.append({**key, "probe": "http", "url": f"http://h/{number}" + "x" * (number % 90),
                              "responseTime": number / 3})
            else:
                lines.append({**key, "probe": "tcp", "address": f"2001:db8::{number:x}",
                              "port": number, "latency": number / 11})
        client.say_all([*lines, {"op": "sync"}])
        done = running.run(self.scratch, agent.feed_path, "tables", "--json")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        tables = json.loads(done.stdout)
        self.assertEqual(sum(len(tables[probe]) for probe in layout.TABLES), MANY)
        walked = agent.tools.walk(options=["-Cr50"])
        self.assert_varbinds(list(varbinds(tables)), walked)


def varbinds(tables):
    """The walk that these tables are, column by column."""
    for probe in layout.TABLES:
        rows = [(row["key"].encode(), cells(probe, row)) for row in tables[probe]]
        for column in layout.columns(probe):
            for key, values in rows:
                yield layout.instance(probe, column, key), *values[column - layout.FIRST_COLUMN]


def cells(probe, row):
    def time(name):
        value, precision = floats.value_and_precision(floats.single(row[name]))
        return [(INTEGER, precision), (INTEGER, value)]

    who = [(OCTETS, row["client"].encode()), (OCTETS, row["host"].encode())]
    index = [(INTEGER, row["ifIndex"])]
    if probe == "http":
        return who + [(OCTETS, row["url"].encode())] + index + time("responseTime")
    address = Address(row["address"])
    who += [(INTEGER, address.type), (OCTETS, address.octets)]
    if probe == "tcp":
        return who + [(INTEGER, row["port"])] + index + time("latency")
    return who + index + time("latency") + time("jitter") + [(INTEGER, row["packetLoss"])]


if __name__ == "__main__":
    unittest.main()
