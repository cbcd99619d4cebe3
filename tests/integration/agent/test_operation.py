"""Starting and ending: options, settings, and what keeps an agent from starting."""

import os
import signal
import socket
import unittest

from support import layout, places, sockets, tools
from support.case import AgentCase
from support.waiting import until

SETTINGS = ("feed", "feed-file", "listen", "agentx", "snmp-conf", "community", "trace", "trace-file",
            "plugin", "slice-budget", "max-contexts", "interfaces", "verbose")
NOWHERE = "/nonexistent/file"


class WordsOnly(AgentCase):
    """Options that print something and end."""

    def test_help_tells_every_option(self):
        process = self.run_to_end("--help")
        self.assertEqual((process.status, process.stderr), (0, ""))
        for option in (*SETTINGS, "config", "check-config", "help", "version"):
            self.assertIn(f"--{option} ", process.output("stdout").replace("\n", " \n"))

    def test_version_is_one_line(self):
        process = self.run_to_end("--version")
        self.assertEqual((process.status, process.stderr), (0, ""))
        self.assertRegex(process.output("stdout"), r"\Aconmon-snmpd \d+\.\d+\.\d+\n\Z")


class BadCommandLines(AgentCase):
    def test_a_bad_command_line_is_one_clear_line(self):
        for words, *parts in (
                (["--nope"], "--nope"),
                (["word"], "word"),
                (["--listen"], "--listen"),
                (["--listen", "127.0.0.1:1161"], "--listen", "udp:ADDRESS:PORT", "127.0.0.1:1161"),
                (["--listen", "sctp:127.0.0.1:1161"], "--listen", "sctp:127.0.0.1:1161"),
                (["--listen", "udp:127.0.0.1"], "--listen"),
                (["--listen", "udp:127.0.0.1:0"], "--listen"),
                (["--listen", "udp:127.0.0.1:65536"], "--listen"),
                (["--listen", "udp:localhost:1161"], "--listen"),
                (["--listen", "udp6:::1:1161"], "--listen"),
                (["--listen", "udp:127.0.0.1:1161", "--agentx", "x"], "--listen", "--agentx"),
                (["--trace", "ConnectivityMonitorSnmp"], "--trace", "UNIT=LEVEL"),
                (["--trace", "Nobody=1"], "--trace", "Nobody", "velmorConMonMIB"),
                (["--trace", "velmorConMonMIB=10"], "--trace", "10", "0 to 9"),
                (["--trace", "velmorConMonMIB=-1"], "--trace"),
                (["--trace", "velmorConMonMIB=x"], "--trace"),
                (["--trace", "velmorConMonMIB=1,"], "--trace"),
                (["--trace", ""], "--trace"),
                (["--interfaces", "both"], "--interfaces", "kernel or feed"),
                (["--slice-budget", "0"], "--slice-budget", "1 to 1000"),
                (["--slice-budget", "1001"], "--slice-budget"),
                (["--slice-budget", "fast"], "--slice-budget"),
                (["--community", ""], "--community"),
                (["--community", "with blank"], "--community"),
                (["--community", "x" * 65], "--community"),
                (["--feed", ""], "--feed"),
                (["--config", NOWHERE], NOWHERE, "No such file")):
            with self.subTest(words=words):
                self.assert_refused(self.run_to_end(*words), *parts)


class BadConfigurations(AgentCase):
    def check(self, text, line, *parts):
        path = self.scratch.file("bad.yaml", text)
        for more in ((), ("--check-config",)):
            with self.subTest(text=text, more=more):
                self.assert_refused(self.run_to_end("--config", path, *more), f"{path}:{line}: ", *parts)

    def test_an_unknown_key_is_named_with_file_and_line(self):
        self.check("community: x\n\n# comment\nlisten-on: udp:127.0.0.1:1161\n", 4, "listen-on")
        self.check("Community: x\n", 1, "Community")
        self.check("config: other.yaml\n", 1, "config")

    def test_a_bad_value_is_named_with_file_line_and_key(self):
        for line, *parts in (
                ("listen: sctp:127.0.0.1:1161", "listen", "udp:ADDRESS:PORT"),
                ("listen: 1161", "listen"),
                ("listen: []", "listen"),
                ("listen: {udp: 1161}", "listen"),
                ("feed:", "feed"),
                ("feed: [a, b]", "feed"),
                ("feed-file: {}", "feed-file"),
                ("community: 'with blank'", "community"),
                ("community: ''", "community"),
                ("slice-budget: 0", "slice-budget"),
                ("slice-budget: 2.5", "slice-budget"),
                ("slice-budget: soon", "slice-budget"),
                ("trace: velmorConMonMIB", "trace"),
                ("trace: {velmorConMonMIB: 10}", "trace", "10"),
                ("trace: {Nobody: 1}", "trace", "Nobody"),
                ("trace: [velmorConMonMIB=1]", "trace")):
            self.check(f"# first\n{line}\n", 2, *parts)

    def test_a_key_given_twice_is_refused_at_its_second_place(self):
        self.check("feed: a\ncommunity: x\nfeed: b\n", 3, "feed")

    def test_listen_and_agentx_exclude_each_other(self):
        self.check("listen: udp:127.0.0.1:1161\nagentx: /x\n", 2, "agentx")

    def test_text_that_is_no_yaml_or_no_map_is_refused_with_its_line(self):
        self.check("community: x\nlisten: [udp\n", 3)
        self.check("a: b: c\n", 1)
        self.check("- listen\n", 1)
        self.check("just words\n", 1)

    def test_a_file_that_cannot_be_read_is_named(self):
        for path, reason in ((NOWHERE, "No such file"), (self.scratch.path, "Is a directory")):
            self.assert_refused(self.run_to_end("--config", path), path, reason)


class WhatKeepsItFromStarting(AgentCase):
    def listen(self):
        return "--listen", f"udp:127.0.0.1:{sockets.free_port()}"

    def test_one_port_of_two_in_use(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as other:
            other.bind(("127.0.0.1", 0))
            taken = f"udp:127.0.0.1:{other.getsockname()[1]}"
            self.assert_refused(self.run_to_end(*self.listen(), "--listen", taken), taken)

    def test_an_address_that_this_machine_does_not_have(self):
        process = self.run_to_end("--listen", "udp:192.0.2.1:1161")
        self.assert_refused(process, "udp:192.0.2.1:1161", "Cannot assign requested address")

    def test_files_that_are_no_plug_in(self):
        for path in (self.scratch.file("text.so", "text"), self.scratch.path,
                     places.PLUGIN.parent / "libConMonPlatform.so"):
            self.assert_refused(self.run_to_end(*self.listen(), "--plugin", path), "plug-in", path)

    def test_folders_in_place_of_files(self):
        for option in ("--feed-file", "--snmp-conf", "--trace-file"):
            process = self.run_to_end(*self.listen(), option, self.scratch.path)
            self.assert_refused(process, option, self.scratch.path, "Is a directory")

    def test_places_where_no_feed_can_be(self):
        for path, reason in ((NOWHERE, "No such file"), (self.scratch.path, "no socket"),
                             (self.scratch.file("file", ""), "no socket"),
                             ("/tmp/" + "x" * 200, "1 to 107 bytes")):
            self.assert_refused(self.run_to_end(*self.listen(), "--feed", path), "--feed", path, reason)
        self.assertEqual((self.scratch.path / "file").read_text(), "")

    def test_a_feed_that_another_agent_serves(self):
        first = self.start()
        process = self.run_to_end(*self.listen(), "--feed", first.feed_path)
        self.assert_refused(process, "--feed", first.feed_path, "another process listens")
        first.check_alive()

    def test_a_start_that_failed_leaves_nothing_behind(self):
        feed = self.scratch.path / "feed.sock"
        process = self.run_to_end(*self.listen(), "--feed", feed, "--feed-file", NOWHERE)
        self.assert_refused(process, NOWHERE)
        self.assertFalse(feed.exists())


class Settings(AgentCase):
    def test_all_settings_of_a_file_take_effect_and_its_paths_are_relative_to_it(self):
        folder = self.scratch.path / "etc"
        folder.mkdir()
        (folder / "records.jsonl").write_text(
            '{"op":"hello","client":"file"}\n{"op":"put","host":"h","probe":"http","url":"u"}\n')
        (folder / "users.conf").write_text("createUser demo SHA demo-auth-pass AES demo-priv-pass\n"
                                           "rouser demo priv -V conmonLocal *\n")
        port = sockets.free_port()
        config = folder / "agent.yaml"
        config.write_text(f"listen: [\"udp:127.0.0.1:{port}\"]\nfeed: feed.sock\n"
                          "feed-file: [records.jsonl]\nsnmp-conf: users.conf\ncommunity: s3cret\n"
                          "slice-budget: 5\ntrace: {velmorConMonMIB: 2}\ntrace-file: trace.log\n"
                          f"plugin: {places.PLUGIN}\n")
        agent = self.start("--config", config, listen=False, feed_socket=False)
        agent.model.apply("file", {"op": "put", "host": "h", "probe": "http", "url": "u"})
        walker = tools.Tools(self.scratch, f"udp:127.0.0.1:{port}")
        for access in (tools.v2c("s3cret"), tools.v3("demo", "demo-auth-pass", "demo-priv-pass")):
            until(lambda: walker.walk(access=access) == agent.model.varbinds(), "the rows of the file")
        self.assertEqual(sockets.unix_sockets(agent.pid), {str(folder / "feed.sock")})
        until(lambda: "velmorConMonMIB:2: " in (folder / "trace.log").read_text(), "trace lines")
        self.assertEqual(agent.said(), "")

    def test_agentx_on_the_command_line_wins_over_listen_in_the_file(self):
        config = self.scratch.file("agent.yaml", "listen: udp:127.0.0.1:1\n")
        agent = self.start("--config", config, "--agentx", self.scratch.path / "x.sock", listen=False)
        self.assertEqual(sockets.inet_sockets(agent.pid), set())

    def test_an_empty_file_changes_nothing(self):
        for at, text in enumerate(("", "# nothing\n", "---\n", "{}\n")):
            config = self.scratch.file(f"empty{at}.yaml", text)
            agent = self.start("--config", config, name=f"agent{at}")
            self.assertEqual(agent.tools.walk(), [])

    def test_an_agent_that_starts_and_ends_well_says_nothing(self):
        agent = self.start()
        with agent.client() as client:
            client.put("h", "http", url="u")
            client.sync()
        self.assert_serves(agent)
        agent.stop()
        self.assertEqual((agent.said(), agent.process.output("stdout")), ("", ""))


class Ends(AgentCase):
    def test_it_ends_while_clients_send_and_do_not_read(self):
        agent = self.start()
        connection = agent.feed_connection()
        connection.ask(op="hello", client="lab")
        connection.send_while_taken(b'{"op":"sync"}\n' * 50_000)
        agent.process.signal(signal.SIGTERM)
        self.assertEqual(agent.process.wait(), 0)

    def test_it_ends_right_after_its_start(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            agent = self.start(name=f"agent{number}", feed_socket=False)
            agent.process.signal(number)
            self.assertEqual(agent.process.wait(), 0, str(agent.process))

    def test_a_second_signal_does_no_harm(self):
        agent = self.start()
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGTERM):
            agent.process.signal(number)
        self.assertEqual(agent.process.wait(), 0)


class Signals(AgentCase):
    def test_a_stopped_agent_goes_on_where_it_was(self):
        agent = self.start()
        client = agent.client()
        for at in range(5):
            client.put(f"h{at}", "icmp", address="192.0.2.1", latency=at)
            agent.process.signal(signal.SIGSTOP)
            agent.process.signal(signal.SIGCONT)
            client.sync()
            self.assert_serves(agent)

    def test_requests_and_lines_that_came_while_it_was_stopped_are_served(self):
        agent = self.start()
        client = agent.client()
        client.put("h", "icmp", address="192.0.2.1")
        client.sync()
        agent.process.signal(signal.SIGSTOP)
        until(lambda: self.state(agent.pid) == "T", "the stop")
        client.connection.send(b'{"op":"put","host":"i","probe":"http","url":"u"}\n')
        client.model.apply("lab", {"op": "put", "host": "i", "probe": "http", "url": "u"})
        agent.process.signal(signal.SIGCONT)
        self.assertEqual(client.connection.answer(), {"ok": True})
        client.sync()
        self.assert_serves(agent)

    @staticmethod
    def state(pid):
        with open(f"/proc/{pid}/stat") as stat:
            return stat.read().rsplit(")", 1)[1].split()[0]

    def test_signals_in_quick_succession_interrupt_nothing(self):
        agent = self.start()
        client = agent.client()
        lines = [{"op": "put", "host": f"h{at}", "probe": "icmp", "address": "192.0.2.1"}
                 for at in range(100)]
        for at in range(0, 100, 10):
            for number in (signal.SIGCHLD, signal.SIGPIPE, signal.SIGWINCH, signal.SIGURG, signal.SIGHUP):
                agent.process.signal(number)
            client.say_all(lines[at:at + 10])
        client.sync()
        until(lambda: agent.tools.walk() == agent.model.varbinds(), "all rows")


class WhatCannotBeWritten(AgentCase):
    """Traces and complaints are lost then, and nothing else."""

    def assert_works(self, *arguments, **how):
        # It complains at its start: of a file's line.
        records = self.scratch.file("bad.jsonl", "nonsense\n")
        agent = self.start("--trace", "ConnectivityMonitorSnmpTableSm=9", "--feed-file", records,
                           *arguments, **how)
        with agent.client() as client:
            client.put("h", "icmp", address="192.0.2.1")
            client.sync()
        self.assert_serves(agent)

    def test_standard_error_whose_reader_is_gone(self):
        # What is written to a pipe without reader raises SIGPIPE.
        reader, writer = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, writer)
        self.assert_works(error_stream=writer)

    def test_standard_error_on_a_full_disk(self):
        with open("/dev/full", "wb") as full:
            self.assert_works(error_stream=full)

    def test_a_trace_file_on_a_full_disk(self):
        self.assert_works("--trace-file", "/dev/full")


if __name__ == "__main__":
    unittest.main()
