"""Feed clients that misbehave, and those beside them, which must not notice."""

import json
import os
import socket
import unittest

from support import feed, layout
from support.case import AgentCase
from support.waiting import until

MEGABYTE = 1_000_000


class Neighbours(AgentCase):
    """A good client that has a record, and is asked for another one after each misdeed."""

    def setUp(self):
        super().setUp()
        self.agent = self.start()
        self.good = self.agent.client("good")
        self.good.put("before", "http", url="u", responseTime=1)
        self.good.sync()

    def assert_unharmed(self):
        self.good.put(f"after{self.agent.model.turns}", "icmp", address="192.0.2.1", latency=2)
        self.good.sync()
        self.assert_serves(self.agent)
        self.assertEqual(self.agent.said(), "")

    def bad(self, hello=True):
        connection = self.agent.feed_connection()
        if hello:
            self.assertEqual(connection.ask(op="hello", client="bad", holdSeconds=0), {"ok": True})
        return connection

    def test_garbage(self):
        bad = self.bad(hello=False)
        bad.send(bytes(range(256)) * 100 + b"\n")
        for _ in range(101):
            self.assertFalse(bad.answer()["ok"])
        self.assert_unharmed()
        self.assertEqual(bad.ask(op="hello", client="bad"), {"ok": True})

    def test_half_a_line_and_then_nothing(self):
        bad = self.bad()
        bad.send(b'{"op":"put","host":"half","probe":"http","ur')
        self.assert_unharmed()
        bad.send(b'l":"u"}\n')
        self.assertEqual(bad.answer(), {"ok": True})

    def test_an_end_in_the_middle_of_a_line(self):
        for half in (b"{", b'{"op":"put","host":"half","probe":"http","url":"u"}'):
            bad = self.bad()
            bad.send(b'{"op":"removeHost","host":"x"}\n' + half)
            bad.close()
            self.assert_unharmed()

    def test_a_line_of_ten_megabytes(self):
        bad = self.bad()
        with self.assertRaises((BrokenPipeError, ConnectionResetError)):
            for _ in range(10):
                bad.send(b"x" * MEGABYTE)
        self.assert_unharmed()
        answer = bad.answer()
        self.assertEqual((answer["ok"], answer["line"]), (False, 2))
        self.assertIn("65536", answer["error"])
        self.assertIsNone(bad.answer())
        self.assert_unharmed()

    def test_what_stands_before_a_line_that_is_too_long_counts(self):
        lasting = self.agent.client("lasting")
        line = {"op": "put", "host": "kept", "probe": "http", "url": "u"}
        lasting.connection.send(json.dumps(line).encode() + b"\n" + b"x" * 70_000)
        self.assertEqual(lasting.connection.answer(), {"ok": True})
        self.assertFalse(lasting.connection.answer()["ok"])
        self.assertIsNone(lasting.connection.answer())
        self.agent.model.apply("lasting", line)
        self.assert_unharmed()

    def test_answers_that_nobody_reads(self):
        bad = self.bad()
        line = b'{"op":"removeHost","host":"nobody"}\n'
        taken = bad.send_while_taken(line * 100_000)
        self.assertLess(taken, len(line) * 100_000, "all was taken: nothing bounds the answers")
        self.assert_unharmed()
        # Once it reads, it gets every answer.
        for _ in range(taken // len(line)):
            self.assertEqual(bad.answer(), {"ok": True})
        self.assert_unharmed()

    def test_a_client_that_dies_without_having_read_its_answers(self):
        for _ in range(3):
            bad = self.bad()
            bad.send_while_taken(b'{"op":"sync"}\n' * 20_000)
            bad.close()
            self.assert_unharmed()

    def test_a_client_that_only_stops_sending_still_gets_its_answers(self):
        with self.agent.client("brief") as brief:
            line = {"op": "put", "host": "brief", "probe": "http", "url": "u"}
            brief.connection.send(json.dumps(line).encode() + b"\n" + b'{"op":"sync"}\n')
            brief.connection.end_sending()
            self.assertEqual([brief.connection.answer() for _ in range(3)],
                             [{"ok": True}, {"ok": True}, None])
            self.agent.model.apply("brief", line)
        self.assert_unharmed()

    def test_connections_that_say_nothing(self):
        silent = [feed.Connection(self.agent.feed_path) for _ in range(100)]
        self.assert_unharmed()
        for connection in silent:
            connection.close()
        self.assert_unharmed()

    def test_more_connections_than_are_served_at_once_are_served_in_turn(self):
        crowd = [feed.Connection(self.agent.feed_path) for _ in range(300)]
        self.assert_unharmed()
        for number, connection in enumerate(crowd):
            # Its place is free when it closes, so the last ones are served too.
            self.assertEqual(connection.ask(op="hello", client=f"c{number}"), {"ok": True})
            connection.close()
        self.assert_unharmed()

    def test_connections_that_come_and_go_leave_no_descriptors_behind(self):
        folder = f"/proc/{self.agent.pid}/fd"
        before = len(os.listdir(folder))
        for number in range(300):
            with feed.Connection(self.agent.feed_path) as connection:
                if number % 3:
                    connection.send(b'{"op":"hello","client":"x"}\n{"op"')
        self.assert_unharmed()
        until(lambda: len(os.listdir(folder)) <= before, "the connections' descriptors to be closed")

    def test_a_flood_of_records_delays_neither_requests_nor_others(self):
        flood = self.agent.client("flood")
        lines = [{"op": "put", "host": f"h{at}", "vrf": "flood", "probe": "tcp",
                  "address": "192.0.2.1", "port": 1 + at % 60_000} for at in range(5_000)]
        data = b"".join(json.dumps(line).encode() + b"\n" for line in lines)
        sent = flood.connection.send_while_taken(data[:2 * MEGABYTE])
        self.assert_unharmed()
        flood.connection.send(data[sent:])
        for line in lines:
            self.assertEqual(flood.connection.answer(), {"ok": True})
        flood.sync()
        self.assert_unharmed()

    def test_clients_have_records_of_their_own(self):
        # The same probe of two clients is two records; each removes its own only.
        other = self.agent.client("other")
        for client in (self.good, other):
            client.put("same", "tcp", address="192.0.2.1", port=1)
        self.good.sync()
        other.say("removeClient")
        other.say("removeHost", host="before")
        other.remove("before", "http", url="u")
        other.sync()
        self.assert_unharmed()
        self.assertEqual(len(self.agent.model.rows()["tcp"]), 1)

    def test_sync_waits_for_what_all_clients_said_before(self):
        other = self.agent.client("other")
        self.good.say_all([{"op": "put", "host": f"h{at}", "probe": "http", "url": "u"}
                           for at in range(2_000)])
        other.sync()
        self.assert_serves(self.agent)


class Sockets(AgentCase):
    def test_a_socket_left_behind_by_a_process_that_is_gone_is_replaced(self):
        path = self.scratch.path / "left.sock"
        with socket.socket(socket.AF_UNIX) as left:
            left.bind(str(path))
        agent = self.start("--feed", path, feed_socket=False)
        connection = until(lambda: self.connected(path), "a connection")
        self.assertEqual(connection.ask(op="hello", client="lab"), {"ok": True})
        connection.close()
        agent.stop()
        self.assertFalse(path.exists(), "the socket has to go with the agent")

    @staticmethod
    def connected(path):
        try:
            return feed.Connection(path)
        except ConnectionRefusedError:
            return None

    def test_a_socket_that_somebody_listens_at_is_left_alone(self):
        first = self.start()
        second = self.run_to_end("--feed", first.feed_path, "--listen", "udp:127.0.0.1:1")
        self.assertEqual(second.status, 1)
        first.check_alive()

    def test_requests_are_answered_without_any_feed(self):
        agent = self.start(feed_socket=False)
        self.assertEqual(agent.tools.walk(), [])
        self.assertEqual(agent.snmp.get(layout.SYS_DESCR).error, 0)


if __name__ == "__main__":
    unittest.main()
