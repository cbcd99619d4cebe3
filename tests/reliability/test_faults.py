"""Each fault once; after each the system comes back without help, and the walk equals the truth."""

import itertools
import json
import os
import pathlib
import resource
import signal
import socket
import struct
import subprocess
import threading
import time
import unittest

from system import PARTS, System
from probing import ANSWERED, ProberCase, row
from support import layout, netns, places
from support.case import AgentCase
from support.conmon import Agent
from support.waiting import PATIENCE, until

CLOCK_STEP = os.environ.get("CONMON_CLOCK_STEP_LIBRARY",
                            places.ROOT / "build/release/tests/libconmon-clock-step.so")
DISK = 64 * 1024
DAY = 86_400


def setUpModule():
    # A disk that can be full takes a mount of our own; the network comes with it.
    netns.enter("test_faults")


class FullDisk(ProberCase):
    """Traces and logs on a disk that has no room left, until it has again."""

    def setUp(self):
        self.disk = pathlib.Path("/run/disk")
        netns.disk(self.disk, DISK)
        self.filler = self.disk / "filler"
        self.trace = self.disk / "trace"
        super().setUp()

    def start_agent(self):
        # Standard error is on the same disk.
        log = open(self.disk / "log", "wb")
        self.addCleanup(log.close)
        self.agent = Agent(self.scratch, "--trace", "ConnectivityMonitorSnmpTableSm=9",
                           "--trace-file", self.trace, "--verbose", error_stream=log)

    def fill(self):
        with open(self.filler, "wb", buffering=0) as filler:
            try:
                while True:
                    filler.write(bytes(4096))
            except OSError:
                pass

    def test_records_go_on_and_lines_come_again_when_there_is_room(self):
        expected = self.write(self.tcp("before"))
        self.prober.start()
        self.wait_for_rows(expected)
        self.fill()
        expected = self.write(self.tcp("while-full"), self.http("web"))
        self.prober.reload()
        self.wait_for_rows(expected)
        size = self.trace.stat().st_size
        self.assertEqual(os.statvfs(self.disk).f_bavail, 0)
        self.filler.unlink()
        expected = self.write(self.tcp("after"))
        self.prober.reload()
        self.wait_for_rows(expected)
        until(lambda: self.trace.stat().st_size > size, "more lines in the trace file")


class NoDescriptors(ProberCase):
    @staticmethod
    def leave(process, free):
        """The process may open `free` descriptors more than it always has; returns its limits."""
        kept = None
        for _ in range(20):
            now = {int(name) for name in os.listdir(f"/proc/{process.pid}/fd")}
            kept = now if kept is None else kept & now
            time.sleep(0.01)
        numbers = (number for number in itertools.count() if number not in kept)
        _, hard = limits = resource.prlimit(process.pid, resource.RLIMIT_NOFILE)
        resource.prlimit(process.pid, resource.RLIMIT_NOFILE,
                         (next(itertools.islice(numbers, free, None)), hard))
        return limits

    def connect(self):
        connection = socket.socket(socket.AF_UNIX)
        self.addCleanup(connection.close)
        connection.settimeout(PATIENCE)
        connection.connect(str(self.agent.feed_path))
        connection.sendall(b'{"op":"hello","client":"late"}\n')
        return connection

    def test_feed_clients_leave_the_agent_what_it_takes_to_answer_requests(self):
        expected = self.write(self.tcp("one"))
        self.prober.start()
        self.wait_for_rows(expected)
        self.leave(self.agent.process, 3)
        clients = [self.connect() for _ in range(6)]
        until(lambda: "connections have to wait" in self.agent.process.stderr, "the agent's word on it")
        self.assertEqual(self.rows(), expected)
        # Those that are served make room for those that wait.
        for client in clients:
            self.assertEqual(json.loads(client.recv(4096)), {"ok": True})
            client.close()
        self.wait_for_rows(expected)

    def test_an_agent_without_any_goes_on_when_there_are_some_again(self):
        expected = self.write(self.tcp("one"))
        self.prober.start()
        self.wait_for_rows(expected)
        limits = self.leave(self.agent.process, 0)
        late = self.connect()
        until(lambda: "connections have to wait" in self.agent.process.stderr, "the agent's word on it")
        resource.prlimit(self.agent.pid, resource.RLIMIT_NOFILE, limits)
        self.assertEqual(json.loads(late.recv(4096)), {"ok": True})
        self.wait_for_rows(expected)

    def test_the_prober_measures_again_when_there_are_some_again(self):
        expected = self.write(self.tcp("one"), self.http("web"))
        self.prober.start()
        self.wait_for_outcomes({each: ANSWERED for each in expected})
        limits = self.leave(self.prober.process, 0)
        # What could not be measured is no measurement: its row stays as it was.
        for host in ("one", "web"):
            until(lambda: f"<4>{host} " in self.prober.process.stderr, f"word of {host}, not measured")
        self.assertEqual(self.rows(), expected)
        resource.prlimit(self.prober.process.pid, resource.RLIMIT_NOFILE, limits)
        for host in ("one", "web"):
            self.wait_for_news(host)
        self.wait_for_outcomes({each: ANSWERED for each in expected})


class ClientsThatDoNotRead(ProberCase):
    def test_nobody_else_notices_and_it_gets_all_its_answers_in_the_end(self):
        expected = self.write(self.tcp("one"))
        self.prober.start()
        self.wait_for_rows(expected)
        deaf = self.agent.feed_connection()
        line = b'{"op":"remove","host":"h","probe":"http","url":"u"}\n'
        lines = b'{"op":"hello","client":"deaf"}\n' + 40_000 * line
        sender = threading.Thread(target=deaf.send, args=(lines,), daemon=True)
        sender.start()
        asker = self.agent.feed_connection()
        until(lambda: asker.ask(op="stats")["lines"]["taken"] > 1000,
              "lines of it that were taken")
        expected = self.write(self.tcp("two"))
        self.prober.reload()
        self.wait_for_rows(expected)
        for _ in range(lines.count(b"\n")):
            self.assertEqual(deaf.line(), b'{"ok":true}')
        sender.join()


class ClockSteps(ProberCase):
    """The wall clock goes forwards, backwards, and to its beginning, under the agent and the prober.
    ICMP is left out: its packets are stamped by the kernel, which the library does not reach."""

    def setUp(self):
        self.step_file = None
        super().setUp()

    def start_agent(self):
        self.step_file = self.scratch.file("clock", bytes(16))
        self.scratch.environment |= {"LD_PRELOAD": str(CLOCK_STEP),
                                     "CONMON_CLOCK_STEP": str(self.step_file)}
        super().start_agent()

    def step(self, seconds):
        with open(self.step_file, "r+b") as file:
            file.write(struct.pack("=q", seconds))

    def reads(self):
        return struct.unpack("=qq", self.step_file.read_bytes())[1]

    def up_time(self):
        done = self.agent.tools.command("snmpget", ["-v2c", "-c", "public"], layout.SYSTEM + (3, 0),
                                        options=["-Oqvt"])
        return int(done.stdout)

    def test_the_library_moves_the_wall_clock(self):
        self.step(-DAY)
        words = [places.program("date"), "+%s"]
        moved = subprocess.run(words, env=self.scratch.environment, capture_output=True, check=True)
        plain = subprocess.run(words, capture_output=True, check=True)
        self.assertLess(abs(int(plain.stdout) - DAY - int(moved.stdout)), 60)

    def test_hold_times_rounds_and_up_time_go_on_as_if_nothing_had_happened(self):
        self.assertGreater(self.reads(), 0, "the agent's wall clock is not the library's")
        expected = self.write(self.tcp("one"), self.http("web"))
        self.prober.start()
        self.wait_for_outcomes({each: ANSWERED for each in expected})
        # Its records stay for an hour of the steady clock when it is gone.
        with self.agent.client("held", holdSeconds=3600) as held:
            held.put("h", "http", url="u", responseTime=1)
            held.sync()
        mine = {row("http", "h", "u"): ANSWERED}
        measured = {each: ANSWERED for each in expected}
        before = self.up_time()
        for seconds in (DAY, -DAY, -1_700_000_000, 400 * DAY, 0):
            self.step(seconds)
            self.wait_for_news("one")
            self.wait_for_outcomes(measured | mine)
            now = self.up_time()
            self.assertLessEqual(before, now)
            self.assertLess(now - before, DAY * 100, "hundredths of a second")
            before = now
        # And a hold time that is over is over, whatever the wall clock says.
        self.step(-DAY)
        with self.agent.client("held", holdSeconds=0.1):
            pass
        self.wait_for_outcomes(measured)


class WholeSystem(AgentCase):
    def setUp(self):
        super().setUp()
        self.system = System(self.scratch)
        self.addCleanup(self.system.close)
        for part in PARTS:
            self.system.start(part)
        self.system.wait_for_the_truth()

    def test_each_part_is_stopped_for_a_while(self):
        for part in PARTS:
            process = self.system.process(part)
            process.signal(signal.SIGSTOP)
            until(lambda: self.state(process) == "T", f"the stop of the {part}")
            # The others find that it does not answer, or hold on; either is well.
            if part == "prober":
                self.assertTrue(self.system.shows_the_truth())
            else:
                until(lambda: not self.system.shows_the_truth(), f"{part} to be missed")
            process.signal(signal.SIGCONT)
            self.system.wait_for_the_truth()

    def test_a_master_that_hangs_stops_neither_the_feed_nor_the_prober(self):
        self.system.process("master").signal(signal.SIGSTOP)
        rounds = self.system.prober.rounds("tcp0")
        with self.system.agent.client("meanwhile") as client:
            # Each VRF is registered with the master, which does not answer, or is known to be gone.
            for vrf in ("red", "green"):
                client.put("h", "http", vrf=vrf, url="u")
            client.put("new", "http", vrf="blue", url="u")
            client.sync()
        until(lambda: self.system.prober.rounds("tcp0") > rounds + 3, "further rounds")
        self.system.process("master").signal(signal.SIGCONT)
        self.system.wait_for_the_truth()

    @staticmethod
    def state(process):
        with open(f"/proc/{process.pid}/stat") as stat:
            return stat.read().rpartition(")")[2].split()[0]


if __name__ == "__main__":
    unittest.main()
