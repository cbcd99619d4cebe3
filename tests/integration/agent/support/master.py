"""A stock snmpd as AgentX master, with a configuration, a port and a socket of its own."""

from support import layout, places, sockets, udp
from support.process import Process
from support.tools import Tools, v2c
from support.waiting import until

USER = ("walker", "walker-auth-key", "walker-priv-key")

_START_TRIES = 5


class Master:
    """`socket` is where subagents connect; each of `contexts` is read by the community
    public@CONTEXT, and by the v3 user."""

    def __init__(self, scratch, socket, contexts=("blue", "default")):
        self.scratch = scratch
        self.contexts = contexts
        self.socket = socket
        for _ in range(_START_TRIES):
            self.port = sockets.free_port()
            config = scratch.file("master.conf", self._config())
            self.process = Process("snmpd", [places.program("snmpd"), "-f", "-Lo", "-C", "-c", config,
                                             "-I", "-smux"], scratch, self._environment())
            self.snmp = udp.Client(self.port)
            until(self._answers, lambda: f"an answer of {self.process}")
            if self.process.status is None:
                break
            self.close()
        else:
            raise AssertionError(f"snmpd does not start: {self.process}")
        self.tools = Tools(scratch, f"udp:127.0.0.1:{self.port}")

    def _environment(self):
        directory = self.scratch.path / "master"
        (directory / "cert_indexes").mkdir(parents=True, exist_ok=True)
        return {**self.scratch.environment, "SNMP_PERSISTENT_DIR": str(directory)}

    def _config(self):
        lines = [
            f"agentaddress udp:127.0.0.1:{self.port}",
            "dontLogTCPWrappersConnects yes",
            "master agentx",
            f"agentXSocket {self.socket}",
            "view all included .1",
            "group local v2c local",
            "com2sec local 127.0.0.1 public",
            'access local "" v2c noauth exact all all none',
            "createUser {} SHA {} AES {}".format(*USER),
            f"rouser {USER[0]} priv -V all *",
        ]
        for context in self.contexts:
            lines += [f"com2sec -Cn {context} local 127.0.0.1 public@{context}",
                      f"access local {context} v2c noauth exact all all none"]
        return "\n".join(lines) + "\n"

    def _answers(self):
        if self.process.status is not None:
            return True
        done = Tools(self.scratch, f"udp:127.0.0.1:{self.port}").run(
            "snmpget", *v2c(), "-r", 0, "-t", 0.2, f"udp:127.0.0.1:{self.port}",
            layout.dotted(layout.SYS_DESCR))
        return done.returncode == 0

    def kill(self):
        """Ends it without a chance to take leave of its subagents."""
        self.process.kill()
        self.close()

    def close(self):
        self.snmp.close()
        self.process.close()
        print(f"-- {self.process}", flush=True)
