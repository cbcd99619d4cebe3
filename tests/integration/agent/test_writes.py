"""Nothing can be written, whoever asks and however."""

import unittest

from support import ber, layout, tools
from support.case import SharedAgentCase
from support.process import Scratch

ABSENT = b"absent"
# (encoded value, type letter and value of snmpset)
VALUES = ((ber.octets(b"x"), "s", "x"), (ber.integer(5), "i", "5"))


class Writes(SharedAgentCase):
    """A row in each table, and the objects around it, existing or not."""

    @classmethod
    def prepare(cls):
        with cls.agent.client("lab") as client:
            client.put("h", "icmp", address="192.0.2.1", latency=1)
            client.put("h", "http", url="u")
            client.put("h", "tcp", address="192.0.2.1", port=1)
            client.sync()
        cls.expected = cls.agent.model.varbinds()
        cls.oids = []
        for probe, rows in cls.agent.model.rows().items():
            (key,) = rows
            last = layout.columns(probe)[-1]
            cls.oids += [layout.instance(probe, column, name)
                         for column in (0, 1, *layout.columns(probe), last + 1)
                         for name in (key, ABSENT)]
            cls.oids += [layout.table_oid(probe), layout.column_oid(probe, 2)]

    def tearDown(self):
        self.assert_varbinds(self.agent.tools.walk(), self.expected)

    def snmpset(self, access, *words):
        done = self.agent.tools.command("snmpset", access, *words, options=["-On"])
        self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)
        return done.stderr


class WithTheDefaultAccess(Writes):
    def test_a_set_of_any_object_is_refused_for_want_of_access(self):
        for oid in (*self.oids, layout.SYS_DESCR, layout.SYSTEM + (4, 0)):
            for value, _, _ in VALUES:
                response = self.agent.snmp.set((oid, value))
                self.assertEqual((response.error, response.index), (ber.NO_ACCESS, 1), oid)

    def test_version_1_says_that_there_is_no_such_name(self):
        for probe in layout.TABLES:
            said = self.snmpset(tools.v1(), layout.column_oid(probe, 2) + (1, 97), "s", "x")
            self.assertIn("(noSuchName)", said)


class WithTheRightToWrite(Writes):
    """What net-snmp's access control lets through, the tables themselves refuse."""

    @classmethod
    def setUpClass(cls):
        cls.config_scratch = Scratch()
        cls.addClassCleanup(cls.config_scratch.remove)
        cls.arguments = ("--snmp-conf", cls.config_scratch.file(
            "write.conf", "rwcommunity writer 127.0.0.1\n"))
        super().setUpClass()

    def setUp(self):
        super().setUp()
        self.agent.snmp.community = b"writer"

    def set(self, *pairs):
        response = self.agent.snmp.set(*pairs)
        return response.error, response.index

    def test_a_set_of_any_column_is_not_writable(self):
        for oid in self.oids:
            for value, _, _ in VALUES:
                self.assertEqual(self.set((oid, value)), (ber.NOT_WRITABLE, 1), layout.dotted(oid))

    def test_so_says_the_stock_tool(self):
        for probe, rows in self.agent.model.rows().items():
            for column in layout.columns(probe):
                oid = layout.instance(probe, column, next(iter(rows)))
                kind = VALUES[0] if column in (2, 3) else VALUES[1]
                said = self.snmpset(tools.v2c("writer"), oid, *kind[1:])
                self.assertIn("notWritable", said)
                self.assertIn(layout.dotted(oid), said)

    def test_version_1_says_that_there_is_no_such_name(self):
        for probe, rows in self.agent.model.rows().items():
            oid = layout.instance(probe, 2, next(iter(rows)))
            self.assertIn("(noSuchName)", self.snmpset(tools.v1("writer"), oid, "s", "x"))

    def test_the_first_of_several_objects_is_named(self):
        pairs = [(oid, VALUES[0][0]) for oid in self.oids[4:9]]
        self.assertEqual(self.set(*pairs), (ber.NOT_WRITABLE, 1))

    def test_a_writable_object_beside_a_table_s_is_not_written(self):
        contact = layout.SYSTEM + (4, 0)
        before = self.agent.tools.get(contact, access=tools.v2c("writer"))
        error, index = self.set((contact, ber.octets(b"changed")), (self.oids[4], VALUES[0][0]))
        self.assertEqual((error, index), (ber.NOT_WRITABLE, 2))
        self.assertEqual(self.agent.tools.get(contact, access=tools.v2c("writer")), before)

    def test_a_value_of_any_type_is_refused(self):
        oid = self.oids[4]
        for tag in (0x02, 0x04, 0x06, 0x40, 0x41, 0x42, 0x43, 0x44, 0x46):
            content = {0x06: b"\x2b", 0x40: b"\1\2\3\4"}.get(tag, b"\1")
            self.assertEqual(self.set((oid, ber.tlv(tag, content))), (ber.NOT_WRITABLE, 1), hex(tag))

    def test_the_default_community_still_has_no_access(self):
        self.agent.snmp.community = b"public"
        self.assertEqual(self.set((self.oids[4], VALUES[0][0])), (ber.NO_ACCESS, 1))


# The base class has no tests of its own.
del Writes


if __name__ == "__main__":
    unittest.main()
