"""conmonctl show and stats."""

import json
import os
import socket
import threading
import unittest

import running
from support.case import AgentCase, SharedAgentCase

PROBER = {
    "client": "edge",
    "configuration": {"file": "/etc/conmon/probed.yaml", "loads": 2, "failures": 1,
                      "error": "probed.yaml:7: interval: expected a number\x1b"},
    "agent": {"socket": "/run/conmon/feed.sock", "connected": True},
    "schedule": {"started": 100, "overloaded": 0},
    "probes": [{}, {}, {}],
}


def sections(text):
    """{title: [row as list of cells]} of what stats says into a pipe."""
    found = {}
    for part in text.split("\n\n")[1:]:
        title, *lines = part.splitlines()
        found[title] = [line.split("\t") for line in lines]
    return found


class Shown(SharedAgentCase):
    @classmethod
    def prepare(cls):
        cls.lab = cls.agent.client("lab", holdSeconds=90)
        cls.lab.interface("eth1", 999_001)
        cls.lab.interface("eth2", 999_002)
        for number in range(30):
            cls.lab.put(f"h{number}", "icmp", interface="eth1", address="192.0.2.1", latency=1.5)
        cls.lab.put("x", "icmp", vrf="blue", interface="waits", address="192.0.2.1")
        cls.lab.put("\x1b[2J", "tcp", vrf="blue", address="192.0.2.1", port=1)
        cls.lab.sync()

    def ctl(self, *words, **how):
        done = running.run(self.scratch, self.agent.feed_path, *words, **how)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def test_the_root_is_a_tree(self):
        lines = self.ctl("show").splitlines()
        self.assertEqual(lines[:3], ["/ (Qiv::Dir)", '|- name = ""', "`- entityPtr [2]"])
        self.assertEqual([line[:6] for line in lines[3:]], ["   |- ", "   `- "])
        self.assertEqual({line[6:] for line in lines[3:]},
                         {"connectivityMonitor (Qiv::Dir)", "snmp (Qiv::Dir)"})

    def test_slashes_at_the_ends_of_a_path_mean_nothing(self):
        self.assertEqual(self.ctl("show", "/snmp/"), self.ctl("show", "snmp"))
        self.assertEqual(self.ctl("show", "/"), self.ctl("show"))

    def test_a_value_is_a_line(self):
        self.assertEqual(self.ctl("show", "snmp/ifMib/ifIndexByIntfId/eth2"),
                         "snmp/ifMib/ifIndexByIntfId/eth2 = 999002\n")

    def test_an_entity_is_shown_with_its_attributes(self):
        lines = self.ctl("show", "snmp/connectivityMonitor/conMonMib/default").splitlines()
        self.assertEqual(lines[0], "snmp/connectivityMonitor/conMonMib/default "
                                   "(ConnectivityMonitorSnmp::ConnectivityMonitorMib)")
        self.assertIn('|- name = "default"', lines)
        self.assertIn("`- uniqueKey()", lines)

    def test_of_a_long_collection_the_first_are_shown_unless_all_are_wanted(self):
        path = "snmp/connectivityMonitor/conMonMib/default/icmpTable"
        few = self.ctl("show", path).splitlines()
        self.assertEqual((few[0], len(few), few[-1]), (f"{path} [30]", 22, "`- ... 10 more"))
        whole = self.ctl("show", path, "--all").splitlines()
        self.assertEqual((len(whole), whole[:21]), (31, few[:21]))

    def test_entities_are_followed_as_deep_as_is_said(self):
        rows = self.ctl("show", "snmp/connectivityMonitor/conMonMib/default/icmpTable", "--depth", 2)
        self.assertIn('|  |- host = "h', rows)
        self.assertIn("|  |- latency = 1.5\n", rows)

    def test_the_whole_store_can_be_shown(self):
        self.assertGreater(len(self.ctl("show", "--depth", 5).splitlines()), 50)

    def test_names_in_the_tree_cannot_act(self):
        text = self.ctl("show", "connectivityMonitor/status/lab", "--all", "--depth", 3)
        self.assertIn("%251B[2J,blue", text)  # a key's text, quoted as a name
        self.assertNotIn("\x1b", text)

    def test_a_place_that_is_not_there_is_an_error(self):
        done = running.run(self.scratch, self.agent.feed_path, "show", "nobody\x1b")
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (1, "", 'conmonctl: path: Qiv::Dir has no "nobody\\\\u001b"\n'))

    def test_stats_tell_all_that_there_is_to_tell(self):
        self.agent.tools.walk()
        text = self.ctl("stats")
        self.assertRegex(text.splitlines()[0], r"\Aconmon-snmpd [0-9.]+, up [0-9].*, open\Z")
        parts = sections(text)
        self.assertEqual(list(parts), ["AGENT", "EVENTS", "SCANS AND RECONCILIATION", "VRFS", "WALKS",
                                       "CLIENTS", "INTERFACES", "PROBER"])
        agent = dict(parts["AGENT"][1:])
        self.assertEqual((agent["records"], agent["collisions"], agent["changes waiting"]),
                         ("32", "0", "0"))
        self.assertIn(["ICMP", "31", "0", "0"], parts["EVENTS"])
        icmp = next(row for row in parts["SCANS AND RECONCILIATION"] if row[0] == "ICMP")
        self.assertEqual((icmp[1], icmp[2], icmp[4]), ("yes", "yes", "1"))
        self.assertIn(["default", "30", "30", "0", "0"], parts["VRFS"])
        self.assertIn(["blue", "1", "0", "0", "1"], parts["VRFS"])
        walked = next(row for row in parts["WALKS"] if row[:2] == ["default", "ICMP"])
        self.assertGreater(sum(map(int, walked[2:])), 0)
        self.assertEqual(parts["CLIENTS"][1:], [["lab", "1", "32", "1 min 30 s", "-"]])
        self.assertIn(["eth1", "999001", "client lab"], parts["INTERFACES"])
        self.assertIn(["waits", "unknown", "-"], parts["INTERFACES"])
        self.assertEqual(parts["PROBER"],
                         [["no prober at /run/conmon-probed/status.sock: No such file or directory"]])

    def test_the_prober_tells_its_failed_reload(self):
        with Prober(self.scratch.path / "probed.sock", json.dumps(PROBER)) as path:
            prober = dict(sections(self.ctl("stats", "--probed-socket", path))["PROBER"][1:])
        self.assertEqual(prober["error of the last load"],
                         "probed.yaml:7: interval: expected a number\\x1b")
        self.assertEqual((prober["failed to load"], prober["probes"], prober["connected to the agent"]),
                         ("1", "3", "yes"))

    def test_what_is_no_prober_is_told(self):
        with Prober(self.scratch.path / "probed.sock", "[]") as path:
            done = running.run(self.scratch, self.agent.feed_path, "stats", "--probed-socket", path)
        self.assertEqual((done.returncode, done.stderr),
                         (1, f"conmonctl: what {path} says is no prober's state\n"))


class Prober:
    """Tells one state to whoever connects, once, as the prober's status socket does; or, as an agent
    would, when it is asked."""

    def __init__(self, path, state, asked=False):
        self.path = path
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.bind(str(path))
        self._socket.listen()
        self._thread = threading.Thread(target=self._tell, args=(state, asked), daemon=True)
        self._thread.start()

    def _tell(self, state, asked):
        connection, _ = self._socket.accept()
        with connection:
            if asked:
                connection.recv(4096)
            connection.sendall(state.encode() + b"\n")

    def __enter__(self):
        return self.path

    def __exit__(self, *_):
        self._thread.join()
        self._socket.close()
        os.unlink(self.path)


class Alone(AgentCase):
    """Without an agent, or with something else in its place."""

    def refused(self, socket_path, *words):
        done = running.run(self.scratch, socket_path, *words)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertEqual(done.stderr.count("\n"), 1)
        return done.stderr

    def test_each_command_says_in_one_line_that_there_is_no_agent(self):
        path = self.scratch.path / "nobody"
        for words in (["tables"], ["tables", "--watch"], ["show"], ["stats"], ["snmpd-conf"],
                      ["feed", self.scratch.file("lines", "")]):
            self.assertEqual(self.refused(path, *words),
                             f"conmonctl: no agent at {path}: No such file or directory\n")

    def test_a_file_and_a_path_that_is_too_long_are_no_agents(self):
        path = self.scratch.file("file", "")
        self.assertEqual(self.refused(path, "stats"),
                         f"conmonctl: no agent at {path}: Connection refused\n")
        self.assertIn("the path cannot be a socket's", self.refused("x" * 200, "stats"))

    def test_an_agent_that_makes_no_sense_is_told(self):
        for answer in ("nonsense", "[]", "{}"):
            with Prober(self.scratch.path / "odd.sock", answer, asked=True) as path:
                self.assertIn("understood", self.refused(path, "stats"))

    def test_wrong_usage_has_a_code_of_its_own(self):
        for words in ([], ["nonsense"], ["tables", "--vfr", "x"], ["feed"]):
            done = running.run(self.scratch, "x", *words)
            self.assertEqual((done.returncode, done.stdout, done.stderr.count("\n")), (2, "", 1))
            self.assertTrue(done.stderr.startswith("conmonctl: "), done.stderr)

    def test_help_and_version_need_no_agent(self):
        self.assertRegex(running.run(self.scratch, "x", "--version").stdout, r"\Aconmonctl \d+\.\d+\.\d+\n\Z")
        for words in ([], ["tables"], ["show"], ["stats"], ["feed"], ["snmpd-conf"]):
            done = running.run(self.scratch, "x", *words, "--help")
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertIn("--socket", done.stdout + "--socket" if words else done.stdout)


if __name__ == "__main__":
    unittest.main()
