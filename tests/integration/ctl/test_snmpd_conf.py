"""What a stock snmpd serves with the lines of conmonctl snmpd-conf."""

import unittest

import running
from support import layout, tools
from support.master import Master
from support.subagent import SubagentCase
from support.waiting import until

USER = ("reader", "reader-auth-key", "reader-priv-key")
VRFS = ("default", "blue", 'odd "vrf" \\ #1')


class ConfiguredSnmpd(Master):
    """A stock snmpd with these lines, and what is no business of theirs."""

    def __init__(self, scratch, socket, lines):
        self.lines = lines
        super().__init__(scratch, socket)

    def _config(self):
        return "\n".join([f"agentaddress udp:127.0.0.1:{self.port}", "dontLogTCPWrappersConnects yes",
                          f"agentXSocket {self.socket}", "createUser {} SHA {} AES {}".format(*USER),
                          self.lines])


class SnmpdConf(SubagentCase):
    def lines(self, agent, *options):
        done = running.run(self.scratch, agent.feed_path, "snmpd-conf", "--user", USER[0], *options)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def fill_vrfs(self, agent):
        client = agent.client("lab")
        client.interface("eth1", 7)
        for vrf in VRFS:
            for at in range(20):
                client.put(f"h{at}", "icmp", vrf=vrf, address="192.0.2.1", latency=at)
                client.put(f"h{at}", "http", vrf=vrf, url="u", interface="eth1", responseTime=2 * at)
                client.put(f"h{at}", "tcp", vrf=vrf, address="2001:db8::1", port=at + 1)
        client.sync()

    def snmpd(self, lines):
        snmpd = ConfiguredSnmpd(self.scratch, self.socket, lines)
        self.addCleanup(snmpd.close)
        return snmpd

    def assert_serves_all(self, snmpd, agent):
        for vrf in VRFS:
            is_default = vrf == "default"
            for access in (tools.v2c("public" if is_default else f"public@{vrf}"),
                           tools.v3(*USER, "" if is_default else vrf)):
                expected = agent.model.varbinds(vrf)
                self.assertGreater(len(expected), 100)
                got = []

                def shown():
                    done = self.try_walk(snmpd, access)
                    got[:] = tools.parse(done.stdout) if done.returncode == 0 else []
                    return [varbind for varbind in got if varbind[2] is not None] == expected

                until(shown, lambda: f"the rows of VRF {vrf} by {access}, not {got[:3]}; {snmpd.process}")

    def test_an_agentx_master_serves_each_vrf(self):
        alone = self.start(name="alone")
        self.fill_vrfs(alone)
        lines = self.lines(alone)
        alone.stop()
        snmpd = self.snmpd(lines)
        agent = self.start_subagent()
        self.fill_vrfs(agent)
        self.assert_serves_all(snmpd, agent)

    def test_a_standalone_agent_is_asked_for_each_vrf(self):
        agent = self.start()
        self.fill_vrfs(agent)
        snmpd = self.snmpd(self.lines(agent, "--standalone", f"udp:127.0.0.1:{agent.port}"))
        self.assert_serves_all(snmpd, agent)

    def test_nothing_else_can_be_read(self):
        agent = self.start()
        self.fill_vrfs(agent)
        snmpd = self.snmpd(self.lines(agent, "--standalone", f"udp:127.0.0.1:{agent.port}"))
        self.assert_serves_all(snmpd, agent)
        for access in (tools.v2c("public"), tools.v2c("public@blue"), tools.v3(*USER, "blue")):
            done = snmpd.tools.run("snmpwalk", *access, "-r", 0, "-t", 5, "-On", snmpd.tools.target,
                                   layout.dotted(layout.SYSTEM))
            self.assertNotIn("STRING", done.stdout)

    def test_snmpd_takes_the_lines_without_a_complaint(self):
        agent = self.start()
        self.fill_vrfs(agent)
        for options in ((), ("--standalone", f"udp:127.0.0.1:{agent.port}")):
            snmpd = self.snmpd(self.lines(agent, *options))
            said = snmpd.process.output("stdout") + snmpd.process.stderr
            self.assertNotRegex(said, "(?i)error|warning|bad |unknown|missing")
            snmpd.close()


if __name__ == "__main__":
    unittest.main()
