"""Each line that the feed refuses, through the socket, with the answer it gets and no effect."""

import json
import unittest

from support.case import AgentCase

PUT = {"op": "put", "host": "h", "probe": "icmp", "address": "192.0.2.1"}
HTTP = {"op": "put", "host": "h", "probe": "http", "url": "u"}
TCP = {"op": "put", "host": "h", "probe": "tcp", "address": "192.0.2.1", "port": 80}
REMOVE = {"op": "remove", "host": "h", "probe": "icmp", "address": "192.0.2.1"}
INTERFACE = {"op": "interface", "name": "eth1", "ifIndex": 1}
REMOVE_HOST = {"op": "removeHost", "host": "h", "vrf": "default"}

TOO_LARGE = 2 * 10**400  # beyond every double


def without(line, field):
    return {name: value for name, value in line.items() if name != field}


# (field that the error names, line)
REFUSED = [
    ("op", without(PUT, "op")),
    ("op", {**PUT, "op": "insert"}),
    ("op", {**PUT, "op": ""}),
    ("op", {**PUT, "op": "Put"}),
    ("op", {**PUT, "op": 1}),

    ("host", without(PUT, "host")),
    ("host", {**PUT, "host": ""}),
    ("host", {**PUT, "host": "h" * 256}),
    ("host", {**PUT, "host": "é" * 128}),  # bytes count, not characters
    ("host", {**PUT, "host": 1}),
    ("host", {**PUT, "host": None}),
    ("host", {**PUT, "host": ["h"]}),
    ("host", {**PUT, "host": {"name": "h"}}),
    ("host", {**PUT, "host": "nul\0"}),
    ("vrf", {**PUT, "vrf": "v" * 33}),
    ("vrf", {**PUT, "vrf": "é" * 17}),
    ("vrf", {**PUT, "vrf": 0}),
    ("vrf", {**PUT, "vrf": None}),
    ("probe", without(PUT, "probe")),
    ("probe", {**PUT, "probe": ""}),
    ("probe", {**PUT, "probe": "udp"}),
    ("probe", {**PUT, "probe": "ICMP"}),
    ("probe", {**PUT, "probe": 1}),
    ("interface", {**PUT, "interface": "i" * 65}),
    ("interface", {**PUT, "interface": 1}),
    ("interface", {**PUT, "interface": False}),

    ("address", without(PUT, "address")),
    ("address", without(TCP, "address")),
    ("address", {**PUT, "address": ""}),
    ("address", {**PUT, "address": "192.0.2"}),
    ("address", {**PUT, "address": "192.0.2.256"}),
    ("address", {**PUT, "address": "192.0.2.1 "}),
    ("address", {**PUT, "address": "web1"}),
    ("address", {**PUT, "address": "fe80::1%eth0"}),
    ("address", {**PUT, "address": "2001:db8::1::2"}),
    ("address", {**PUT, "address": "0" * 1000}),
    ("address", {**PUT, "address": 3221225985}),
    ("address", {**HTTP, "address": "192.0.2.1"}),
    ("url", without(HTTP, "url")),
    ("url", {**HTTP, "url": ""}),
    ("url", {**HTTP, "url": "u" * 256}),
    ("url", {**HTTP, "url": 1}),
    ("url", {**PUT, "url": "u"}),
    ("port", without(TCP, "port")),
    ("port", {**TCP, "port": 0}),
    ("port", {**TCP, "port": 65536}),
    ("port", {**TCP, "port": -1}),
    ("port", {**TCP, "port": 80.5}),
    ("port", {**TCP, "port": "80"}),
    ("port", {**TCP, "port": TOO_LARGE}),
    ("port", {**PUT, "port": 80}),

    ("latency", {**PUT, "latency": "1"}),
    ("latency", {**PUT, "latency": None}),
    ("latency", {**PUT, "latency": True}),
    ("latency", {**PUT, "latency": 3.5e38}),
    ("latency", {**PUT, "latency": -3.5e38}),
    ("latency", {**PUT, "latency": TOO_LARGE}),
    ("latency", {**TCP, "latency": [1]}),
    ("latency", {**HTTP, "latency": 1}),
    ("jitter", {**PUT, "jitter": {}}),
    ("jitter", {**PUT, "jitter": 1e39}),
    ("jitter", {**TCP, "jitter": 1}),
    ("packetLoss", {**PUT, "packetLoss": -0.001}),
    ("packetLoss", {**PUT, "packetLoss": 100.001}),
    ("packetLoss", {**PUT, "packetLoss": "0"}),
    ("packetLoss", {**TCP, "packetLoss": 0}),
    ("responseTime", {**HTTP, "responseTime": "fast"}),
    ("responseTime", {**HTTP, "responseTime": 1e39}),
    ("responseTime", {**PUT, "responseTime": 1}),

    ("latency", {**REMOVE, "latency": 1}),
    ("address", without(REMOVE, "address")),
    ("host", without(REMOVE, "host")),
    ("vrf", {**REMOVE, "vrf": "v" * 33}),
    ("host", without(REMOVE_HOST, "host")),
    ("vrf", {**REMOVE_HOST, "vrf": "v" * 33}),
    ("probe", {**REMOVE_HOST, "probe": "icmp"}),
    ("host", {"op": "removeClient", "host": "h"}),
    ("client", {"op": "removeClient", "client": "lab"}),
    ("host", {"op": "sync", "host": "h"}),

    ("name", without(INTERFACE, "name")),
    ("name", {**INTERFACE, "name": ""}),
    ("name", {**INTERFACE, "name": "i" * 65}),
    ("name", {**INTERFACE, "name": 1}),
    ("ifIndex", without(INTERFACE, "ifIndex")),
    ("ifIndex", {**INTERFACE, "ifIndex": 0}),
    ("ifIndex", {**INTERFACE, "ifIndex": -1}),
    ("ifIndex", {**INTERFACE, "ifIndex": 2147483648}),
    ("ifIndex", {**INTERFACE, "ifIndex": 4294967296}),
    ("ifIndex", {**INTERFACE, "ifIndex": 1.5}),
    ("ifIndex", {**INTERFACE, "ifIndex": "1"}),
    ("host", {**INTERFACE, "host": "h"}),

    ("colour", {**PUT, "colour": "red"}),
    ("Host", {**PUT, "Host": "h"}),
    ("x" * 40, {**PUT, "x" * 10_000: 1}),
]

# Before a hello was accepted.
REFUSED_HELLOS = [
    ("client", {"op": "hello"}),
    ("client", {"op": "hello", "client": ""}),
    ("client", {"op": "hello", "client": "c" * 256}),
    ("client", {"op": "hello", "client": 1}),
    ("client", {"op": "hello", "client": "a\0b"}),
    ("holdSeconds", {"op": "hello", "client": "lab", "holdSeconds": -1}),
    ("holdSeconds", {"op": "hello", "client": "lab", "holdSeconds": -0.001}),
    ("holdSeconds", {"op": "hello", "client": "lab", "holdSeconds": "5"}),
    ("holdSeconds", {"op": "hello", "client": "lab", "holdSeconds": None}),
    ("holdSeconds", {"op": "hello", "client": "lab", "holdSeconds": TOO_LARGE}),
    ("host", {"op": "hello", "client": "lab", "host": "h"}),
    ("op", PUT),
    ("op", REMOVE),
    ("op", REMOVE_HOST),
    ("op", INTERFACE),
    ("op", {"op": "removeClient"}),
    ("op", {"op": "sync"}),
]

NO_JSON_OBJECT = [
    b"", b" ", b"hello", b"[]", b"1", b'"put"', b"null", b"true", b"{", b"}", b'{"op"', b'{"op":}',
    b"{'op':'sync'}", b'{"op":"sync"', b'{"op":"sync",}', b'{"op":"sync"}}', b'{"op":"sync"}{"op":"sync"}',
    b'{"op":"sync"} x', b"[" * 50_000, b'{"op":' * 9_000, b'{"op":"sync"}\0', b"\0" * 100,
    b'\xff\xfe{"op":"sync"}', b'{"op":"\xc3\x28"}', b'{"op":"\xed\xa0\x80"}', b'{"op":"\\ud800"}',
    b'{"op":"a\tb"}', b'{"op":+1}', b'{"op":01}', b'{"op":.5}', b'{"op":NaN}', b'{"op":Infinity}',
    b'{"op":"sync","op":"sync"}', b"\x7fELF\x02\x01\x01\x00", bytes(range(11, 256)),
]


class Refusals(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start()
        self.client = self.agent.client("lab")
        self.client.interface("eth1", 7)
        self.client.put("h", "icmp", address="192.0.2.1", interface="eth1", latency=1)
        self.client.put("h", "http", url="u", responseTime=2)
        self.client.sync()
        # Lines of the client's connection up to here: hello, interface, put, put, sync.
        self.lines = 5

    def assert_refusal(self, answer, line, field=None):
        self.assertIsNotNone(answer, "the connection has ended")
        self.assertEqual(set(answer), {"ok", "error", "line"}, answer)
        self.assertIs(answer["ok"], False)
        self.assertIs(type(answer["line"]), int)
        self.assertEqual(answer["line"], line, answer)
        self.assertIs(type(answer["error"]), str)
        self.assertNotEqual(answer["error"], "")
        if field is not None:
            self.assertIn(field, answer["error"])

    def test_each_refused_line_is_told_its_field_and_number_and_changes_nothing(self):
        for number, (field, line) in enumerate(REFUSED, self.lines + 1):
            with self.subTest(field=field, line=json.dumps(line)[:200]):
                self.assert_refusal(self.client.connection.ask(**line), number, field)
        self.client.sync()
        self.assert_serves(self.agent)

    def test_each_refused_hello_leaves_the_client_unknown(self):
        connection = self.agent.feed_connection()
        for number, (field, line) in enumerate(REFUSED_HELLOS, 1):
            with self.subTest(field=field, line=json.dumps(line)[:200]):
                self.assert_refusal(connection.ask(**line), number, field)
        self.assertEqual(connection.ask(op="hello", client="late"), {"ok": True})
        self.assertEqual(connection.ask(op="sync"), {"ok": True})
        self.assert_serves(self.agent)

    def test_a_second_hello_is_refused(self):
        for name in ("lab", "other"):
            self.lines += 1
            self.assert_refusal(self.client.connection.ask(op="hello", client=name), self.lines, "op")

    def test_a_line_that_is_no_object_is_refused_and_the_connection_goes_on(self):
        for number, line in enumerate(NO_JSON_OBJECT, self.lines + 1):
            with self.subTest(line=line[:100]):
                self.assert_refusal(self.client.connection.ask_text(line), number)
        self.client.put("after", "http", url="u")
        self.client.sync()
        self.assert_serves(self.agent)

    def test_a_field_given_twice_is_refused_by_name(self):
        line = b'{"op":"put","host":"h","host":"i","probe":"http","url":"u"}'
        self.assert_refusal(self.client.connection.ask_text(line), self.lines + 1, "host")

    def test_answers_are_one_line_each_whatever_was_sent(self):
        names = ["new\nline", 'quo"te', "back\\slash", "é", "\x7f", "\u2028"]
        self.client.connection.send(b"".join(
            json.dumps({"op": "put", name: 1}).encode() + b"\n" for name in names))
        for number, _ in enumerate(names, self.lines + 1):
            self.assert_refusal(json.loads(self.client.connection.line().decode()), number)

    def test_lines_are_answered_in_order_when_many_come_at_once(self):
        lines = [b'{"op":"sync"}', b"no", b'{"op":"sync"}', b"{}", b'{"op":"removeHost","host":"x"}'] * 40
        self.client.connection.send(b"\n".join(lines) + b"\n")
        for number, line in enumerate(lines, self.lines + 1):
            answer = self.client.connection.answer()
            if line in (b"no", b"{}"):
                self.assert_refusal(answer, number)
            else:
                self.assertEqual(answer, {"ok": True})

    def test_a_line_may_come_in_single_octets(self):
        line = b'{"op":"put","host":"slow","probe":"http","url":"\xc3\xa9"}\n'
        for octet in line:
            self.client.connection.send(bytes([octet]))
        self.assertEqual(self.client.connection.answer(), {"ok": True})
        self.client.model.apply("lab", json.loads(line))
        self.client.sync()
        self.assert_serves(self.agent)

    def test_a_line_of_65536_bytes_is_the_longest(self):
        line = b'{"op":"put","host":"long","probe":"http","url":"u"}'
        self.assertEqual(self.client.connection.ask_text(line.ljust(65_536)), {"ok": True})
        self.client.model.apply("lab", json.loads(line))
        self.client.sync()
        self.assert_serves(self.agent)
        self.assert_refusal(self.client.connection.ask_text(line.ljust(65_537)), self.lines + 3, "65536")
        self.assertIsNone(self.client.connection.answer(), "the connection has to end")
        self.assert_serves(self.agent)

    def test_what_is_allowed_at_the_bounds_is_not_refused(self):
        self.client.put("h" * 255, "http", url="u" * 255, vrf="v" * 32, interface="i" * 64)
        self.client.put("h", "icmp", address="192.0.2.1", packetLoss=0)
        self.client.put("h", "icmp", address="192.0.2.1", packetLoss=100, latency=3.4e38)
        self.client.put("h", "icmp", address="192.0.2.1", packetLoss=1e2, vrf="", interface="")
        self.client.put("h", "tcp", address="::", port=1.0)
        self.client.put("h", "tcp", address="::", port=65535)
        self.client.interface("i" * 64, 2147483647)
        self.client.remove("absent", "http", url="u")
        self.client.say("removeHost", host="absent")
        self.client.sync()
        self.assert_serves(self.agent)


if __name__ == "__main__":
    unittest.main()
