"""The running agent through the MIB text, and through a client that shares no code with it."""

import json
import unittest

from support import layout, places, projection, tools
from support.case import SharedAgentCase
from support.process import Scratch
from support.waiting import PATIENCE

MODULE = "VELMOR-CONMON-MIB"
USERS = "createUser demo SHA demo-auth-pass AES demo-priv-pass\nrouser demo priv -V conmonLocal *\n"
PREFIXES = {"icmp": "velmorIcmpProbe", "http": "velmorHttpProbe", "tcp": "velmorTcpProbe"}


class WithRecords(SharedAgentCase):
    @classmethod
    def setUpClass(cls):
        cls.users = Scratch()
        cls.addClassCleanup(cls.users.remove)
        cls.arguments = ("--snmp-conf", cls.users.file("users.conf", USERS))
        super().setUpClass()

    @classmethod
    def prepare(cls):
        with cls.agent.client("lab") as client:
            client.interface("eth1", 7)
            for vrf in ("default", "blue"):
                for at in range(12):
                    client.put(f"{vrf}{at}", "icmp", vrf=vrf, address=f"192.0.2.{at}", interface="eth1",
                               latency=at * 1.5, jitter=0.25, packetLoss=at)
                    client.put(f"{vrf}{at}", "http", vrf=vrf, url="http://x/" + "y" * at, responseTime=at)
                    client.put(f"{vrf}{at}", "tcp", vrf=vrf, address=f"2001:db8::{at}", port=at + 1,
                               interface="eth1", latency=0.125)
            # What the text must also allow: the largest, the smallest, and a key of 90 octets.
            client.put("extreme", "icmp", address="::", latency=3e38, jitter=3e6, packetLoss=100)
            client.put("h" * 255, "http", url="u" * 255, responseTime=-3e6)
            client.sync()


class Names(WithRecords):
    def named(self, program, *arguments, access=None):
        """The output of a program that knows the MIB by name, and complains of nothing."""
        done = self.agent.tools.run(
            program, *(access or tools.v2c()), "-r", 2, "-t", PATIENCE / 3, *arguments,
            environment={"MIBDIRS": f"{places.MIBS}:{places.BASE_MIBS}", "MIBS": MODULE})
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
        return done.stdout

    def table(self, probe, access=None):
        """The rows of a table as snmptable prints them: the index, then the cells, as text."""
        text = self.named("snmptable", "-Ci", "-CB", "-CH", "-Cf", "\x1f", "-OU", "-Oe",
                          self.agent.tools.target, f"{MODULE}::{PREFIXES[probe]}Table", access=access)
        return [line.split("\x1f") for line in text.splitlines()]

    def expected_table(self, probe, vrf):
        def shown(column, kind, value):
            if kind == projection.INTEGER:
                return str(value)
            if layout.TABLES[probe][1][column] == "IpAddr":
                return '"' + "".join(f"{octet:02X} " for octet in value) + '"'
            return value.decode()

        rows = self.agent.model.rows(vrf)[probe]
        return [['"' + key.decode() + '"', *(shown(at, *cell) for at, cell in enumerate(cells))]
                for key, cells in rows.items()]

    def test_snmptable_prints_all_rows_of_a_table_by_name(self):
        for probe in layout.TABLES:
            for vrf, access in (("default", None), ("blue", tools.v2c("public@blue")),
                                ("blue", tools.v3("demo", "demo-auth-pass", "demo-priv-pass", "blue"))):
                self.assertEqual(self.table(probe, access), self.expected_table(probe, vrf))

    def test_every_column_is_read_by_its_name(self):
        for probe, rows in self.agent.model.rows().items():
            key, cells = next(iter(rows.items()))
            names = [f'{MODULE}::{PREFIXES[probe]}{name}."{key.decode()}"'
                     for name in layout.TABLES[probe][1]]
            text = self.named("snmpget", "-On", "-Ox", "-Oe", "-OU", self.agent.tools.target, *names)
            self.assert_varbinds(tools.parse(text), [
                (layout.instance(probe, column, key), *cell)
                for column, cell in zip(layout.columns(probe), cells)])

    def test_every_object_of_a_walk_is_translated_to_its_name_and_back(self):
        walked = [oid for oid, _, _ in self.agent.tools.walk()]
        numbers = [layout.dotted(oid) for oid in walked]
        environment = {"MIBDIRS": f"{places.MIBS}:{places.BASE_MIBS}", "MIBS": MODULE}
        for at in range(0, len(numbers), 60):
            some = numbers[at:at + 60]
            names = self.agent.tools.run("snmptranslate", *some, environment=environment)
            self.assertEqual((names.returncode, names.stderr), (0, ""))
            names = names.stdout.split()
            self.assertEqual(len(names), len(some))
            for oid, name in zip(walked[at:at + 60], names):
                probe = next(probe for probe in layout.TABLES
                             if oid[:len(layout.table_oid(probe))] == layout.table_oid(probe))
                column = layout.TABLES[probe][1][oid[len(layout.OBJECTS) + 2] - layout.FIRST_COLUMN]
                self.assertTrue(name.startswith(f'{MODULE}::{PREFIXES[probe]}{column}."'), name)
            back = self.agent.tools.run("snmptranslate", "-On", *names, environment=environment)
            self.assertEqual((back.returncode, back.stdout.split()), (0, some), back.stderr)


class JavaScriptClient(WithRecords):
    """Checks types, ranges, sizes and order against the MIB text by itself."""

    def rows(self, probe, *options):
        done = self.agent.tools.run("node", places.JS_WALK, "--timeout", int(PATIENCE / 2 * 1000), *options,
                                    "127.0.0.1", self.agent.port, f"{PREFIXES[probe]}Table")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return json.loads(done.stdout)

    def expected(self, probe, vrf):
        def shown(name, kind, value):
            if kind == projection.INTEGER:
                return value
            return value.hex() if name == "IpAddr" else value.decode()

        return [{"index": key.decode(), **{PREFIXES[probe] + name: shown(name, *cell)
                                           for name, cell in zip(layout.TABLES[probe][1], cells)}}
                for key, cells in self.agent.model.rows(vrf)[probe].items()]

    V3 = ("--user", "demo", "--auth", "sha:demo-auth-pass", "--priv", "aes:demo-priv-pass")

    def test_all_tables_by_community_and_by_v3(self):
        for probe in layout.TABLES:
            for vrf, options in (("default", ()), ("blue", ("--community", "public@blue")),
                                 ("default", self.V3), ("blue", (*self.V3, "--context", "blue")),
                                 ("default", (*self.V3, "--context", "default"))):
                with self.subTest(probe=probe, options=options):
                    self.assertEqual(self.rows(probe, *options), self.expected(probe, vrf))

    def test_any_number_of_repetitions(self):
        for repetitions in (1, 5, 50):
            self.assertEqual(self.rows("icmp", "--max-repetitions", repetitions),
                             self.expected("icmp", "default"))


if __name__ == "__main__":
    unittest.main()
