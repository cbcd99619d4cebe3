"""Interface indexes that come from the kernel, by real interfaces in namespaces of the test's own."""

import os
import signal
import unittest
from unittest import mock

from support import netns, places, sockets, tools
from support.case import AgentCase
from support.waiting import until


def setUpModule():
    netns.enter(__name__)


class InterfacesCase(AgentCase):
    def add(self, name, index=None):
        """A veth pair; the end that counts has this name."""
        netns.ip("link", "add", name, *(["index", index] if index else []),
                 "type", "veth", "peer", "name", f"{name}-p")
        self.addCleanup(self.delete, name)
        return netns.if_index(name)

    @staticmethod
    def delete(name):
        try:
            netns.ip("link", "del", name)
        except OSError:
            pass  # gone before

    def expect_index(self, agent, name, index, vrf="default"):
        """From now on the model has this index, and soon the agent too: a walk shows every probe in
        exactly one row."""
        agent.model.apply("", {"op": "interface", "name": name, "ifIndex": index})
        access = tools.v2c("public" if vrf == "default" else f"public@{vrf}")
        until(lambda: agent.tools.walk(access=access) == agent.model.varbinds(vrf),
              lambda: f"{name} as {index}: {agent.tools.walk(access=access)}; {agent.process}")
        self.assert_serves(agent, vrf, access=access)


class OwnNamespace(InterfacesCase):
    def test_an_interface_that_is_there_at_the_start_needs_no_feed_line(self):
        index = self.add("va")
        agent = self.start()
        client = agent.client()
        client.put("h", "icmp", address="192.0.2.1", interface="va", latency=1)
        client.put("h", "icmp", address="192.0.2.1", interface="lo", latency=2)
        client.sync()
        agent.model.apply("", {"op": "interface", "name": "lo", "ifIndex": netns.if_index("lo")})
        self.expect_index(agent, "va", index)

    def test_a_pair_that_is_deleted_and_made_again_leaves_one_row_a_probe(self):
        first = self.add("va")
        agent = self.start()
        client = agent.client()
        client.put("h", "icmp", address="192.0.2.1", interface="va", latency=1)
        client.put("h", "tcp", address="192.0.2.1", port=80, interface="va", latency=2)
        client.put("h", "http", url="http://h/", interface="va", responseTime=3)
        client.put("i", "http", url="http://i/")
        client.sync()
        self.expect_index(agent, "va", first)
        for _ in range(3):
            self.delete("va")
            client.put("i", "http", url="http://i/", responseTime=7)
            client.sync()
            self.assert_serves(agent)  # it keeps its index
            again = self.add("va")
            self.assertNotEqual(again, first)
            self.expect_index(agent, "va", again)
            self.assertEqual(len(agent.model.rows()["icmp"]), 1)
            first = again

    def test_an_interface_that_comes_later_gives_its_probes_their_rows(self):
        agent = self.start()
        client = agent.client()
        client.put("h", "icmp", address="192.0.2.1", interface="va")
        client.sync()
        self.assertEqual(agent.tools.walk(), [])
        self.expect_index(agent, "va", self.add("va"))

    def test_a_renamed_interface_is_known_under_both_names(self):
        index = self.add("va")
        agent = self.start()
        client = agent.client()
        client.put("old", "icmp", address="192.0.2.1", interface="va")
        client.put("new", "icmp", address="192.0.2.1", interface="vb")
        client.sync()
        self.expect_index(agent, "va", index)
        netns.ip("link", "set", "va", "name", "vb")
        netns.ip("link", "set", "va-p", "name", "vb-p")
        self.addCleanup(self.delete, "vb")
        self.expect_index(agent, "vb", index)
        # Another one under the name that is free again.
        self.expect_index(agent, "va", self.add("va", index + 1000))

    def test_an_index_of_the_feed_stands_whoever_is_first(self):
        self.add("va")
        agent = self.start()
        client = agent.client()
        client.put("h", "icmp", address="192.0.2.1", interface="va")
        client.put("h", "icmp", address="192.0.2.1", interface="vb")
        client.put("h", "icmp", address="192.0.2.1", interface="vc")
        client.interface("va", 4711)
        client.interface("vb", 4712)
        client.sync()
        self.assert_serves(agent)
        self.add("vb")
        self.delete("va")
        self.add("va")
        # The kernel's word of vc comes behind those of the others.
        self.expect_index(agent, "vc", self.add("vc"))

    def test_the_feed_alone_counts_where_that_is_set(self):
        agent = self.start("--interfaces", "feed")
        client = agent.client()
        client.put("h", "icmp", address="192.0.2.1", interface="lo")
        client.put("h", "icmp", address="192.0.2.1", interface="eth7")
        client.interface("eth7", 9)
        client.sync()
        self.assert_serves(agent)
        self.assertEqual(sockets.other_sockets(agent.pid), set())

    def test_it_opens_no_socket_that_a_network_can_reach(self):
        agent = self.start()
        self.assertEqual({(socket.protocol, socket.port) for socket in sockets.inet_sockets(agent.pid)},
                         {("udp", agent.port)})

    def test_after_an_overrun_everything_is_right_again(self):
        self.add("va")
        self.add("vb")
        agent = self.start()
        client = agent.client()
        for name in ("va", "vb", "vc"):
            client.put("h", "icmp", address="192.0.2.1", interface=name)
        client.sync()
        agent.model.apply("", {"op": "interface", "name": "vb", "ifIndex": netns.if_index("vb")})
        self.expect_index(agent, "va", netns.if_index("va"))
        agent.process.signal(signal.SIGSTOP)
        try:
            self.delete("va")
            batch = self.scratch.file("batch", "".join(
                f"link set vb mtu {1400 + at % 50}\n" for at in range(2000)))

            def overrun():
                netns.ip("-batch", batch)
                return netns.drops(agent.pid) > 0

            until(overrun, "more than the kernel has room for")
            va, vc = self.add("va"), self.add("vc")
        finally:
            agent.process.signal(signal.SIGCONT)
        agent.model.apply("", {"op": "interface", "name": "vc", "ifIndex": vc})
        self.expect_index(agent, "va", va)

    def test_replacing_the_agent_keeps_the_kernels_indexes(self):
        index = self.add("va")
        agent = self.start()
        client = agent.client()
        client.put("h", "icmp", address="192.0.2.1", interface="va")
        client.sync()
        self.expect_index(agent, "va", index)
        agent.process.signal(signal.SIGHUP)
        self.delete("va")
        self.expect_index(agent, "va", self.add("va"))


class NamespaceVrf(InterfacesCase):
    @staticmethod
    def namespace_add(index):
        netns.ip("netns", "add", "blue-ns")
        netns.ip("-n", "blue-ns", "link", "add", "eth1", "index", index, "type", "veth",
                 "peer", "name", "eth1-p")

    @staticmethod
    def namespace_delete():
        netns.ip("netns", "del", "blue-ns")

    def start_blue(self):
        config = self.scratch.file("agent.yaml", "vrfs: {blue: {netns: blue-ns}}\n")
        agent = self.start("--config", config)
        client = agent.client()
        client.put("h", "icmp", vrf="blue", address="192.0.2.1", interface="eth1@blue", latency=1)
        client.put("h", "icmp", vrf="blue", address="192.0.2.1", interface="eth1", latency=1)
        client.sync()
        return agent

    def test_an_interface_of_its_namespace_is_named_with_the_vrf(self):
        self.namespace_add(77)
        self.addCleanup(self.namespace_delete)
        agent = self.start_blue()
        self.expect_index(agent, "eth1@blue", 77, "blue")
        self.assertEqual(agent.said(), "")

    def test_a_namespace_may_come_later_vanish_and_come_again(self):
        agent = self.start_blue()
        missing = ('VRF "blue": interfaces are not followed: no network namespace blue-ns: '
                   'No such file or directory')
        until(lambda: missing in agent.log(), "word of the missing namespace")
        for index in (77, 78):
            self.namespace_add(index)
            self.expect_index(agent, "eth1@blue", index, "blue")
            until(lambda: agent.log()[-1].endswith("interfaces are followed again"), "good news")
            self.namespace_delete()
            until(lambda: agent.log()[-1] == missing, "word of the namespace that is gone")
            self.assert_serves(agent, "blue", access=tools.v2c("public@blue"))
        self.assertEqual(len(agent.log()), 5, str(agent.process))

    def test_a_namespace_that_is_replaced_at_once_is_noticed(self):
        self.namespace_add(77)
        agent = self.start_blue()
        self.expect_index(agent, "eth1@blue", 77, "blue")
        self.namespace_delete()
        self.namespace_add(99)
        self.addCleanup(self.namespace_delete)
        self.expect_index(agent, "eth1@blue", 99, "blue")

    def test_an_interface_that_moves_into_the_namespace_changes_its_name(self):
        netns.ip("netns", "add", "blue-ns")
        self.addCleanup(self.namespace_delete)
        index = self.add("eth1")
        agent = self.start_blue()
        self.expect_index(agent, "eth1", index, "blue")
        netns.ip("link", "set", "eth1", "netns", "blue-ns")
        self.expect_index(agent, "eth1@blue", index, "blue")

    def test_a_name_that_is_no_namespace_harms_nothing(self):
        netns.ip("netns", "add", "blue-ns")
        self.namespace_delete()
        with open("/run/netns/blue-ns", "w"):
            pass
        self.addCleanup(self.remove_file)
        agent = self.start_blue()
        until(lambda: any("cannot enter network namespace blue-ns: Invalid argument" in line
                          for line in agent.log()), lambda: f"the refusal: {agent.process}")
        agent.check_alive()

    def test_a_namespace_that_may_not_be_entered_is_told_of_with_what_it_takes(self):
        self.namespace_add(77)
        self.addCleanup(self.namespace_delete)
        fenced = self.scratch.file("fenced", (
            f"#!/bin/sh\nexec {places.program('setpriv')} --bounding-set=-sys_admin {places.AGENT} \"$@\"\n"))
        fenced.chmod(0o755)
        with mock.patch.object(places, "AGENT", fenced):
            agent = self.start_blue()
        until(lambda: agent.log() == ['VRF "blue": interfaces are not followed: cannot enter network '
                                      "namespace blue-ns: Operation not permitted (it takes CAP_SYS_ADMIN)"],
              lambda: f"the refusal: {agent.process}")
        agent.check_alive()

    @staticmethod
    def remove_file():
        os.unlink("/run/netns/blue-ns")


if __name__ == "__main__":
    unittest.main()
