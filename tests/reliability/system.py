"""The whole system under faults: a stock snmpd in front, the agent as its subagent, and the prober;
and what a manager must read of it.

Whoever runs them starts again what has ended, as a service manager would, and does nothing else."""

import pathlib
import signal
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "integration/prober"))

from probing import Prober, WebServer, row, table  # and thereby ../agent/support
from support import layout, places, tools
from support.conmon import Agent
from support.master import Master
from support.subagent import END
from support.waiting import until

FILE_CLIENT = "file"
HOSTS = 3
PARTS = ("master", "agent", "prober")


class Reader:
    """Reads as tables are read, but soon gives up: what does not answer is asked again."""

    def __init__(self, agent_tools):
        self._tools = agent_tools

    def walk(self, oid=layout.OBJECTS, access=None):
        done = self._tools.run("snmpbulkwalk", *(access or tools.v2c()), "-r", 0, "-t", 2, "-On", "-Ox",
                               self._tools.target, layout.dotted(oid))
        if done.returncode != 0:
            raise AssertionError(done.stderr)
        return [varbind for varbind in tools.parse(done.stdout)
                if varbind[1] not in (END, "noSuchObject", "noSuchInstance")]


class System:
    """The default VRF has the prober's rows, VRF blue those of a file that the agent reads at its
    start and of whatever further clients say."""

    def __init__(self, scratch):
        self.scratch = scratch
        self._socket = scratch.path / "agentx.sock"
        # What net-snmp leaks when a master goes is known; its stack tells only with the slow unwinder.
        for name, more in (("ASAN_OPTIONS", "fast_unwind_on_malloc=0"),
                           ("LSAN_OPTIONS", f"suppressions={places.LEAKS}:print_suppressions=0")):
            before = scratch.environment.get(name)
            scratch.environment[name] = f"{before}:{more}" if before else more
        self._lines = [{"op": "put", "host": f"h{at}", "vrf": "blue", "probe": "http", "url": "u",
                        "responseTime": at} for at in range(1, 30)]
        hello = '{"op":"hello","client":"%s"}\n' % FILE_CLIENT
        self._file = scratch.file("feed.jsonl", hello + "".join(
            str(line).replace("'", '"') + "\n" for line in self._lines))
        self.web = WebServer()
        self.master = self.agent = None
        self.prober = Prober(scratch, scratch.path / "conmon-snmpd.sock")
        hosts = [f"{{name: tcp{at}, address: 127.0.0.1, tcp: {{port: {self.web.port}}}}}"
                 for at in range(HOSTS)]
        hosts += [f'{{name: web{at}, http: {{url: "{self.web.url("/")}"}}}}' for at in range(HOSTS)]
        self.prober.write(hosts)
        self.rows = sorted([row("tcp", f"tcp{at}", "127.0.0.1", self.web.port) for at in range(HOSTS)]
                           + [row("http", f"web{at}", self.web.url("/")) for at in range(HOSTS)])

    def start(self, part):
        if part == "master":
            self.master = Master(self.scratch, self._socket, contexts=("blue", "default"))
        elif part == "agent":
            self.agent = Agent(self.scratch, "--agentx", self._socket, "--feed-file", self._file,
                               listen=False)
            for line in self._lines:
                self.agent.model.apply(FILE_CLIENT, line)
        else:
            self.prober.start()

    def process(self, part):
        return getattr(self, part).process

    def kill(self, part):
        """Gives it no chance to say a word."""
        if part == "master":
            self.master.kill()
            self.master = None
        elif part == "agent":
            self.agent.process.kill()
            self.agent.process.close()
            self.agent = None
        else:
            self.prober.kill()

    def shows_the_truth(self):
        """Whether whole walks through the master show just the rows there should be."""
        reader = Reader(self.master.tools)
        try:
            blue = reader.walk(access=tools.v2c("public@blue"))
            rows = [each for each, _ in table(reader)]
        except AssertionError:
            return False
        return rows == self.rows and blue == self.agent.model.varbinds("blue")

    def wait_for_the_truth(self):
        until(self.shows_the_truth, lambda: f"the true rows; {self.master.process}\n"
              f"{self.agent.process}\n{self.prober.process}")

    def go_on(self):
        for part in PARTS:
            if getattr(self, part) is not None and self.process(part) is not None:
                self.process(part).signal(signal.SIGCONT)

    def close(self):
        """Ends all in order; agent and prober have to end well."""
        self.go_on()
        try:
            self.prober.close()
        finally:
            try:
                if self.agent is not None:
                    self.agent.close()
            finally:
                if self.master is not None:
                    self.master.close()
                self.web.close()
