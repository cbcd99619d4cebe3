"""The real prober beside the real agent: both processes, things to probe, and the rows that a
manager reads. Processes, SNMP and waiting are those of the agent's tests (../agent/support)."""

import collections
import contextlib
import http.server
import json
import os
import pathlib
import select
import signal
import socket
import subprocess
import sys
import threading

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "agent"))

from support import layout, places, tools
from support.case import AgentCase
from support.conmon import Agent
from support.process import Process
from support.waiting import PATIENCE, until

PROBER = pathlib.Path(os.environ.get("CONMON_PROBED", places.ROOT / "build/release/bin/conmon-probed"))

# What tells a row from the others of its table; None where the table has no such column.
Row = collections.namedtuple("Row", "probe host target port if_index")

# Rounds that follow each other quickly. Whether they find an answer in time is up to the machine.
SHORT = "interval: 100ms, timeout: 90ms, burst: 2, burst-gap: 1ms"

ANSWERED, NO_ANSWER = "answered", "no answer"


def row(probe, host, target, port=None, if_index=0):
    return Row(probe, host, target, port, if_index)


def table(agent_tools, vrf="default"):
    """What a manager reads: [(Row, {column: value})] of all tables, whatever is in them, in order."""
    access = tools.v2c("public" if vrf == "default" else f"public@{vrf}")
    found = []
    for probe, (_, names) in layout.TABLES.items():
        cells = collections.defaultdict(dict)
        for oid, _, value in agent_tools.walk(layout.table_oid(probe), access=access):
            at = len(layout.OBJECTS) + 2
            cells[oid[at + 1:]][names[oid[at] - layout.FIRST_COLUMN]] = value
        for columns in cells.values():
            if len(columns) == len(names):  # else it came or went while we read
                found.append((_row_of(probe, columns), columns))
    return sorted(found, key=lambda each: each[0])


def _row_of(probe, columns):
    if probe == "http":
        target = columns["Url"].decode()
    else:
        octets = columns["IpAddr"]
        target = socket.inet_ntop(socket.AF_INET if len(octets) == 4 else socket.AF_INET6, octets)
    return Row(probe, columns["Host"].decode(), target, columns.get("Port"), columns["IfIndex"])


def outcome(columns):
    """What the measurements say. What was measured is never 0, or this fails; a jitter may be, when
    there was one answer only."""
    time = columns.get("LatencyValue", columns.get("ResponseTimeValue"))
    if time > 0:
        if columns.get("PacketLoss", 0) == 100:
            raise AssertionError(f"a latency of nothing: {columns}")
        return ANSWERED
    if columns.get("PacketLoss", 100) != 100 or columns.get("JitterValue", 0) != 0:
        raise AssertionError(f"measured, and yet 0: {columns}")
    return NO_ANSWER


class Prober:
    """conmon-probed in a test's folder. `write` says what it is to do; `start` and `reload` make it."""

    def __init__(self, scratch, agent_socket, client="lab"):
        self._scratch = scratch
        self._head = f"client: {client}\nstatus-socket: status.sock\n"
        self._agent_socket = agent_socket
        self.status_socket = scratch.path / "status.sock"
        self.config = scratch.path / "probes.yaml"
        self.process = None

    def write(self, hosts, hold="1h", more="", defaults=SHORT):
        """`hosts` are YAML flow maps; `more` is put at the end of the file as it is."""
        self.config.write_text(
            f"{self._head}agent: {{socket: {self._agent_socket}, hold: {hold}}}\n"
            f"defaults: {{{defaults}}}\nhosts: [{', '.join(hosts)}]\n{more}")

    def start(self):
        self.process = Process("conmon-probed", [PROBER, "--config", self.config], self._scratch)
        until(self._answers, lambda: f"the start of {self.process}")

    def _answers(self):
        if self.process.status is not None:
            raise AssertionError(f"did not start: {self.process}")
        try:
            return self.status()
        except (FileNotFoundError, ConnectionRefusedError):
            return False

    def status(self):
        with socket.socket(socket.AF_UNIX) as reader:
            reader.settimeout(PATIENCE)
            reader.connect(str(self.status_socket))
            with reader.makefile("rb") as stream:
                return json.loads(stream.read())

    def tries(self):
        """How often it has read its configuration, with success or without."""
        configuration = self.status()["configuration"]
        return configuration["loads"] + configuration["failures"]

    def reload(self):
        before = self.tries()
        self.process.signal(signal.SIGHUP)
        until(lambda: self.tries() > before, lambda: f"a reload of {self.process}")

    def rounds(self, host):
        return sum(probe["rounds"] for probe in self.status()["probes"] if probe["host"] == host)

    def kill(self):
        """Gives it no chance to say a word."""
        self.process.kill()
        self.process.close()
        self.process = None

    def stop(self):
        """Ends it as its user does; that has to be clean."""
        process, self.process = self.process, None
        process.signal(signal.SIGTERM)
        try:
            if process.wait() != 0 or process.sanitizer_reports():
                raise AssertionError(f"not a clean end: {process}")
        finally:
            print(f"-- {process}", flush=True)
            process.close()

    def close(self):
        if self.process is not None:
            self.stop()


class WebServer:
    """Answers `/status/N` with status N, and `/held...` once `release` was called. What reaches it is
    noted in `requests`."""

    def __init__(self):
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_GET(self):
                held = self.path.startswith("/held")
                with outer._lock:
                    outer.requests.append(self.path)
                    if held:
                        outer._connections[self.path] = self.connection
                if held:
                    outer._released.wait()
                status = int(self.path.rpartition("/")[2]) if self.path.startswith("/status/") else 200
                with contextlib.suppress(OSError):
                    self.send_response(status)
                    self.send_header("Content-Length", "0")
                    self.end_headers()

            def log_message(self, *_):
                pass

        self.requests = []
        self._connections = {}
        self._lock = threading.Lock()
        self._released = threading.Event()
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self._server.daemon_threads = True
        self.port = self._server.server_address[1]
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def url(self, path):
        return f"http://127.0.0.1:{self.port}{path}"

    def count(self, path):
        with self._lock:
            return self.requests.count(path)

    def was_hung_up(self, path):
        """Whether the client of a held request has closed its connection."""
        with self._lock:
            connection = self._connections[path]
        readable = select.select([connection], [], [], 0)[0]
        return bool(readable) and connection.recv(1, socket.MSG_PEEK) == b""

    def release(self):
        self._released.set()

    def close(self):
        self.release()
        self._server.shutdown()
        self._server.server_close()


class Namespace:
    """A network namespace with its loopback up. Its name is of this process alone."""

    def __init__(self, name):
        self.name = f"conmon-{name}-{os.getpid()}"
        self._ip("netns", "add", self.name)
        self._ip("-n", self.name, "link", "set", "lo", "up")

    @staticmethod
    def _ip(*words):
        subprocess.run([places.program("ip"), *words], check=True, timeout=PATIENCE)

    def answer_no_echo(self):
        """From now on no echo request is answered in there."""
        self._ip("netns", "exec", self.name, "sh", "-c",
                 "echo 1 >/proc/sys/net/ipv4/icmp_echo_ignore_all")

    def close(self):
        self._ip("netns", "del", self.name)


class ProberCase(AgentCase):
    """Each test has an agent, a prober that is not yet started, a web server and a port that
    refuses."""

    def setUp(self):
        super().setUp()
        self.agent = None
        self.addCleanup(self.end_agent)
        self.start_agent()
        self.prober = Prober(self.scratch, self.agent.feed_path)
        self.addCleanup(self.prober.close)
        self.web = WebServer()
        self.addCleanup(self.web.close)
        # Bound and not listening: nobody else can take the port and answer at it.
        self._refusing = socket.socket()
        self.addCleanup(self._refusing.close)
        self._refusing.bind(("127.0.0.1", 0))
        self.refusing_port = self._refusing.getsockname()[1]

    def start_agent(self):
        self.agent = Agent(self.scratch)

    def end_agent(self):
        if self.agent is not None:
            agent, self.agent = self.agent, None
            agent.close()

    def kill_agent(self):
        agent, self.agent = self.agent, None
        agent.process.kill()
        agent.snmp.close()
        agent.process.close()

    def namespace(self, name):
        namespace = Namespace(name)
        self.addCleanup(namespace.close)
        return namespace

    # Hosts as the configuration writes them, and the rows that they lead to.

    def tcp(self, host, port=None, more=""):
        port = port or self.web.port
        return (f"{{name: {host}, address: 127.0.0.1, tcp: {{port: {port}{more}}}}}",
                row("tcp", host, "127.0.0.1", port))

    def http(self, host, path="/", more=""):
        url = self.web.url(path)
        return (f'{{name: {host}, http: {{url: "{url}"{more}}}}}', row("http", host, url))

    @staticmethod
    def icmp(host, address="127.0.0.1"):
        return (f'{{name: {host}, address: "{address}", icmp: {{}}}}', row("icmp", host, address))

    def write(self, *pairs, **how):
        """Configures pairs of a host and its row; returns the rows, in order."""
        self.prober.write([host for host, _ in pairs], **how)
        return sorted(made for _, made in pairs)

    # What a manager reads.

    def table(self, vrf="default"):
        return table(self.agent.tools, vrf)

    def rows(self, vrf="default"):
        return [each for each, _ in self.table(vrf)]

    def outcomes(self, vrf="default"):
        return {each: outcome(columns) for each, columns in self.table(vrf)}

    def wait_for_rows(self, expected, vrf="default"):
        """Just these rows, each once."""
        def seen():
            return f"the rows {expected} in place of {self.rows(vrf)}; {self.prober.process}"

        until(lambda: self.rows(vrf) == sorted(expected), seen)

    def wait_for_outcomes(self, expected, vrf="default"):
        self.wait_for_rows(expected, vrf)
        until(lambda: self.outcomes(vrf) == expected,
              lambda: f"the outcomes {expected} in place of {self.outcomes(vrf)}; {self.prober.process}")

    def wait_for_news(self, host):
        """Rounds that began after this call have ended and were told."""
        before = self.prober.rounds(host)
        until(lambda: self.prober.rounds(host) >= before + 3, f"further rounds of {host}")
