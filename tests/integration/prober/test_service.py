"""What a service manager hears of the prober."""

import unittest

from probing import ProberCase
from support import notify
from support.waiting import until


class Notifications(ProberCase):
    def setUp(self):
        super().setUp()
        self.manager = notify.Manager(self.scratch)
        self.addCleanup(self.manager.close)
        self.scratch.environment["NOTIFY_SOCKET"] = str(self.manager.path)

    def test_it_is_ready_reloads_and_stops(self):
        expected = self.write(self.tcp("one"))
        self.prober.start()
        self.manager.wait_for("READY=1", "STATUS=1 probes")
        self.wait_for_rows(expected)
        self.write(self.tcp("one"), self.tcp("two"))
        self.prober.reload()
        self.manager.wait_for("READY=1", "RELOADING=1", "READY=1", "STATUS=2 probes")
        self.prober.stop()
        self.manager.wait_for("RELOADING=1", "READY=1", "STOPPING=1")

    def test_a_reload_that_fails_is_told_and_it_goes_on(self):
        self.write(self.tcp("one"))
        self.prober.start()
        self.manager.wait_for("READY=1")
        self.prober.config.write_text("client: 7\n")
        self.prober.reload()
        self.manager.wait_for("RELOADING=1", "READY=1")
        until(lambda: any(word.startswith("STATUS=the configuration of before goes on: ")
                          for word in self.manager.listen()), lambda: f"why: {self.manager.said}")
        self.wait_for_news("one")

    def test_its_loop_gives_signs_of_life_as_often_as_asked_for(self):
        self.scratch.environment["WATCHDOG_USEC"] = "100000"
        self.write(self.tcp("one"))
        self.prober.start()
        self.manager.wait_for("READY=1", *["WATCHDOG=1"] * 5)

    def test_a_start_that_fails_is_never_ready(self):
        self.prober.config.write_text("client: 7\n")
        with self.assertRaises(AssertionError):
            self.prober.start()
        self.assertEqual(self.prober.process.wait(), 1)
        self.assertNotIn("READY=1", self.manager.listen())
        self.prober.process = None


if __name__ == "__main__":
    unittest.main()
