"""What a service manager and a journal get to see."""

import os
import signal
import unittest

from support import notify
from support.case import AgentCase
from support.waiting import until


class ServiceCase(AgentCase):
    def setUp(self):
        super().setUp()
        self.manager = notify.Manager(self.scratch)
        self.addCleanup(self.manager.close)

    def start_service(self, *arguments, **environment):
        self.scratch.environment.update(NOTIFY_SOCKET=str(self.manager.path), **environment)
        return self.start(*arguments)


class Notifications(ServiceCase):
    def test_it_is_ready_when_it_serves(self):
        agent = self.start_service()
        self.manager.wait_for("READY=1", "STATUS=serving")
        agent.check_alive()

    def test_its_loop_gives_signs_of_life_as_often_as_asked_for(self):
        self.start_service(WATCHDOG_USEC="100000")
        self.manager.wait_for(*["WATCHDOG=1"] * 5)

    def test_signs_of_life_of_another_process_are_not_given(self):
        agent = self.start_service(WATCHDOG_USEC="1000", WATCHDOG_PID="1")
        self.manager.wait_for("READY=1")
        agent.stop()
        self.manager.wait_for("READY=1", "STOPPING=1")
        self.assertNotIn("WATCHDOG=1", self.manager.said)

    def test_replacing_the_plug_ins_agent_is_a_reload(self):
        agent = self.start_service()
        self.manager.wait_for("READY=1")
        with agent.client() as client:
            client.put("h", "icmp", address="192.0.2.1")
            client.sync()
            agent.process.signal(signal.SIGHUP)
            self.manager.wait_for("READY=1", "RELOADING=1", "READY=1", "STATUS=serving")
            self.assertTrue(any(word.startswith("MONOTONIC_USEC=") for word in self.manager.said))
            client.sync()
        self.assert_serves(agent)

    def test_its_end_is_told(self):
        agent = self.start_service()
        self.manager.wait_for("READY=1")
        agent.stop()
        self.manager.wait_for("READY=1", "STOPPING=1")

    def test_a_manager_that_is_gone_is_no_concern(self):
        agent = self.start_service(WATCHDOG_USEC="10000")
        self.manager.wait_for("WATCHDOG=1")
        self.manager.close()
        with agent.client() as client:
            client.put("h", "icmp", address="192.0.2.1")
            client.sync()
        self.assert_serves(agent)


class Logs(AgentCase):
    def setUp(self):
        super().setUp()
        self.peer = f"process {os.getpid()}, user {os.getuid()}, group {os.getgid()}"

    def test_lines_begin_with_their_priority(self):
        records = self.scratch.file("records.jsonl", '{"op":"hello","client":"f"}\n{"op":"nope"}\n')
        agent = self.start("--feed-file", records)
        until(lambda: agent.log(), "the refusal")
        agent.stop()
        self.assertEqual(len(agent.log()), 1)
        self.assertRegex(agent.said(), rf"\A<4>{records}:2: op: ")

    def test_whose_records_are_fed_and_by_whom_is_always_logged(self):
        agent = self.start()
        with agent.client("lab") as client:
            client.sync()
        agent.feed_connection().close()
        agent.stop()
        self.assertEqual(agent.process.stderr_lines, [f'<5>feed: client "lab": {self.peer}'])

    def test_who_connects_is_logged_where_all_is(self):
        agent = self.start("--verbose")
        expected = f"<6>feed: connection from {self.peer}"
        until(lambda: expected in agent.process.stderr_lines, lambda: f"{expected!r} of {agent.process}")
        agent.stop()

    def test_no_secret_is_logged(self):
        secrets = ["s3cretAuth", "s3cretPriv", "s3cretCommunity", "s3cretUrl", "s3c"]
        conf = self.scratch.file("users.conf", (
            "createUser demo SHA s3cretAuth AES s3cretPriv s3cretPriv\n"
            "createUser short SHA s3c\n"
            "createUser other NOPE s3cretAuth\n"
            "createUser third SHA s3cretAuth NOPE s3cretPriv\n"
            "rocommunity s3cretCommunity 192.0.2.1/99\n"
            "rocommunity\n"
            "com2sec -Cn\n"
            "rouser\n"
            "nonsense s3cretAuth\n"))
        records = self.scratch.file("records.jsonl", (
            '{"op":"hello","client":"a"}\n'
            '{"op":"put","host":"bc","probe":"http","url":"http://me:s3cretUrl@h/"}\n'
            '{"op":"put","host":"b","probe":"http","url":"chttp://me:s3cretUrl@h/"}\n'
            '{"op":"put","host":"b","probe":"http","url":7,"password":"s3cretUrl"}\n'))
        agent = self.start("--verbose", "--snmp-conf", conf, "--feed-file", records,
                           "--community", "s3cretCommunity", listen=True)
        with agent.client() as client:
            client.sync()
        agent.stop()
        said = agent.process.stderr
        self.assertIn("have one row", said)
        self.assertIn("net-snmp: ", said)
        for secret in secrets:
            self.assertNotIn(secret, said)


if __name__ == "__main__":
    unittest.main()
