"""The agent as AgentX subagent of a stock snmpd."""

import socket
import threading

from support import layout, tools
from support.case import AgentCase
from support.master import USER, Master
from support.waiting import until
from support.walking import END

# By context, the VRF that it shows.
CONTEXTS = {"": "default", "default": "default", "blue": "blue"}


class SubagentCase(AgentCase):
    def setUp(self):
        super().setUp()
        self.socket = self.scratch.path / "agentx.sock"

    def start_master(self):
        master = Master(self.scratch, self.socket, contexts=("blue", "default", "red"))
        self.addCleanup(master.close)
        return master

    def start_subagent(self, *arguments, **how):
        return self.start(*(arguments or ("--agentx", self.socket)), listen=False, **how)

    def fill(self, agent):
        with agent.client("lab") as client:
            client.interface("eth1", 7)
            for at in range(20):
                for vrf in ("default", "blue"):
                    client.put(f"h{at}", "icmp", vrf=vrf, address="192.0.2.1", latency=at)
                    client.put(f"h{at}", "http", vrf=vrf, url="u", interface="eth1", responseTime=2 * at)
                    client.put(f"h{at}", "tcp", vrf=vrf, address="2001:db8::1", port=at + 1)
            client.sync()

    @staticmethod
    def accesses(context):
        yield tools.v2c(f"public@{context}" if context else "public")
        yield tools.v3(*USER, context)

    def shows(self, master, agent, context, access):
        """Whether the whole walk through the master is right; it may not be yet."""
        done = self.try_walk(master, access)
        if done.returncode != 0:
            return False
        got = [varbind for varbind in tools.parse(done.stdout)
               if varbind[1] not in (END, "noSuchObject", "noSuchInstance")]
        return got == agent.model.varbinds(CONTEXTS.get(context, context))

    def wait_for_all(self, master, agent, contexts=tuple(CONTEXTS)):
        for context in contexts:
            for access in self.accesses(context):
                until(lambda: self.shows(master, agent, context, access),
                      lambda: f"the rows of context {context!r} through the master; {agent.process}")

    @staticmethod
    def try_walk(master, access):
        # A short time-out: requests for contexts that do not exist yet get no answer.
        return master.tools.run("snmpbulkwalk", *access, "-r", 0, "-t", 1, "-On", "-Ox",
                                master.tools.target, layout.dotted(layout.OBJECTS))

    def shows_nothing(self, master, context):
        done = self.try_walk(master, tools.v2c(f"public@{context}"))
        return "INTEGER" not in done.stdout and "STRING" not in done.stdout


class HangUp:
    """A server at a Unix socket that ends every connection at once, or that never says a word."""

    def __init__(self, path, deaf=False):
        self.path = path
        self.tries = 0
        self._deaf = deaf
        self._connections = []
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.bind(str(path))
        self._socket.listen()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        while True:
            try:
                connection, _ = self._socket.accept()
            except OSError:
                return
            self.tries += 1
            if self._deaf:
                self._connections.append(connection)
            else:
                connection.close()

    def close(self):
        self._socket.shutdown(socket.SHUT_RDWR)
        self._socket.close()
        self._thread.join()
        for connection in self._connections:
            connection.close()
