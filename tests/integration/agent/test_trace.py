"""Trace lines: their form, their units and levels, and where they go."""

import re
import unittest

from support import layout
from support.case import AgentCase
from support.waiting import until

UNITS = ("ConnectivityMonitorSnmp", "velmorConMonMIB", "ConnectivityMonitorSnmpAgent",
         "ConnectivityMonitorSnmpSmTypes", "ConnectivityMonitorSnmpTableSm")
LINE = re.compile(f"({'|'.join(UNITS)}):([0-9]): (.*)")
ASKED = "ConnectivityMonitorSnmpTableSm=9,velmorConMonMIB=2"


class Trace(AgentCase):
    def work(self, agent):
        """Lets both halves of the plug-in do something of every kind."""
        with agent.client("lab") as client:
            client.interface("eth1", 7)
            client.put("h", "icmp", address="192.0.2.1", interface="eth1", latency=12.345)
            client.put("h", "http", url="u")
            client.put("h", "tcp", address="192.0.2.1", port=1, vrf="blue")
            client.put("h", "tcp", address="192.0.2.1", port=2, interface="waits")
            client.sync()
        self.assert_serves(agent)
        agent.snmp.get(layout.instance("icmp", 12, b"x"))
        with agent.client("lab") as client:
            client.say("removeClient")
            client.sync()

    def parse(self, text):
        """[(unit, level, text)]; every line has to be one."""
        found = [(line, LINE.fullmatch(line)) for line in text.splitlines()]
        for line, match in found:
            self.assertIsNotNone(match, f"no trace line: {line!r}")
        return [(match[1], int(match[2]), match[3]) for _, match in found]

    def test_lines_go_to_standard_error_as_unit_level_and_text(self):
        agent = self.start("--trace", ASKED)
        self.work(agent)
        agent.stop()
        lines = self.parse(agent.said())
        self.assertEqual(agent.process.output("stdout"), "")
        self.assertEqual({unit for unit, _, _ in lines},
                         {"ConnectivityMonitorSnmpTableSm", "velmorConMonMIB"})
        self.assertLessEqual({level for unit, level, _ in lines if unit == "velmorConMonMIB"}, {0, 1, 2})
        levels = {level for unit, level, _ in lines if unit == "ConnectivityMonitorSnmpTableSm"}
        self.assertLessEqual({6, 7, 9}, levels)
        for expected in (
                ("velmorConMonMIB", 1, 'initialize_table_velmorIcmpProbeTable initializing oid '
                                       '1.3.6.1.4.1.61111.3.38.1.1 in context "blue"'),
                ("velmorConMonMIB", 2, 'Unregistering velmorConMonMIB in context "blue"'),
                ("velmorConMonMIB", 2, "velmorHttpProbeTable_handler: request GET for column "
                                       "velmorHttpProbeUrl, key labhu0"),
                ("ConnectivityMonitorSnmpTableSm", 7,
                 "ifMibIcmpStream = from( ifMib.ifIndexByIntfId[] ): intfId=eth1 ifIndexOpt=Optional( 7 )"),
                ("ConnectivityMonitorSnmpTableSm", 7,
                 "into( conMonMib.icmpTable[ index ] ): deleting k1=labh192.0.2.17"),
                ("ConnectivityMonitorSnmpTableSm", 6,
                 "filter( ( currRef == 0 ) ) failed, terminating pipeline")):
            self.assertIn(expected, lines)
        texts = "\n".join(text for _, _, text in lines)
        for part in ("icmpStream = from( clientDir.entityPtr< StatusDir >[].hostStatus[].icmpStats[] ): "
                     "client=lab hostKey=h,default icmpStatsKey=eth1,192.0.2.1\n",
                     "into( conMonMib.httpTable[ index ] ): inserting k1=labhu0, value=",
                     "intfToTcpStatsBacklog[ intfId ].tcpStatsInfoSet[", "get_first_data_point - *hint = "):
            self.assertIn(part, texts)

    def test_each_unit_is_traced_up_to_its_level_and_no_other(self):
        for unit in UNITS:
            for level in (0, 1, 2, 6, 7, 8, 9):
                with self.subTest(unit=unit, level=level):
                    agent = self.start("--trace", f"{unit}={level}", name=f"{unit}{level}")
                    self.work(agent)
                    agent.stop()
                    lines = self.parse(agent.said())
                    self.assertLessEqual({named for named, _, _ in lines}, {unit})
                    self.assertLessEqual(max((at for _, at, _ in lines), default=0), level)
                    if unit == "ConnectivityMonitorSnmpTableSm" and level >= 6:
                        self.assertIn(level if level != 8 else 7, {at for _, at, _ in lines})

    def test_lines_go_to_the_trace_file_instead(self):
        path = self.scratch.path / "trace.log"
        agent = self.start("--trace", ASKED, "--trace-file", path)
        self.work(agent)
        # Whole lines are there at once, not only at the end.
        until(lambda: "velmorConMonMIB:2: Unregistering" in path.read_text(), "the lines")
        self.parse(path.read_text())
        self.assertEqual(agent.said(), "")

    def test_a_trace_file_is_continued(self):
        path = self.scratch.file("trace.log", "before\n")
        for round_number in range(2):
            agent = self.start("--trace", "velmorConMonMIB=1", "--trace-file", path,
                               name=f"round{round_number}")
            self.work(agent)
            agent.stop()
        first, *others = path.read_text().splitlines()
        self.assertEqual(first, "before")
        lines = self.parse("\n".join(others))
        text = ('initialize_table_velmorIcmpProbeTable initializing oid 1.3.6.1.4.1.61111.3.38.1.1 '
                'in context "blue"')
        self.assertEqual(lines.count(("velmorConMonMIB", 1, text)), 2)

    def test_without_trace_nothing_is_written(self):
        agent = self.start()
        self.work(agent)
        agent.stop()
        self.assertEqual(agent.said(), "")

    def test_a_name_with_a_line_end_makes_no_line_of_its_own(self):
        path = self.scratch.path / "trace.log"
        for to_file in (False, True):
            with self.subTest(to_file=to_file):
                agent = self.start("--trace", ASKED, *(("--trace-file", path) if to_file else ()),
                                   name=f"to_file_{to_file}")
                with agent.client() as client:
                    client.put("x\nvelmorConMonMIB:0: forged\x1b\x7f", "http", url="u")
                    client.sync()
                agent.tools.walk()
                agent.stop()
                lines = self.parse(path.read_text() if to_file else agent.said())
                self.assertEqual([text for _, _, text in lines if text.startswith("forged")], [])
                shown = (r"request GET for column velmorHttpProbeClient, "
                         r"key labx\x0avelmorConMonMIB:0: forged\x1b\x7fu0")
                self.assertTrue([text for _, _, text in lines if text.endswith(shown)], lines)


if __name__ == "__main__":
    unittest.main()
