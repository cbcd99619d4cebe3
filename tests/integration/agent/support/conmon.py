"""conmon-snmpd itself, on a free port, with everything it needs in a private folder."""

import signal

from support import ber, feed, layout, places, projection, sockets, udp
from support.process import Process
from support.tools import Tools
from support.waiting import until

_START_TRIES = 5


class Agent:
    """A running agent. `model` is what its clients here have told it."""

    def __init__(self, scratch, *arguments, name="conmon-snmpd", feed_socket=True, listen=True,
                 error_stream=None):
        """`listen` is False for an agent that is told by `arguments` where to serve."""
        self.scratch = scratch
        self.name = name
        self.model = projection.Model()
        self.feed_path = scratch.path / f"{name}.sock"
        self.port = None
        self._clients = []
        arguments = [*arguments, *(["--feed", self.feed_path] if feed_socket else [])]
        for _ in range(_START_TRIES):
            if listen:
                self.port = sockets.free_port()
                where = ["--listen", f"udp:127.0.0.1:{self.port}"]
            self.process = Process(name, [places.AGENT, *arguments, *(where if listen else [])],
                                   scratch, error_stream=error_stream)
            if self._came_up(listen, feed_socket):
                break
            # Somebody else took the port meanwhile.
            self.process.close()
        else:
            raise AssertionError(f"no free port in {_START_TRIES} tries")
        self.snmp = udp.Client(self.port) if listen else None
        self.tools = Tools(scratch, f"udp:127.0.0.1:{self.port}") if listen else None

    def _came_up(self, listen, feed_socket):
        """False when the port was taken."""
        def up():
            if self.process.status is not None:
                return True
            if feed_socket:
                return self._takes_feed_connections()
            return not listen or sockets.inet_sockets(self.process.pid)

        until(up, lambda: f"the start of {self.process}")
        if self.process.status is None:
            return True
        if listen and "Address already in use" in self.process.stderr:
            return False
        raise AssertionError(f"did not start: {self.process}")

    def _takes_feed_connections(self):
        try:
            feed.Connection(self.feed_path).close()
        except (FileNotFoundError, ConnectionRefusedError):
            return False
        return True

    @property
    def pid(self):
        return self.process.pid

    def client(self, name="lab", **hello):
        """A feed client that is connected until it is closed, or to the end of the agent."""
        client = feed.Client(self.feed_path, name, self.model, **hello)
        self._clients.append(client)
        return client

    def feed_connection(self):
        connection = feed.Connection(self.feed_path)
        self._clients.append(connection)
        return connection

    def check_alive(self):
        """Both ways in are served."""
        response = self.snmp.get(layout.SYS_DESCR)
        if response.error != ber.NO_ERROR:
            raise AssertionError(f"{response}")
        with feed.Connection(self.feed_path) as connection:
            answer = connection.ask(op="hello", client="alive?")
        if answer != {"ok": True}:
            raise AssertionError(f"hello was answered {answer}")

    def said(self):
        """What it wrote to standard error so far, but for notices of whose records it is fed: these
        are always there, and of the test's making."""
        return "".join(f"{line}\n" for line in self.process.stderr_lines if not line.startswith("<5>"))

    def log(self):
        """The same a line at a time, without the priorities."""
        return [line[len("<4>"):] for line in self.said().splitlines()]

    def stop(self, number=signal.SIGTERM):
        """Ends it as its user does, while its clients here are still connected. It has to end by
        itself, with success, and without a word from a sanitizer."""
        self.process.signal(number)
        status = self.process.wait()
        if status != 0 or self.process.sanitizer_reports():
            raise AssertionError(f"not a clean end: {self.process}")

    def close(self):
        """stop(), if it still runs, and what it said for whoever reads the log of a failed test."""
        try:
            self.stop()
        finally:
            for client in self._clients:
                client.close()
            if self.snmp:
                self.snmp.close()
            print(f"-- {self.process}", flush=True)
            self.process.close()
