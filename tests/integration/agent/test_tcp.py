"""SNMP over TCP, and peers that must not hold the agent."""

import contextlib
import socket
import unittest

from support import ber, layout, sockets, tools
from support.case import AgentCase
from support.waiting import PATIENCE, until

MOST_PEERS = 64


class Tcp(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start_with_tcp()
        with self.agent.client() as client:
            for n in range(20):
                client.put(f"h{n}", "icmp", address="192.0.2.1", latency=1)
            client.sync()

    def start_with_tcp(self):
        """Somebody else may take the port meanwhile."""
        for _ in range(5):
            with socket.socket() as probe:
                probe.bind(("127.0.0.1", 0))
                self.port = probe.getsockname()[1]
            try:
                return self.start("--listen", f"tcp:127.0.0.1:{self.port}")
            except AssertionError as error:
                if "no free port" not in str(error):
                    raise
        raise AssertionError("no free port")

    def connect(self, receive_buffer=None):
        peer = socket.socket()
        self.addCleanup(peer.close)
        peer.settimeout(PATIENCE)
        if receive_buffer:
            peer.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        peer.connect(("127.0.0.1", self.port))
        return peer

    @staticmethod
    def request(oid=layout.SYS_DESCR, kind=ber.GET, repetitions=0):
        return ber.message(kind, [ber.varbind(oid)], third=repetitions)

    def ask(self, peer):
        """The octets of one answer."""
        peer.sendall(self.request())
        return peer.recv(65_536)

    def assert_hung_up(self, peer):
        with contextlib.suppress(ConnectionError):
            while peer.recv(65_536):
                pass

    def test_the_tables_are_read_over_tcp_as_over_udp(self):
        over_tcp = tools.Tools(self.scratch, f"tcp:127.0.0.1:{self.port}")
        self.assertEqual(over_tcp.get(layout.SYS_DESCR), self.agent.tools.get(layout.SYS_DESCR))
        rows = over_tcp.walk()
        self.assertTrue(rows)
        self.assert_varbinds(rows, self.agent.tools.walk())

    def test_several_requests_in_pieces_are_answered_on_one_connection(self):
        peer = self.connect()
        one = len(self.ask(peer))
        octets = self.request() * 3
        for at in range(0, len(octets), 7):
            peer.sendall(octets[at:at + 7])
        got = 0
        while got < 3 * one:
            got += len(peer.recv(65_536))
        self.assertEqual(got, 3 * one)

    def test_peers_that_say_nothing_or_half_a_request_hold_nobody(self):
        for octets in (b"", self.request()[:9], b"\x30\x84\x7f\xff\xff\xf0"):
            self.connect().sendall(octets)
        self.assertTrue(self.ask(self.connect()))
        self.agent.check_alive()

    def test_a_peer_that_does_not_read_its_answers_is_hung_up_on(self):
        peer = self.connect(receive_buffer=4096)
        question = self.request(layout.OBJECTS, ber.GETBULK, repetitions=100)
        with self.assertRaises(ConnectionError):
            for _ in range(1_000_000):
                peer.sendall(question)
        self.agent.check_alive()

    def test_a_peer_that_sends_much_and_no_request_is_hung_up_on(self):
        peer = self.connect()
        with contextlib.suppress(ConnectionError):
            peer.sendall(b"\x30\x84\x7f\xff\xff\xf0" + bytes(100_000))
        self.assert_hung_up(peer)
        self.agent.check_alive()

    def test_the_one_longest_silent_makes_room_for_another(self):
        peers = [self.connect() for _ in range(MOST_PEERS)]
        for peer in peers:
            self.assertTrue(self.ask(peer))
        self.assertTrue(self.ask(peers[0]))
        self.assertTrue(self.ask(self.connect()))
        self.assert_hung_up(peers[1])
        self.assertTrue(self.ask(peers[0]))

    def test_closed_connections_leave_nothing_open(self):
        before = sockets.inet_sockets(self.agent.pid)
        peers = [self.connect() for _ in range(10)]
        for peer in peers:
            self.ask(peer)
            peer.close()
        until(lambda: sockets.inet_sockets(self.agent.pid) == before, "the end of the connections")


if __name__ == "__main__":
    unittest.main()
