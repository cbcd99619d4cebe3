"""Who may read what, what is open, and what is written."""

import os
import socket
import stat
import unittest

from support import ber, layout, sockets, tools, udp
from support.case import AgentCase
from support.sockets import Inet
from support.waiting import PATIENCE, until


def fill(agent):
    with agent.client("lab") as client:
        client.put("h", "icmp", address="192.0.2.1", latency=1)
        client.put("h", "http", url="u", vrf="blue")
        client.sync()


def getnext(community, version=ber.V2C, request_id=42):
    return ber.message(ber.GETNEXT, [ber.varbind((1, 3))], request_id, community.encode(), version)


class DefaultAccess(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start()
        fill(self.agent)

    def test_only_the_tables_and_the_system_group_are_seen(self):
        for access in (tools.v2c(), tools.v2c("public@blue"), tools.v1()):
            oids = [oid for oid, _, _ in self.agent.tools.walk((1,), program="snmpwalk", access=access)]
            self.assert_ascending(oids)
            seen = {oid[:len(layout.SYSTEM)] if oid[:len(layout.SYSTEM)] == layout.SYSTEM
                    else oid[:len(layout.OBJECTS)] for oid in oids}
            self.assertLessEqual(seen, {layout.SYSTEM, layout.OBJECTS})
            self.assertIn(layout.OBJECTS, seen)
            (first,) = self.agent.tools.get_next((0, 0), access=access)
            self.assertEqual(first[0], oids[0])

    def test_other_objects_of_net_snmp_are_not_to_be_had(self):
        for oid in ("1.3.6.1.2.1.11.1.0", "1.3.6.1.2.1.2.1.0", "1.3.6.1.6.3.10.2.1.1.0",
                    "1.3.6.1.6.3.15.1.1.1.0", "1.3.6.1.6.3.16.1.5.1.0", "1.3.6.1.4.1.8072.1.5.1.0",
                    "1.3.6.1.4.1.2021.4.1.0", "1.3.6.1.6.3.1.1.6.1.0"):
            oid = layout.parse_oid(oid)
            self.assertEqual(self.agent.snmp.get(oid).varbinds, [(oid, "noSuchObject", None)])
            behind = self.agent.snmp.get_next(oid[:-1]).varbinds[0]
            self.assertNotEqual(behind[0], oid)

    def test_the_system_group_says_what_the_agent_is(self):
        ((_, kind, value),) = self.agent.tools.get(layout.SYS_DESCR)
        self.assertEqual(kind, "OCTET STRING")
        self.assertRegex(value.decode(), r"^conmon-snmpd \d+\.\d+")

    def test_unknown_communities_get_no_answer(self):
        requests = [getnext(community, version) for version in (ber.V1, ber.V2C)
                    for community in ("private", "Public", "public ", " public", "publi", "publicc", "",
                                      "public@", "public@red", "public@Blue", "public@blue ", "@blue",
                                      "blue", "public@blue@blue", "public\0", "conmonLocal", "x" * 500)]
        self.agent.snmp.unanswered(requests, layout.SYS_DESCR)

    def test_unknown_users_read_nothing(self):
        for user in ("public", "initial", "conmonLocal", "root"):
            done = self.agent.tools.command(
                "snmpwalk", ["-v3", "-l", "noAuthNoPriv", "-u", user], layout.OBJECTS)
            self.assertNotEqual(done.returncode, 0)
            self.assertEqual(done.stdout, "")

    def test_requests_from_any_loopback_address_are_answered(self):
        for source in ("127.0.0.1", "127.0.0.2", "127.255.255.254"):
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
                client.bind((source, 0))
                client.settimeout(PATIENCE)
                client.sendto(getnext("public"), ("127.0.0.1", self.agent.port))
                response = ber.parse_response(client.recv(65_536))
                self.assertEqual(response.varbinds[0][0], layout.SYS_DESCR)


class OtherAddresses(AgentCase):
    def own_address(self):
        """An address of this machine that is not a loopback one; None on a machine without."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            try:
                probe.connect(("192.0.2.1", 9))  # sends nothing
            except OSError:
                return None
            return probe.getsockname()[0]

    def test_requests_from_elsewhere_get_no_answer(self):
        # Listening everywhere, asked from an address of this machine that is not a loopback one.
        # Linux has one in 0/8 only as "any", so a machine without network asks from none.
        port = sockets.free_port("0.0.0.0")
        agent = self.start("--listen", f"udp:0.0.0.0:{port}", listen=False)
        fill(agent)
        client = udp.Client(port)
        self.addCleanup(client.close)
        self.assertEqual(client.get_next((1, 3)).varbinds[0][0], layout.SYS_DESCR)
        address = self.own_address()
        if address is None:
            return
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stranger:
            stranger.bind((address, 0))
            stranger.sendto(getnext("public"), (address, port))
            stranger.sendto(getnext("public@blue"), (address, port))
            # Taken in order: when this is answered, those are settled.
            client.get(layout.SYS_DESCR)
            stranger.setblocking(False)
            self.assertRaises(BlockingIOError, stranger.recv, 65_536)

    def test_ipv6_is_served_alike(self):
        port = sockets.free_port("::1")
        agent = self.start("--listen", f"udp6:[::1]:{port}", listen=False)
        fill(agent)
        client = udp.Client(port, "::1")
        self.addCleanup(client.close)
        walker = tools.Tools(self.scratch, f"udp6:[::1]:{port}")
        self.assert_varbinds(walker.walk(), agent.model.varbinds())
        self.assert_varbinds(walker.walk(access=tools.v2c("public@blue")), agent.model.varbinds("blue"))
        client.unanswered([getnext("private"), getnext("public@red")], layout.SYS_DESCR)
        self.assertEqual(client.set((layout.SYSTEM + (4, 0), ber.octets(b"x"))).error, ber.NO_ACCESS)
        self.assertEqual({found._replace(port=0) for found in sockets.inet_sockets(agent.pid)},
                         {Inet("udp6", "::1", 0, True)})

    def test_several_addresses_are_served_at_once(self):
        ports = [sockets.free_port(), sockets.free_port(), sockets.free_port("::1")]
        listen = [f"udp:127.0.0.1:{ports[0]}", f"udp:127.0.0.3:{ports[1]}", f"udp6:[::1]:{ports[2]}"]
        agent = self.start(*(word for address in listen for word in ("--listen", address)), listen=False)
        fill(agent)
        for address in listen:
            self.assert_varbinds(tools.Tools(self.scratch, address).walk(), agent.model.varbinds())
        self.assertEqual(sockets.inet_sockets(agent.pid), {
            Inet("udp", "127.0.0.1", ports[0], True), Inet("udp", "127.0.0.3", ports[1], True),
            Inet("udp6", "::1", ports[2], True)})


class WhatIsOpen(AgentCase):
    def test_without_a_feed_there_is_no_unix_socket(self):
        agent = self.start(feed_socket=False)
        until(lambda: agent.snmp.get(layout.SYS_DESCR), "an answer")
        self.assertEqual(sockets.inet_sockets(agent.pid), {Inet("udp", "127.0.0.1", agent.port, True)})
        self.assertEqual(sockets.unix_sockets(agent.pid), set())

    def test_descriptors_do_not_grow_with_requests(self):
        agent = self.start()
        fill(agent)
        agent.check_alive()
        folder = f"/proc/{agent.pid}/fd"
        before = len(os.listdir(folder))
        for _ in range(300):
            agent.snmp.get_next(layout.OBJECTS)
        for _ in range(3):
            self.assert_serves(agent)
        until(lambda: len(os.listdir(folder)) <= before, "as few descriptors as before")

    def test_the_feed_is_a_socket_that_its_owner_can_use(self):
        agent = self.start()
        mode = os.stat(agent.feed_path).st_mode
        self.assertTrue(stat.S_ISSOCK(mode))
        self.assertEqual(mode & 0o777, 0o660)


class WhatIsWritten(AgentCase):
    def files(self, scratch):
        return {str(path.relative_to(scratch.path)) for name in ("home", "persistent", "conf")
                for path in (scratch.path / name).rglob("*")}

    def test_no_file_is_left_behind(self):
        config = self.scratch.file("users.conf", "createUser demo SHA demo-auth-pass AES demo-priv-pass\n"
                                                 "rouser demo priv\n")
        agent = self.start("--snmp-conf", config)
        fill(agent)
        self.assert_serves(agent)
        agent.tools.walk(access=tools.v3("demo", "demo-auth-pass", "demo-priv-pass"))
        before = set(os.listdir(self.scratch.path))
        agent.stop()
        self.assertEqual(self.files(self.scratch), set())
        self.assertEqual(before - set(os.listdir(self.scratch.path)), {agent.feed_path.name})
        self.assertEqual(set(os.listdir(self.scratch.path)) - before, set())

    def test_nor_by_a_subagent(self):
        agent = self.start("--agentx", self.scratch.path / "nobody.sock", listen=False)
        fill(agent)
        agent.stop()
        self.assertEqual(self.files(self.scratch), set())

    def test_no_file_is_open_that_could_be_written(self):
        agent = self.start()
        fill(agent)
        open_files = sockets.open_files(agent.pid)
        outputs = {str(path) for path in self.scratch.path.iterdir() if path.suffix in (".stdout", ".stderr")}
        self.assertEqual({path for path in open_files if path.startswith(str(self.scratch.path))}, outputs)

    def test_no_configuration_of_the_machine_or_the_user_is_read(self):
        # Faulty and generous ones, in all the places where net-snmp would look.
        text = "nonsense directive\nrwcommunity stranger\nagentaddress tcp:127.0.0.1:1\n"
        for name in ("snmpd.conf", "snmp.conf", "snmpd.local.conf", "snmp.local.conf"):
            for folder in ("conf", "persistent", "home/.snmp"):
                (self.scratch.path / folder).mkdir(exist_ok=True)
                (self.scratch.path / folder / name).write_text(text)
        for name in ("told", "untold"):
            agent = self.start(name=name)
            fill(agent)
            self.assert_serves(agent)
            agent.snmp.unanswered([getnext("stranger")], layout.SYS_DESCR)
            self.assertEqual(agent.said(), "")
            # It hides the home folder from net-snmp; the second one would look there.
            self.scratch.environment.pop("SNMPCONFPATH", None)
        written = list(self.scratch.path.rglob("snmp*.conf"))
        self.assertEqual(len(written), 12)
        for path in written:
            self.assertEqual(path.read_text(), text)

    def test_two_agents_at_once_do_not_meet(self):
        first, second = self.start(name="first"), self.start(name="second")
        fill(first)
        self.assert_serves(first)
        self.assertEqual(second.tools.walk(), [])


if __name__ == "__main__":
    unittest.main()
