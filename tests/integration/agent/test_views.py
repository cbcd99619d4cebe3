"""Managers who may see a part of the tables only. Access control is asked once of a request where it
can be: what one manager, or one place in the tables, is allowed must not pass to another."""

import unittest

from support import layout, udp, walking
from support.case import AgentCase

HOSTS = 12
HTTP = layout.table_oid("http")
LATENCY = layout.column_oid("icmp", "LatencyValue")
KEY = b"labhost3192.0.2.30"
ROWS = [layout.instance("icmp", "Host", KEY), layout.instance("icmp", "PacketLoss", KEY)]

# By community: the subtrees of its view, as (included, OID).
VIEWS = {
    "all": [(True, layout.ARC)],
    "wide": [(True, layout.ARC[:6])],
    "objects": [(True, layout.OBJECTS)],
    "table": [(True, HTTP)],
    "notable": [(True, layout.ARC), (False, HTTP)],
    "nocolumn": [(True, layout.ARC), (False, LATENCY)],
    "column": [(True, layout.ARC[:6]), (False, layout.ARC), (True, LATENCY)],
    "norow": [(True, layout.ARC)] + [(False, row) for row in ROWS],
    "nothing": [(True, layout.ARC[:6]), (False, layout.ARC)],
}


def configuration():
    for name, view in VIEWS.items():
        yield f"com2sec {name}Name default {name}"
        yield f"group {name}Group v2c {name}Name"
        yield f'access {name}Group "" any noauth exact {name}View none none'
        for included, oid in view:
            yield f"view {name}View {'included' if included else 'excluded'} {layout.dotted(oid)}"


def sees(name, oid):
    """The longest subtree of the view that has the OID decides (RFC 3415, 4)."""
    subtrees = [(len(root), included) for included, root in VIEWS[name] if oid[:len(root)] == root]
    return bool(subtrees) and max(subtrees)[1]


class Views(AgentCase):
    def setUp(self):
        super().setUp()
        agent = self.start("--snmp-conf", self.scratch.file("views.conf", "\n".join(configuration()) + "\n"))
        with agent.client("lab") as client:
            for at in range(HOSTS):
                target = {"host": f"host{at}", "address": f"192.0.2.{at}"}
                client.put(probe="icmp", latency=at, **target)
                client.put(probe="tcp", port=80, **target)
                client.put(probe="http", host=f"host{at}", url="u")
            client.sync()
        self.everything = agent.model.varbinds()
        self.names = [name for name, _, _ in self.everything]
        self.visible = {view: [varbind for varbind in self.everything if sees(view, varbind[0])]
                        for view in VIEWS}
        self.clients = {view: udp.Client(agent.port, community=view) for view in VIEWS}
        for client in self.clients.values():
            self.addCleanup(client.close)

    def gets(self, view, names):
        got = self.clients[view].get(*names).varbinds
        self.assert_varbinds(got, [walking.value(self.everything, name) if sees(view, name)
                                   else (name, "noSuchObject", None) for name in names])

    def bulk(self, view, name, repetitions):
        got = self.clients[view].get_bulk(name, max_repetitions=repetitions).varbinds
        self.assert_bulk(got, walking.bulk(self.visible[view], [name], 0, repetitions))

    def test_the_views_differ(self):
        sizes = {view: len(varbinds) for view, varbinds in self.visible.items()}
        whole = len(self.everything)
        http, column = HOSTS * len(layout.columns("http")), HOSTS
        self.assertEqual(sizes, {"all": whole, "wide": whole, "objects": whole, "table": http,
                                 "notable": whole - http, "nocolumn": whole - column, "column": column,
                                 "norow": whole - len(ROWS), "nothing": 0})

    def test_a_request_for_many_varbinds_gets_those_of_its_view(self):
        for view in VIEWS:
            with self.subTest(view=view):
                for at in range(0, len(self.names), 30):
                    self.gets(view, self.names[at:at + 30])

    def test_hidden_and_visible_ones_in_any_order(self):
        for view in VIEWS:
            hidden = [name for name in self.names if not sees(view, name)]
            visible = [name for name, _, _ in self.visible[view]]
            with self.subTest(view=view):
                for names in (visible[:3] + hidden[:3], hidden[:3] + visible[:3],
                              visible[:2] + hidden[:1] + visible[2:4] + hidden[1:2]):
                    self.gets(view, names)

    def test_getnext_of_many_finds_what_is_next_in_the_view(self):
        for view in VIEWS:
            with self.subTest(view=view):
                for at in range(0, len(self.names), 20):
                    names = [layout.OBJECTS, *self.names[at:at + 20]]
                    self.assert_varbinds(
                        self.clients[view].get_next(*names).varbinds,
                        [walking.successor(self.visible[view], name) for name in names])

    def test_bulk_requests_find_the_same(self):
        for view in VIEWS:
            with self.subTest(view=view):
                for name in (layout.OBJECTS, LATENCY[:-1], LATENCY, HTTP, ROWS[0]):
                    for repetitions in (1, 2, 3, 30):
                        self.bulk(view, name, repetitions)

    def test_what_one_manager_may_see_does_not_pass_to_the_next(self):
        # The agent keeps a request where it kept an earlier one; which of them is its allocator's matter.
        for view in VIEWS:
            for before in range(1, 5):
                for _ in range(before):
                    self.bulk("all", LATENCY, 10)
                self.bulk(view, LATENCY, 10)
                for _ in range(before):
                    self.gets("all", self.names[:10])
                self.gets(view, self.names[:10])


if __name__ == "__main__":
    unittest.main()
