"""A VRF's rows in the SNMP context of its name: by community and by SNMPv3."""

import unittest

from support import ber, layout, tools
from support.case import AgentCase
from support.waiting import until

USERS = """\
createUser demo SHA demo-auth-pass AES demo-priv-pass
rouser demo priv -V conmonLocal *
"""


def v3(context=""):
    return tools.v3("demo", "demo-auth-pass", "demo-priv-pass", context)


def blue():
    return tools.v2c("public@blue")


class Contexts(AgentCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start("--snmp-conf", self.scratch.file("users.conf", USERS))
        self.client = self.agent.client("lab")

    def put(self, host, vrf=None, **more):
        where = {} if vrf is None else {"vrf": vrf}
        self.client.put(host, "icmp", address="192.0.2.1", **where, **more)

    def remove(self, host, vrf=None):
        where = {} if vrf is None else {"vrf": vrf}
        self.client.remove(host, "icmp", address="192.0.2.1", **where)

    def assert_silent(self, community):
        """No answer to this community: it is as unknown as any other."""
        request = ber.message(ber.GETNEXT, [ber.varbind(layout.OBJECTS)], 77, community.encode())
        self.agent.snmp.unanswered([request], layout.SYS_DESCR)

    def test_each_vrf_shows_its_own_rows_by_community_and_by_v3(self):
        self.put("in-default", latency=1)
        self.put("in-default-too", vrf="default", latency=2)
        self.put("in-default-by-empty-name", vrf="", latency=3)
        self.put("in-blue", vrf="blue", latency=4)
        self.client.put("in-blue", "http", vrf="blue", url="u", responseTime=5)
        self.client.put("in-red", "tcp", vrf="red", address="::1", port=6)
        self.client.sync()
        self.assertEqual(len(self.agent.model.rows()["icmp"]), 3)
        for vrf, community, context in (("default", "public", ""), ("blue", "public@blue", "blue"),
                                        ("default", "public@default", "default"),
                                        ("red", "public@red", "red")):
            self.assert_serves(self.agent, vrf, access=tools.v2c(community))
            self.assert_serves(self.agent, vrf, access=tools.v1(community), program="snmpwalk")
            self.assert_serves(self.agent, vrf, access=v3(context))

    def test_gets_and_bulks_in_a_context_are_answered_from_it(self):
        self.put("a", latency=1)
        self.put("a", vrf="blue", latency=2)
        self.client.sync()
        for vrf, access in (("default", tools.v2c()), ("blue", blue()), ("blue", v3("blue"))):
            expected = self.agent.model.varbinds(vrf)
            oids = [oid for oid, _, _ in expected]
            self.assert_varbinds(self.agent.tools.get(*oids, access=access), expected)
            self.assert_varbinds(self.agent.tools.bulk_get(
                layout.OBJECTS, max_repetitions=len(oids), access=access), expected)

    def test_a_context_comes_with_its_first_record_and_goes_with_its_last(self):
        self.put("a")
        self.client.sync()
        for _ in range(2):
            self.assert_silent("public@blue")
            self.put("b", vrf="blue")
            self.put("c", vrf="blue")
            self.client.sync()
            self.assert_serves(self.agent, "blue", access=blue())
            self.assert_serves(self.agent, "blue", access=v3("blue"))
            self.remove("b", vrf="blue")
            self.client.sync()
            self.assert_serves(self.agent, "blue", access=blue())
            self.remove("c", vrf="blue")
            self.client.sync()
        self.assert_silent("public@blue")
        # net-snmp never forgets a context that had objects; there is nothing left in it.
        self.assertEqual(self.agent.tools.walk(access=v3("blue")), [])
        self.assert_serves(self.agent)

    def test_a_context_whose_last_record_waits_for_its_interface_goes_too(self):
        self.put("a", vrf="blue", interface="unknown")
        self.client.sync()
        self.assert_silent("public@blue")
        self.client.interface("unknown", 5)
        self.client.sync()
        self.assert_serves(self.agent, "blue", access=blue())
        self.assertEqual(len(self.agent.model.rows("blue")["icmp"]), 1)

    def test_a_context_whose_records_changed_stays_and_is_empty_in_the_end(self):
        # Changes are counted, not rows: one more keeps the context, which shows nothing.
        self.put("a", vrf="blue", latency=1)
        self.put("a", vrf="blue", latency=2)
        self.client.sync()
        self.assert_serves(self.agent, "blue", access=blue())
        self.remove("a", vrf="blue")
        self.client.sync()
        self.assertEqual(self.agent.tools.walk(access=blue()), [])

    def test_the_default_context_stays_without_records(self):
        for _ in range(2):
            self.put("a")
            self.client.sync()
            self.remove("a")
            self.client.sync()
            for access in (tools.v2c(), tools.v2c("public@default"), v3(), v3("default")):
                self.assertEqual(self.agent.tools.walk(access=access), [])
                (varbind,) = self.agent.tools.get_next(layout.OBJECTS, access=access)
                self.assertEqual(varbind[1], "endOfMibView")

    def test_the_default_vrf_has_no_context_default_before_its_first_record(self):
        self.put("a", vrf="blue")
        self.client.sync()
        self.assertEqual(self.agent.tools.walk(), [])
        self.put("a")
        self.client.sync()
        self.assert_serves(self.agent, access=tools.v2c("public@default"))

    def test_records_of_one_vrf_do_not_hold_another_one(self):
        self.put("a", vrf="blue")
        self.put("a", vrf="red")
        self.client.sync()
        self.remove("a", vrf="blue")
        self.client.sync()
        self.assert_silent("public@blue")
        self.assert_serves(self.agent, "red", access=tools.v2c("public@red"))

    def test_vrf_names_of_any_kind_are_contexts(self):
        names = ["r" * 32, "a b", "a/b", "%2F", "blue@x", "\"q'\\", "Zürich", "..", "#1", "DEFAULT",
                 "defaul", "defaultt", "-n", "@"]
        for at, name in enumerate(names):
            self.put(f"host{at}", vrf=name, latency=at)
        self.client.sync()
        for name in names:
            self.assert_serves(self.agent, name, access=tools.v2c(f"public@{name}"))
            self.assert_serves(self.agent, name, access=v3(name))
        self.assertEqual(self.agent.tools.walk(), [])
        self.client.say("removeClient")
        self.client.sync()
        for name in names:
            self.assert_silent(f"public@{name}")

    def test_many_contexts_come_and_go(self):
        names = [f"vrf{at}" for at in range(200)]
        for _ in range(2):
            self.client.say_all([{"op": "put", "host": "h", "vrf": name, "probe": "tcp",
                                  "address": "192.0.2.1", "port": 1} for name in names])
            self.client.sync()
            for name in names[::20]:
                self.assert_serves(self.agent, name, access=tools.v2c(f"public@{name}"))
            self.client.say("removeClient")
            self.client.sync()
            for name in names[::20]:
                self.assert_silent(f"public@{name}")
        self.agent.check_alive()

    def test_a_context_that_never_was_is_not_answered_by_v3(self):
        # Such requests are dropped (RFC 3413, 3.2).
        done = self.agent.tools.run("snmpwalk", *v3("red"), "-r", 0, "-t", 1,
                                    self.agent.tools.target, layout.dotted(layout.OBJECTS))
        self.assertEqual((done.returncode, done.stdout), (1, ""), done.stderr)
        self.assertIn("Timeout", done.stderr)

    def test_a_wrong_pass_phrase_or_a_wrong_level_shows_nothing(self):
        self.put("a", vrf="blue")
        self.client.sync()
        wrong = tools.v3("demo", "wrong-auth-pass", "demo-priv-pass", "blue")
        signed_only = ["-v3", "-l", "authNoPriv", "-u", "demo", "-a", "SHA", "-A", "demo-auth-pass",
                       "-n", "blue"]
        nobody = ["-v3", "-l", "noAuthNoPriv", "-u", "nobody"]
        for access, reason in ((wrong, "Authentication failure"), (nobody, "Unknown user name"),
                               (signed_only, "authorizationError")):
            done = self.agent.tools.command("snmpwalk", access, layout.OBJECTS)
            self.assertNotEqual(done.returncode, 0)
            self.assertEqual(done.stdout, "")
            self.assertIn(reason, done.stderr)


class Communities(AgentCase):
    def test_the_community_can_be_chosen(self):
        agent = self.start("--community", "s3cret")
        client = agent.client()
        client.put("a", "http", url="u")
        client.put("b", "http", vrf="blue", url="u")
        client.sync()
        self.assert_serves(agent, access=tools.v2c("s3cret"))
        self.assert_serves(agent, "blue", access=tools.v2c("s3cret@blue"))
        agent.snmp.community = b"s3cret"
        requests = [ber.message(ber.GETNEXT, [ber.varbind(layout.OBJECTS)], 7, community)
                    for community in (b"public", b"public@blue", b"s3cre", b"s3crett", b"s3cret@",
                                      b"s3cret@red", b"@blue", b"S3CRET", b"", b"s3cret\0", b"x" * 255)]
        agent.snmp.unanswered(requests, layout.SYS_DESCR)

    def test_a_v3_user_of_the_file_reads_each_vrf_that_comes_later(self):
        agent = self.start("--snmp-conf", self.scratch.file("users.conf", USERS))
        with agent.client() as client:
            client.put("a", "http", vrf="late", url="u")
            client.sync()
        until(lambda: agent.tools.walk(access=v3("late")), "rows of the VRF")
        self.assert_serves(agent, "late", access=v3("late"))


class Limit(AgentCase):
    """How many VRFs a process will take in its life."""

    def put(self, connection, vrf):
        return connection.ask(op="put", host="h", vrf=vrf, probe="http", url="u")

    def assert_refused_for(self, answer, vrf, limit, line):
        self.assertEqual(answer, {"ok": False, "line": line, "error": (
            f'vrf: "{vrf}" would be one more than the {limit} VRFs that may be named while the agent '
            "runs (max-contexts)")})

    def test_a_vrf_beyond_it_is_refused_with_the_limit_and_the_setting(self):
        config = self.scratch.file("agent.yaml", "max-contexts: 2\n")
        agent = self.start("--config", config)
        client = agent.client()
        client.put("h", "http", vrf="blue", url="u")
        client.put("h", "http", vrf="red", url="u")
        client.put("h", "http", url="u")
        self.assert_refused_for(self.put(client.connection, "green"), "green", 2, 5)
        # The names stay known to net-snmp, so the place of one that is empty is not free.
        client.remove("h", "http", vrf="blue", url="u")
        client.sync()
        self.assert_refused_for(self.put(client.connection, "green"), "green", 2, 8)
        client.put("again", "http", vrf="blue", url="u")
        client.sync()
        for vrf, community in (("default", "public"), ("blue", "public@blue"), ("red", "public@red")):
            self.assert_serves(agent, vrf, access=tools.v2c(community))
        stats = client.connection.ask(op="stats")
        self.assertEqual(stats["contexts"], {"used": 2, "limit": 2})
        self.assertEqual(stats["lines"]["refused"], 2)

    def test_it_is_256_unless_told_and_the_agent_goes_on_when_it_is_reached(self):
        agent = self.start()
        client = agent.client()
        for at in range(256):
            client.put("h", "http", vrf=f"vrf{at}", url="u")
        self.assert_refused_for(self.put(client.connection, "vrf256"), "vrf256", 256, 258)
        client.put("h", "http", url="u")
        client.sync()
        self.assert_serves(agent)
        self.assert_serves(agent, "vrf255", access=tools.v2c("public@vrf255"))


if __name__ == "__main__":
    unittest.main()
