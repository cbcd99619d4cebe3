"""What a manager reads of a network that delays, loses and refuses, against what was injected."""

import os
import pathlib
import sys
import unittest

from probing import ANSWERED, NO_ANSWER, PROBER, ProberCase, outcome
from support.process import Process
from support.waiting import until

NETLAB = pathlib.Path(os.environ.get("CONMON_NETLAB", PROBER.parent / "conmon-netlab"))
WEB_PORT = 8080

DELAY = 50  # milliseconds on the way there; none on the way back
HOLD = 40  # milliseconds more for a third of the packets, so that others come before them
# A delay is never measured too short. That it is not measured too long shows in some round, as what a
# busy machine adds comes and goes.
MOST_ADDED = 1.3


def milliseconds(columns):
    for value, precision in (("LatencyValue", "LatencyPrecision"), ("ResponseTimeValue", "ResponseTimePrec")):
        if value in columns:
            return columns[value] * 10 ** -columns[precision]
    raise AssertionError(f"no time in {columns}")


class Network(ProberCase):
    def setUp(self):
        super().setUp()
        self.name = f"conmon-net-{os.getpid()}"
        fifo = self.scratch.path / "fifo"
        os.mkfifo(fifo)
        # It is up until its command, which reads to the end of the FIFO, has ended.
        lab = Process("conmon-netlab", [
            NETLAB, self.name, f"10.99.0.2,delay={DELAY}", "10.99.0.3,lost=100", "10.99.0.4,lost=50",
            f"10.99.0.5,delay={DELAY},doubled=100", f"10.99.0.6,delay={DELAY},held=33,hold={HOLD}",
            "--", "sh", "-c", f"echo up; exec cat {fifo}"], self.scratch)
        self.addCleanup(lab.close)
        self.addCleanup(lab.wait)
        until(lambda: "up" in lab.output("stdout") or lab.status is not None, lambda: f"the network of {lab}")
        self.assertIsNone(lab.status, str(lab))
        self.addCleanup(os.close, os.open(fifo, os.O_WRONLY))
        www = self.scratch.path / "www"
        www.mkdir()
        server = Process("web", ["ip", "netns", "exec", f"{self.name}-far", sys.executable, "-m",
                                 "http.server", "--directory", www, "--bind", "0.0.0.0", WEB_PORT], self.scratch)
        self.addCleanup(server.close)
        # A record of somebody else, so that the VRF can be asked for before the first result.
        with self.agent.client("other") as client:
            client.put("other", "http", vrf="lab", url="u")
            client.sync()

    def probe(self, *hosts):
        self.prober.write([f"{{name: {name}, vrf: lab, address: {address}, {probes}}}"
                           for name, address, probes in hosts],
                          defaults="interval: 2s, timeout: 1500ms, burst: 4, burst-gap: 10ms",
                          more=f"vrfs: {{lab: {{netns: {self.name}}}}}\n")
        self.prober.start()

    def seen(self):
        """{(probe, host): columns}"""
        return {(each.probe, each.host): columns for each, columns in self.table("lab")
                if columns["Client"] == b"lab"}

    def check_times(self, *hosts):
        """Rounds of all probes of the hosts are answered, no sooner than the network let them be."""
        self.probe(*((name, address, f"icmp: , tcp: {{port: {WEB_PORT}}}, "
                                     f'http: {{url: "http://{address}:{WEB_PORT}/"}}')
                     for name, address in hosts))
        # An exchange by HTTP goes there twice, for the connection and for the request.
        least = {(probe, name): DELAY * ways for name, _ in hosts
                 for probe, ways in (("icmp", 1), ("tcp", 1), ("http", 2))}
        missing = set(least)

        def look():
            for probe, columns in self.seen().items():
                if outcome(columns) == ANSWERED:
                    ratio = milliseconds(columns) / least[probe]
                    self.assertGreaterEqual(ratio, 0.999, columns)  # a float's digits
                    if ratio <= MOST_ADDED:
                        missing.discard(probe)
            return not missing

        until(look, lambda: f"good times of {missing} in place of {self.seen()}; {self.prober.process}")

    def test_times_are_those_that_the_network_took(self):
        self.check_times(("h", "10.99.0.2"))

    def test_packets_that_come_twice_or_in_another_order_change_no_result(self):
        # Held packets make a round longer; some round has none of them where it counts.
        self.check_times(("doubled", "10.99.0.5"), ("reordered", "10.99.0.6"))

    def test_what_the_network_does_to_a_probe_is_told(self):
        self.probe(("lost", "10.99.0.3", f"icmp: , tcp: {{port: {WEB_PORT}}}, "
                                         f'http: {{url: "http://10.99.0.3:{WEB_PORT}/"}}'),
                   ("refused", "10.99.0.2", "tcp: {port: 9}"),
                   ("unreachable", "10.97.0.1", "icmp: , tcp: {port: 9}"),
                   ("half", "10.99.0.4", "icmp: {burst: 20}"))
        silent = {("icmp", "lost"), ("tcp", "lost"), ("http", "lost"), ("tcp", "refused"),
                  ("icmp", "unreachable"), ("tcp", "unreachable")}
        until(lambda: set(self.seen()) == silent | {("icmp", "half")}, lambda: f"{self.seen()}")
        self.assertEqual({outcome(self.seen()[probe]) for probe in silent}, {NO_ANSWER})
        half = self.seen()["icmp", "half"]
        self.assertEqual(outcome(half), ANSWERED)
        self.assertGreater(half["PacketLoss"], 0)
        for line in (f"<4>lost (vrf lab) tcp 10.99.0.3 port {WEB_PORT}: timed out",
                     f"<4>lost (vrf lab) http http://10.99.0.3:{WEB_PORT}/: timed out connecting",
                     "<4>refused (vrf lab) tcp 10.99.0.2 port 9: refused",
                     "<4>unreachable (vrf lab) tcp 10.97.0.1 port 9: unreachable: No route to host"):
            until(lambda: line in self.prober.process.stderr_lines,
                  lambda: f"{line!r} of {self.prober.process}")


if __name__ == "__main__":
    unittest.main()
