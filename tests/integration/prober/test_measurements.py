"""What a manager reads of targets that answer and of those that do not."""

import unittest

from probing import ANSWERED, NO_ANSWER, ProberCase, row

# Long enough for a busy machine to answer in.
PATIENT = "interval: 20s, timeout: 15s, burst: 2, burst-gap: 1ms"


class Measurements(ProberCase):
    def test_what_answers_has_times_and_what_does_not_has_none(self):
        good = [self.tcp("tcp"), self.http("web"), self.icmp("v4"), self.icmp("v6", "::1")]
        bad = [self.tcp("refused", self.refusing_port), self.http("broken", "/status/500"),
               self.http("moved", "/status/404", more=", expected-status: 200-299")]
        self.write(*good, *bad, defaults=PATIENT)
        self.prober.start()
        self.wait_for_outcomes({**{each: ANSWERED for _, each in good},
                                **{each: NO_ANSWER for _, each in bad}})

    def test_a_status_that_is_expected_is_an_answer(self):
        host, expected = self.http("gone", "/status/410", more=", expected-status: 410")
        self.write((host, expected), defaults=PATIENT)
        self.prober.start()
        self.wait_for_outcomes({expected: ANSWERED})

    def test_a_refused_http_connection_has_no_time(self):
        url = f"http://127.0.0.1:{self.refusing_port}/"
        self.prober.write([f'{{name: down, http: {{url: "{url}"}}}}'], defaults=PATIENT)
        self.prober.start()
        self.wait_for_outcomes({row("http", "down", url): NO_ANSWER})

    def test_the_log_tells_refused_from_an_unexpected_status(self):
        self.write(self.tcp("down", self.refusing_port), self.http("broken", "/status/500"),
                   defaults=PATIENT)
        self.prober.start()
        self.wait_for_rows([self.tcp("down", self.refusing_port)[1], self.http("broken", "/status/500")[1]])
        lines = self.prober.process.stderr_lines
        self.assertTrue(all(line[:3] in ("<3>", "<4>") for line in lines), lines)
        self.assertEqual([line for line in lines if "down" in line],
                         [f"<4>down (vrf default) tcp 127.0.0.1 port {self.refusing_port}: refused"])
        self.assertEqual(len([line for line in lines if "status 500, expected 200-399" in line]), 1, lines)

    def test_a_namespace_is_a_vrf_with_targets_of_its_own(self):
        blue = self.namespace("blue")
        blue.answer_no_echo()
        # A record of somebody else: the VRF can be asked for before the first result is there.
        other = row("http", "other", "u")
        with self.agent.client("other") as client:
            client.put("other", "http", vrf="blue", url="u")
            client.sync()
        port = self.web.port
        self.prober.write(
            ['{name: h, address: 127.0.0.1, icmp: {timeout: 1s}}',
             f'{{name: h, vrf: blue, address: 127.0.0.1, icmp: {{timeout: 1s}}, tcp: {{port: {port}}}}}'],
            more=f"vrfs: {{blue: {{netns: {blue.name}}}}}\n", defaults=PATIENT)
        self.prober.start()
        self.wait_for_outcomes({row("icmp", "h", "127.0.0.1"): ANSWERED})
        # The web server is not in there, and nobody answers echo requests.
        self.wait_for_outcomes({row("icmp", "h", "127.0.0.1"): NO_ANSWER,
                                row("tcp", "h", "127.0.0.1", port): NO_ANSWER, other: NO_ANSWER}, "blue")

    def test_a_probe_through_an_interface_has_a_row_of_its_own(self):
        with self.agent.client("interfaces") as client:
            client.interface("lo", 1)
        self.prober.write(['{name: h, address: 127.0.0.1, icmp: [{}, {interface: lo}]}'], defaults=PATIENT)
        self.prober.start()
        self.wait_for_outcomes({row("icmp", "h", "127.0.0.1"): ANSWERED,
                                row("icmp", "h", "127.0.0.1", if_index=1): ANSWERED})

    def test_a_probe_that_cannot_be_made_has_no_row(self):
        with self.agent.client("interfaces") as client:
            client.interface("nosuchif0", 9)
        good, expected = self.tcp("good")
        self.prober.write([good, '{name: bad, address: 127.0.0.1, icmp: {interface: nosuchif0}}'])
        self.prober.start()
        self.wait_for_rows([expected])
        self.wait_for_news("bad")
        self.assertEqual(self.rows(), [expected])
        self.assertTrue(any("not measured: " in line and "nosuchif0" in line
                            for line in self.prober.process.stderr_lines))


if __name__ == "__main__":
    unittest.main()
