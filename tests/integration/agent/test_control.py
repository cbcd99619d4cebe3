"""What the running agent tells of itself, through the socket."""

import unittest

from support.case import AgentCase, SharedAgentCase
from support.waiting import until

ROWS = 2500
MANY = 20_000


def everything(connection, op, name, **question):
    """All items of a list, and the sizes of its pieces; how long they are is the agent's affair."""
    items, pieces = [], []
    while True:
        answer = connection.ask(op=op, **question)
        if answer.get("ok") is not True:
            raise AssertionError(f"{op} {question} was answered {answer}")
        items += answer[name]
        pieces.append(len(answer[name]))
        if "next" not in answer:
            return items, pieces
        question["after"] = answer["next"]


class Asked(SharedAgentCase):
    """One agent with records of each kind, asked everything."""

    @classmethod
    def prepare(cls):
        cls.lab = cls.agent.client("lab", holdSeconds=60)
        cls.lab.interface("eth901", 7)
        cls.lab.put("web", "icmp", interface="eth901", address="192.0.2.1", latency=12.345, jitter=0.2,
                    packetLoss=0.4, result="5 of 5")
        cls.lab.put("web", "http", url="http://192.0.2.1/?a=%20b", responseTime=25.75)
        cls.lab.put("db", "tcp", vrf="blue", address="2001:db8::1", port=5432, latency=1.5,
                    result="slow, but there")
        cls.lab.put("db", "tcp", vrf="blue", interface="eth909", address="2001:db8::2", port=1)
        cls.other = cls.agent.client("other")
        cls.other.put("\u00e9\x1b", "icmp", vrf="a/b %", address="192.0.2.2")
        cls.other.sync()
        cls.asker = cls.agent.feed_connection()

    def ask(self, op, **fields):
        answer = self.asker.ask(op=op, **fields)
        self.assertIs(answer.get("ok"), True, answer)
        return answer

    def list(self, op, name, **fields):
        return everything(self.asker, op, name, **fields)[0]

    def assert_refused(self, error, op, **fields):
        answer = self.asker.ask(op=op, **fields)
        self.assertEqual((answer["ok"], answer.get("error")), (False, error))

    def test_rows_have_everything_a_person_wants_to_know(self):
        self.assertEqual(self.list("tables", "rows"), [
            {"table": "icmp", "key": "labweb192.0.2.17", "client": "lab", "host": "web",
             "address": "192.0.2.1", "interface": "eth901", "ifIndex": 7,
             "latency": 12.345, "jitter": 0.2, "packetLoss": 0, "result": "5 of 5"},
            {"table": "http", "key": "labwebhttp://192.0.2.1/?a=%20b0", "client": "lab",
             "host": "web", "url": "http://192.0.2.1/?a=%20b", "interface": "", "ifIndex": 0,
             "responseTime": 25.75, "result": ""}])
        (row,) = self.list("tables", "rows", vrf="blue")
        self.assertEqual((row["table"], row["address"], row["port"], row["latency"], row["result"]),
                         ("tcp", "2001:db8::1", 5432, 1.5, "slow, but there"))
        (row,) = self.list("tables", "rows", vrf="a/b %")
        self.assertEqual(row["host"], "\u00e9\x1b")

    def test_rows_are_read_in_pieces_across_tables(self):
        rows, pieces = everything(self.asker, "tables", "rows", limit=1)
        self.assertEqual(pieces, [1, 1])
        self.assertEqual(rows, self.list("tables", "rows"))

    def test_wrong_questions_about_rows_are_refused(self):
        self.assert_refused("vrf: no such VRF", "tables", vrf="red")
        self.assert_refused("after: must be the next of an answer", "tables", after="nonsense")
        self.assert_refused("after: must be the next of an answer", "tables", after="udp/x")
        self.assert_refused("after: not a field of stats", "stats", after="x")
        self.assert_refused("limit: must be a whole number from 1 to 1000", "tables", limit=0)

    def test_the_store_is_shown_from_its_root(self):
        root = self.ask("show")
        self.assertEqual(root["type"], "Qiv::Dir")
        self.assertEqual(root["attributes"],
                         [{"name": "name", "value": ""}, {"name": "entityPtr", "size": 2}])
        lab = self.ask("show", path="connectivityMonitor/status/lab")
        self.assertEqual(lab["type"], "ConnectivityMonitor::StatusDir")
        path = "connectivityMonitor/status/lab/hostStatus"
        self.assertEqual(self.ask("show", path=path)["size"], 2)
        self.assertEqual({element["key"] for element in self.list("show", "elements", path=path)},
                         {"web,default", "db,blue"})
        self.assertEqual(self.ask("show", path="snmp/ifMib/ifIndexByIntfId/eth901")["value"], 7)

    def test_each_place_that_an_answer_names_can_be_shown(self):
        seen, waiting = set(), [""]
        while waiting:
            path = waiting.pop()
            if path in seen or path.count("/") > 13:
                continue
            seen.add(path)
            answer = self.ask("show", path=path)
            elements = self.list("show", "elements", path=path) if "elements" in answer else []
            for below in answer.get("attributes", []) + elements:
                if "function" not in below:
                    name = below.get("name", below.get("key"))
                    waiting.append(f"{path}/{name}" if path else name)
        self.assertGreater(len(seen), 100)

    def test_wrong_places_are_refused(self):
        self.assert_refused('path: Qiv::Dir has no "nobody"', "show", path="nobody/at/home")
        self.assert_refused('path: "%zz" has a % without two digits', "show", path="%zz")
        self.assert_refused("after: this path leads to no collection", "show", path="", after="x")
        self.assert_refused("after: not a key: wrong number of fields", "show",
                            path="connectivityMonitor/status/lab/hostStatus", after="x")

    def test_functions_are_not_called(self):
        mib = self.ask("show", path="snmp/connectivityMonitor/conMonMib/default")
        self.assertIn({"name": "uniqueKey", "function": True}, mib["attributes"])
        self.assert_refused('path: ConnectivityMonitorSnmp::ConnectivityMonitorMib has no "uniqueKey"',
                            "show", path="snmp/connectivityMonitor/conMonMib/default/uniqueKey")

    def test_vrfs_have_counts_rows_and_walks(self):
        self.agent.tools.walk()
        vrfs = {vrf["name"]: vrf for vrf in self.list("vrfs", "vrfs")}
        self.assertEqual(set(vrfs), {"default", "blue", "a/b %"})
        self.assertEqual({name: vrf["count"] for name, vrf in vrfs.items()},
                         {"default": 2, "blue": 1, "a/b %": 1})
        self.assertEqual({table: of["rows"] for table, of in vrfs["default"]["tables"].items()},
                         {"icmp": 1, "http": 1, "tcp": 0})
        self.assertGreater(sum(vrfs["default"]["tables"]["icmp"]["walks"].values()), 0)
        paged, pieces = everything(self.asker, "vrfs", "vrfs", limit=1)
        self.assertEqual((pieces, {vrf["name"] for vrf in paged}), ([1, 1, 1], set(vrfs)))

    def test_clients_have_connections_holds_and_records(self):
        clients = {client["name"]: client for client in self.list("clients", "clients")}
        self.assertEqual(clients["lab"],
                         {"name": "lab", "connections": 1, "holdSeconds": 60.0, "records": 4})
        self.assertEqual(clients["other"],
                         {"name": "other", "connections": 1, "holdSeconds": None, "records": 1})
        paged, _ = everything(self.asker, "clients", "clients", limit=1)
        self.assertEqual([client["name"] for client in paged], sorted(clients))

    def test_interfaces_know_who_set_them(self):
        self.assertEqual(
            [each for each in self.list("interfaces", "interfaces", limit=1)
             if each["name"] in ("eth901", "eth909")],
            [{"name": "eth901", "ifIndex": 7, "source": "feed", "client": "lab"},
             {"name": "eth909", "ifIndex": None}])

    def test_stats_count_lines_events_and_shared_rows(self):
        before = self.ask("stats")
        self.assertEqual(before["gate"], {"state": "open", "replacements": 0})
        self.assertEqual(before["tables"]["tcp"]["events"],
                         {"published": 2, "unchanged": 0, "removed": 0})
        machine = before["tables"]["tcp"]["machine"]
        self.assertTrue(machine["ready"] and machine["initialScanDone"], machine)
        self.assertEqual(machine["waitingInterfaces"], 1)
        self.assertEqual((before["records"], before["changes"]["waiting"]), (5, 0))
        self.asker.ask(op="nonsense")
        after = self.ask("stats")
        self.assertEqual(after["lines"]["taken"], before["lines"]["taken"] + 2)
        self.assertEqual(after["lines"]["refused"], before["lines"]["refused"] + 1)


class Changing(AgentCase):
    def test_a_client_that_left_is_shown_until_its_time_is_over(self):
        agent = self.start()
        client = agent.client("short", holdSeconds=3600)
        client.put("h", "icmp", address="192.0.2.1")
        client.sync()
        client.close()
        with agent.feed_connection() as asker:
            def left():
                (shown,) = asker.ask(op="clients")["clients"]
                return shown if shown["connections"] == 0 else None
            shown = until(left, "the end of the connection")
        self.assertEqual(shown["records"], 1)
        self.assertGreater(shown["expiresInSeconds"], 0)
        self.assertLessEqual(shown["expiresInSeconds"], 3600)

    def test_records_that_share_a_row_are_counted(self):
        agent = self.start()
        client = agent.client()
        client.interface("a", 12)
        client.interface("b", 2)
        client.put("h", "icmp", interface="a", address="10.0.0.1")
        client.put("h", "icmp", interface="b", address="10.0.0.11")
        client.sync()
        with agent.feed_connection() as asker:
            self.assertEqual(asker.ask(op="stats")["sharedRows"], 1)

    def test_many_rows_are_read_in_pieces_while_they_change(self):
        agent = self.start()
        client = agent.client()
        def put(number, latency):
            return {"op": "put", "host": f"h{number}", "probe": "icmp", "address": "192.0.2.1",
                    "latency": latency}
        client.say_all([put(number, 1) for number in range(ROWS)] + [{"op": "sync"}])
        with agent.feed_connection() as asker:
            rows, pieces = everything(asker, "tables", "rows")
            self.assertEqual(len({row["key"] for row in rows}), ROWS)
            self.assertEqual(len(rows), ROWS)
            self.assertGreater(len(pieces), 2)
            answer = asker.ask(op="tables", limit=1000)
            client.say_all([put(number, 2) for number in range(ROWS)] +
                           [{"op": "remove", "host": rows[len(answer["rows"]) - 1]["host"],
                             "probe": "icmp", "address": "192.0.2.1"}, {"op": "sync"}])
            rest, _ = everything(asker, "tables", "rows", after=answer["next"])
            self.assertEqual([row["key"] for row in answer["rows"] + rest],
                             [row["key"] for row in rows])
            self.assertEqual({row["latency"] for row in rest}, {2.0})

    def test_an_asker_that_reads_nothing_harms_nobody(self):
        agent = self.start()
        client = agent.client()
        client.say_all([{"op": "put", "host": f"h{number}", "probe": "icmp", "address": "192.0.2.1"}
                        for number in range(ROWS)] + [{"op": "sync"}])
        with agent.feed_connection() as silent:
            # Blanks make it long, so that not too many of them fill what the kernel keeps.
            question = b'{"op":"tables"' + b" " * 5_000 + b"}\n"
            sent = silent.send_while_taken(question * MANY)
            self.assertLess(sent, len(question) * MANY, "it is not read from without end")
            client.put("late", "icmp", address="192.0.2.1")
            client.sync()
            self.assert_serves(agent)
            with agent.feed_connection() as asker:
                rows, _ = everything(asker, "tables", "rows")
            self.assertEqual(len(rows), ROWS + 1)
            silent.end_sending()
            answers = 0
            while silent.line() is not None:
                answers += 1
            self.assertEqual(answers, sent // len(question))

    def test_the_default_vrf_is_empty_before_its_first_row(self):
        with self.start().feed_connection() as asker:
            self.assertEqual(asker.ask(op="tables"), {"ok": True, "rows": []})

    def test_a_file_is_refused_questions(self):
        questions = self.scratch.file("questions", '{"op":"stats"}\n')
        agent = self.start("--feed-file", questions)
        until(lambda: any("nobody would read the answer" in line for line in agent.log()),
              "the refusal")


if __name__ == "__main__":
    unittest.main()
