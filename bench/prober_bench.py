"""What a probe costs the whole prober, scheduling and publishing included: CPU time of the real
conmon-probed, user and system, at work with the real agent.

ICMP targets are measured where a process of their own answers for them (far_end), as the prober would
pay for the targets' work too over loopback: that figure is printed beside it.

usage: prober_bench.py AGENT PROBER WEB_SERVER FAR_END
"""

import contextlib
import json
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import time

PATIENCE = 60  # seconds
MEASURED = 10  # seconds
SETTLING = 3  # seconds: writing out ten thousand probes holds the prober up
FEW, MANY = 1000, 3000  # TCP and HTTP targets, each once a second


def free_port(kind):
    with socket.socket(type=kind) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


@contextlib.contextmanager
def running(*words):
    """A process whose log is shown only when something is wrong."""
    with tempfile.TemporaryFile("w+") as log:
        with subprocess.Popen([str(word) for word in words], stderr=log) as process:
            try:
                yield process
            except BaseException:
                log.seek(0)
                print(f"the log of {words[0]}:\n{log.read()}", file=sys.stderr)
                raise
            finally:
                process.terminate()


def cpu_seconds(process):
    # Nanoseconds on a CPU, unlike the ticks of /proc/PID/stat.
    return int(pathlib.Path(f"/proc/{process.pid}/schedstat").read_text().split()[0]) * 1e-9


def until(condition, what, process):
    end = time.monotonic() + PATIENCE
    while not condition():
        if process.poll() is not None or time.monotonic() > end:
            sys.exit(f"prober_bench: waited in vain for {what}")
        time.sleep(0.5)


class Bench:
    def __init__(self, folder, prober, port, far_end):
        self.folder, self.prober, self.port, self.far_end = folder, prober, port, far_end
        self.missed = False

    def status(self):
        with socket.socket(socket.AF_UNIX) as reader:
            reader.connect(str(self.folder / "status"))
            with reader.makefile("rb") as stream:
                return json.loads(stream.read())

    def at_work(self, targets):
        status = self.status()
        return (status["agent"]["records"] == targets
                and all(probe["rounds"] > 1 for probe in status["probes"]))

    def measure(self, kind, targets, settings, where=()):
        """CPU seconds a second, rounds a second, and rounds without success and requests lost while
        probes that answer are held every second. `where`: the words that run the prober's words
        elsewhere, as the same process."""
        hosts = [f"{{name: h{n}, {settings(n)}}}" for n in range(targets)]
        config = self.folder / "probes.yaml"
        config.write_text(f"client: bench\nagent: {{socket: {self.folder / 'feed'}}}\n"
                          f"status-socket: status\ndefaults: {{interval: 1s, timeout: 500ms}}\n"
                          f"hosts:\n" + "".join(f"  - {host}\n" for host in hosts))
        with running(*where, self.prober, "--config", config) as process:
            until((self.folder / "status").exists, "the prober's start", process)
            until(lambda: self.at_work(targets), "rounds and records", process)
            time.sleep(SETTLING)
            before, first = self.status(), time.monotonic()
            time.sleep(SETTLING)
            used, begun = cpu_seconds(process), time.monotonic()
            time.sleep(MEASURED)
            used, wall = cpu_seconds(process) - used, time.monotonic() - begun
            after, last = self.status(), time.monotonic()
        rounds, failures = (sum(probe[what] for probe in after["probes"])
                            - sum(probe[what] for probe in before["probes"])
                            for what in ("rounds", "failures"))
        overloaded = after["schedule"]["overloaded"] - before["schedule"]["overloaded"]
        lost = after["icmp"]["requests lost"] - before["icmp"]["requests lost"]
        print(f"{kind}: {rounds} rounds of {targets} targets in {last - first:.1f} s, "
              f"{used / wall:.3f} of a core; {failures} failed, {overloaded} overloaded, {lost} lost")
        return used / wall, rounds / (last - first), failures + overloaded + lost

    def judge(self, what, value, at_most):
        met = value <= at_most
        self.missed |= not met
        print(f"{what:<58} = {value:6.3f}  (at most {at_most:.3f}: {'met' if met else 'MISSED'})")

    def run(self):
        self.connections("tcp", 0.1, lambda n: f"address: 127.0.0.1, tcp: {{port: {self.port}}}")
        self.connections(
            "http", 0.2, lambda n: f"http: {{url: 'http://127.0.0.1:{self.port}/{n}'}}")
        for burst in (1, 5):
            _, bad = self.icmp("over loopback", 127, burst)
            self.judge("ICMP rounds that were no success, requests lost", bad, 0)
            used, bad = self.icmp("at a far end", 10, burst, [self.far_end])
            self.judge(f"cores, 10,000 ICMP targets at a far end, {burst} a round", used, 0.5)
            self.judge("ICMP rounds that were no success, requests lost", bad, 0)

    def connections(self, kind, at_most, settings):
        """With few targets the process wakes up for each, which is a part of what each costs."""
        for targets in (FEW, MANY):
            used, rounds, bad = self.measure(kind, targets, settings)
            self.judge(f"{kind} rounds that were no success", bad, 0)
            cost = used / rounds * 1e3
            if targets == MANY:
                self.judge(f"CPU a {kind} probe, ms", cost, at_most)
            else:
                print(f"{f'CPU a {kind} probe, ms':<58} = {cost:6.3f}  (no target)")

    def icmp(self, place, network, burst, where=()):
        """The part of a core for 10,000 targets, and rounds without success and requests lost."""
        used, _, bad = self.measure(
            f"icmp {place}, {burst} a round", 10_000,
            lambda n: f"address: {network}.1.{n // 250}.{n % 250 + 1}, icmp: {{burst: {burst}}}", where)
        return used, bad


def main():
    agent, prober, web, far_end = sys.argv[1:]
    with contextlib.suppress(PermissionError):  # before whatever else the machine does
        os.setpriority(os.PRIO_PROCESS, 0, -15)
    port = free_port(socket.SOCK_STREAM)
    with tempfile.TemporaryDirectory(prefix="conmon-bench-") as folder:
        folder = pathlib.Path(folder)
        with running(agent, "--listen", f"udp:127.0.0.1:{free_port(socket.SOCK_DGRAM)}",
                     "--feed", folder / "feed") as process, running(web, port):
            until((folder / "feed").exists, "the agent's start", process)
            bench = Bench(folder, prober, port, far_end)
            bench.run()
    sys.exit(1 if bench.missed else 0)


main()
