"""The quick start: everything together, started and ended by its script."""

import contextlib
import os
import pathlib
import random
import signal
import socket
import unittest

from probing import ANSWERED, NO_ANSWER, PROBER, outcome, row, table
from support import places
from support.case import AgentCase
from support.process import Process
from support.tools import Tools
from support.waiting import until


def free_port(kind):
    """Of those that the kernel gives to nobody by itself: no other test's connection takes it before
    the program does."""
    while True:
        port = random.randrange(20_000, 32_000)
        with socket.socket(type=kind) as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            return port


def children(pid):
    """{pid: name} of the processes that the process has started and that still run."""
    found = {}
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            name, _, rest = stat.read_text().partition("(")[2].rpartition(")")
        except OSError:  # it has ended meanwhile
            continue
        state, parent = rest.split()[:2]
        if int(parent) == pid and state != "Z":
            found[int(stat.parent.name)] = name
    return found


class Quickstart(AgentCase):
    def begin(self, path=None, programs=None):
        """`path` is a folder in front of PATH; `programs` the folder of the programs."""
        self.port, self.web_port = free_port(socket.SOCK_STREAM), free_port(socket.SOCK_STREAM)
        self.namespace = f"conmon-quick-{os.getpid()}"
        environment = {**self.scratch.environment, "CONMON_BIN": str(programs or PROBER.parent)}
        if path:
            environment["PATH"] = f"{path}:{environment['PATH']}"
        self.process = Process(
            "quickstart", [places.ROOT / "scripts/quickstart.sh", self.port, self.web_port, self.namespace,
                           self.scratch.path], self.scratch, environment)
        self.addCleanup(self.process.close)
        self.addCleanup(self.process_ends_by, signal.SIGTERM)
        self.tools = Tools(self.scratch, f"127.0.0.1:{self.port}")

    def process_ends_by(self, number):
        """It ends with status 0, nothing of it is left, and nothing spoke of an error."""
        if self.process.status is None:
            started = children(self.process.pid)
            self.process.signal(number)
            self.assertEqual(self.process.wait(), 0, str(self.process))
            self.assert_gone(started)
            self.assertEqual(self.process.sanitizer_reports(), [], str(self.process))

    def assert_gone(self, started):
        left = [pid for pid in started if pathlib.Path(f"/proc/{pid}").exists()
                and started[pid] != "sleep"]
        self.assertEqual(left, [], f"of {started}, after {self.process}")
        self.assertFalse(pathlib.Path(f"/run/netns/{self.namespace}").exists())

    def outcomes(self, vrf="default"):
        if self.process.status is not None:
            self.fail(str(self.process))
        found = [] if self.is_starting() else table(self.tools, vrf)
        return {each: outcome(columns) for each, columns in found
                if columns["Client"] == b"quickstart"}

    def is_starting(self):
        return not (self.scratch.path / "conmon-feed.sock").exists()

    def wait_for(self, expected, vrf="default"):
        until(lambda: self.outcomes(vrf) == expected,
              lambda: f"{expected} in place of {self.outcomes(vrf)}; {self.process}")

    def expected(self):
        web = f"http://127.0.0.1:{self.web_port}/"
        return {row("icmp", "loopback", "127.0.0.1"): ANSWERED,
                row("icmp", "loopback", "127.0.0.1", if_index=1): ANSWERED,
                row("tcp", "web", "127.0.0.1", self.web_port): ANSWERED,
                row("http", "web", web): ANSWERED,
                row("http", "localhost", f"http://localhost:{self.web_port}/"): ANSWERED,
                row("tcp", "agent", "127.0.0.1", self.port): ANSWERED,
                row("tcp", "nobody", "127.0.0.1", 9): NO_ANSWER}

    def program_folder(self, name, **scripts):
        """A folder with the real programs, but scripts in place of some."""
        folder = self.scratch.path / name
        folder.mkdir()
        for program in ("conmon-snmpd", "conmon-probed", "conmon-example-web"):
            (folder / program).symlink_to(PROBER.parent.resolve() / program)
        for program, text in scripts.items():
            path = folder / program.replace("_", "-")
            path.unlink(missing_ok=True)
            path.write_text(f"#!/bin/sh\n{text}\n")
            path.chmod(0o755)
        return folder

    def test_both_vrfs_are_measured_until_sigterm(self):
        self.begin()
        self.wait_for(self.expected())
        self.wait_for({row("icmp", "web", "127.0.0.1"): ANSWERED,
                       row("tcp", "web", "127.0.0.1", self.web_port): ANSWERED,
                       row("http", "web", f"http://127.0.0.1:{self.web_port}/"): ANSWERED}, "blue")
        self.assertEqual(sorted(name for name in children(self.process.pid).values() if name != "sleep"),
                         ["conmon-example-", "conmon-example-", "conmon-probed", "conmon-snmpd"])
        self.process_ends_by(signal.SIGTERM)

    def test_one_that_dies_ends_the_others(self):
        self.begin()
        self.wait_for(self.expected())
        started = children(self.process.pid)
        prober = next(pid for pid, name in started.items() if name == "conmon-probed")
        os.kill(prober, signal.SIGKILL)
        self.assertEqual(self.process.wait(), 1)
        self.assertIn("quickstart: conmon-probed ended with status 137", self.process.stderr_lines)
        self.assert_gone(started)

    def test_without_namespaces_the_default_vrf_is_measured(self):
        self.begin(path=self.program_folder("tools", ip="echo 'not permitted' >&2; exit 1"))
        self.wait_for(self.expected())
        self.assertEqual(self.outcomes("blue"), {})
        self.assertIn("quickstart: no network namespaces here (not permitted), so nothing is measured"
                      " in VRF blue", self.process.stderr_lines)
        self.process_ends_by(signal.SIGINT)

    def test_a_prober_that_cannot_begin_leaves_the_example_records(self):
        self.begin(programs=self.program_folder("bin", conmon_probed="exit 1"))
        said = "quickstart: nothing is measured; the example records are served all the same"
        until(lambda: said in self.process.stderr_lines, lambda: str(self.process))
        until(lambda: len(self.tools.walk()) > 50, "the example records")
        self.assertIsNone(self.process.status)
        self.process_ends_by(signal.SIGTERM)


if __name__ == "__main__":
    unittest.main()
