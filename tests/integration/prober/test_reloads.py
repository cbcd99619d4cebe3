"""SIGHUP: only what changed is restarted, and a file that cannot be used changes nothing."""

import os
import pathlib
import subprocess
import unittest

from probing import ANSWERED, PROBER, ProberCase
from support.waiting import PATIENCE, until

CTL = pathlib.Path(os.environ.get("CONMONCTL", PROBER.parent / "conmonctl"))

# Rounds that can be held for as long as a test takes.
HELD = ", interval: 30min, timeout: 20min"


class Reloads(ProberCase):
    def test_only_changed_probes_are_restarted(self):
        # Both probes wait for an answer during the reload. Only that of the probe which is changed
        # may hang up; the other's round goes on and gets its answer.
        kept, changed = self.http("kept", "/held/kept", HELD), self.http("changed", "/held/changed", HELD)
        self.write(kept, changed)
        self.prober.start()
        until(lambda: self.web.count("/held/kept") == self.web.count("/held/changed") == 1, "both requests")
        self.write(kept, self.http("changed", "/held/changed", HELD + ", headers: {X-Changed: yes}"))
        self.prober.reload()
        until(lambda: self.web.was_hung_up("/held/changed"), "the end of the changed probe's round")
        self.assertFalse(self.web.was_hung_up("/held/kept"))
        self.web.release()
        self.wait_for_outcomes({kept[1]: ANSWERED, changed[1]: ANSWERED})
        self.assertEqual(self.web.count("/held/kept"), 1)
        self.assertEqual(self.web.count("/held/changed"), 2)

    def test_rows_follow_the_configuration(self):
        one, two, three = self.tcp("one"), self.http("two"), self.icmp("three")
        self.write(one, two)
        self.prober.start()
        self.wait_for_rows([one[1], two[1]])
        for pairs in ((two, three), (three,), (one, two, three), (one,)):
            expected = self.write(*pairs)
            self.prober.reload()
            self.wait_for_rows(expected)

    def test_many_reloads_end_with_the_last_ones_rows(self):
        hosts = [self.tcp(f"tcp{n}") for n in range(8)] + [self.http(f"web{n}") for n in range(4)]
        self.write(*hosts)
        self.prober.start()
        for turn in range(25):
            expected = self.write(*hosts[turn % 5:turn % 5 + 7])
            self.prober.reload()
        self.wait_for_rows(expected)
        self.wait_for_news(expected[0].host)
        self.assertEqual(self.rows(), expected)

    def error_shown(self):
        """What conmonctl tells of the last load that failed; empty when the last one did not."""
        done = subprocess.run([CTL, "--socket", self.agent.feed_path, "stats",
                               "--probed-socket", self.prober.status_socket],
                              check=True, capture_output=True, text=True, timeout=PATIENCE)
        told = [line for line in done.stdout.splitlines() if line.startswith("error of the last load")]
        return told[0] if told else ""

    def test_a_file_that_cannot_be_used_changes_nothing_and_is_told(self):
        good = self.tcp("good")
        expected = self.write(good)
        self.prober.start()
        self.wait_for_rows(expected)
        for text, what in (("bogus: 1\n", "bogus: unknown key"), ("vrfs: [\n", "probes.yaml:")):
            self.write(self.http("other"), more=text)
            self.prober.reload()
            self.assertIn(what, self.prober.status()["configuration"]["error"])
            self.assertIn(what, self.error_shown())
            errors = [line for line in self.prober.process.stderr_lines if line.startswith("<3>")]
            self.assertTrue(errors and all("probes.yaml:" in line for line in errors[-1:]), errors)
            self.wait_for_news("good")
            self.assertEqual(self.rows(), expected)
        self.prober.config.unlink()
        self.prober.reload()
        self.wait_for_news("good")
        self.assertEqual(self.rows(), expected)
        expected = self.write(self.http("other"))
        self.prober.reload()
        self.assertIsNone(self.prober.status()["configuration"]["error"])
        self.assertEqual(self.error_shown(), "")
        self.wait_for_rows(expected)


if __name__ == "__main__":
    unittest.main()
