#!/usr/bin/env python3
"""usage: process_test.py CONMON_PROBED

The program as an operator and a service manager meet it: start, reloads good and bad, agents that
come and go, a kill, the end. Nothing here depends on how fast the machine is; what is waited for has
a limit only so that a failure ends.
"""

import contextlib
import errno
import http.server
import json
import os
import pathlib
import queue
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

LIMIT = 60
SECRET = "s3cr3t-t0ken"


def wait_until(what, reached):
    end = time.monotonic() + LIMIT
    while not reached():
        if time.monotonic() > end:
            raise AssertionError(f"did not come: {what}")
        time.sleep(0.02)


class Agent:
    """The agent's end of the feed. Records outlive connections."""

    MEASUREMENTS = ("latency", "jitter", "packetLoss", "responseTime", "result", "statusCode",
                    "errorCode")

    def __init__(self, path):
        self.path = path
        self.records = {}
        self.connections = []
        self.lock = threading.Lock()

    def open(self):
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.path)
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(self.path)
        self.listener.listen()
        threading.Thread(target=self._accept, args=(self.listener,), daemon=True).start()

    def close(self):
        with self.lock:
            os.unlink(self.path)
            self.listener.shutdown(socket.SHUT_RDWR)
            self.listener.close()
            for connection in self.connections:
                with contextlib.suppress(OSError):
                    connection.shutdown(socket.SHUT_RDWR)
            self.connections = []

    def hosts(self):
        with self.lock:
            return sorted((json.loads(key)["host"], json.loads(key)["probe"]) for key in self.records)

    def values(self, host, probe):
        with self.lock:
            for key, values in self.records.items():
                fields = json.loads(key)
                if (fields["host"], fields["probe"]) == (host, probe):
                    return dict(values)
        return None

    def _accept(self, listener):
        with contextlib.suppress(OSError):
            while True:
                connection, _ = listener.accept()
                with self.lock:
                    self.connections.append(connection)
                threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        with contextlib.suppress(OSError), connection.makefile("rwb") as stream:
            for line in stream:
                self._carry_out(json.loads(line))
                stream.write(b'{"ok":true}\n')
                stream.flush()

    def _carry_out(self, line):
        op = line.pop("op")
        with self.lock:
            if op == "removeClient":
                self.records = {}
            elif op in ("put", "remove"):
                values = {name: line.pop(name) for name in self.MEASUREMENTS if name in line}
                key = json.dumps(line, sort_keys=True)
                if op == "put":
                    self.records[key] = values
                else:
                    self.records.pop(key, None)


class WebServer(http.server.BaseHTTPRequestHandler):
    seen = []

    def do_GET(self):
        WebServer.seen.append(self.headers.get("Authorization"))
        self.send_response(200)
        self.send_header("Content-Length", "2")
        self.end_headers()
        self.wfile.write(b"ok")

    def log_message(self, *_):
        pass


class Prober:
    def __init__(self, program, folder):
        self.program = program
        self.folder = folder
        self.config = folder / "probes.yaml"
        self.log = folder / "log"
        self.notify = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.notify.bind(str(folder / "notify"))
        self.messages = queue.Queue()
        threading.Thread(target=self._take_messages, daemon=True).start()

    def _take_messages(self):
        # At once, as a service manager does: the kernel holds a few only, and the prober does not
        # wait for room.
        while True:
            self.messages.put(self.notify.recv(4096).decode())

    def start(self):
        environment = dict(os.environ, NOTIFY_SOCKET=str(self.folder / "notify"), WATCHDOG_USEC="2000000")
        with self.log.open("ab") as log:
            self.process = subprocess.Popen(
                [self.program, "--config", self.config], stderr=log, env=environment)
        self.expect("READY=1")

    def expect(self, prefix):
        """The next message that begins so; signs of life may come before it."""
        while True:
            message = self.messages.get(timeout=LIMIT)
            if message.startswith(prefix):
                return message
            assert message.startswith("WATCHDOG=1"), f"{message!r} in place of {prefix!r}"

    def write(self, hosts, extra=""):
        text = (
            "client: lab\nagent: {socket: feed.sock}\nstatus-socket: status.sock\n"
            "defaults: {interval: 50ms, timeout: 40ms}\nhosts:\n")
        self.config.write_text(text + "".join(f"  - {host}\n" for host in hosts) + extra)

    def reload(self):
        self.process.send_signal(signal.SIGHUP)
        self.expect("RELOADING=1")
        return self.expect("READY=1")

    def status(self):
        with socket.socket(socket.AF_UNIX) as reader:
            reader.connect(str(self.folder / "status.sock"))
            with reader.makefile("rb") as stream:
                return json.loads(stream.read())

    def rounds(self, host):
        return sum(each["rounds"] for each in self.status()["probes"] if each["host"] == host)

    def stop(self, how):
        self.process.send_signal(how)
        return self.process.wait(LIMIT)


def run(program, folder):
    web = http.server.ThreadingHTTPServer(("127.0.0.1", 0), WebServer)
    web.daemon_threads = True
    threading.Thread(target=web.serve_forever, daemon=True).start()
    port = web.server_address[1]
    refusing = socket.socket()
    refusing.bind(("127.0.0.1", 0))

    tcp = f'{{name: tcp, address: 127.0.0.1, tcp: {{port: {port}}}}}'
    down = f'{{name: down, address: 127.0.0.1, tcp: {{port: {refusing.getsockname()[1]}}}}}'
    http_host = (
        f'{{name: web, http: {{url: "http://127.0.0.1:{port}/", interval: 5s, timeout: 5s, '
        f'headers: {{Authorization: {SECRET}}}}}}}')
    all_three = [("down", "tcp"), ("tcp", "tcp"), ("web", "http")]

    agent = Agent(str(folder / "feed.sock"))
    agent.open()
    prober = Prober(program, folder)

    print("start: records appear, a refused one with time 0")
    prober.write([tcp, down, http_host])
    prober.start()
    wait_until("the records", lambda: agent.hosts() == all_three)
    assert agent.values("down", "tcp") == {
        "latency": 0, "result": "refused", "errorCode": errno.ECONNREFUSED}
    web_values = agent.values("web", "http")
    assert web_values["responseTime"] >= 0.001
    assert (web_values["statusCode"], web_values["result"]) == (200, "status 200")
    assert SECRET in WebServer.seen
    phases = next(probe["phases"] for probe in prober.status()["probes"] if probe["host"] == "web")
    assert 0 < phases["connect"] <= phases["tls"] <= phases["firstByte"], phases
    assert len(os.listdir(f"/proc/{prober.process.pid}/task")) == 1, "more than one thread"
    prober.expect("WATCHDOG=1")

    print("a faulty reload changes nothing, and the error is told")
    before = prober.rounds("tcp")
    prober.write([tcp], "bogus: 1\n")
    message = prober.reload()
    assert "bogus: unknown key" in message, message
    assert "probes.yaml:7: bogus: unknown key" in prober.status()["configuration"]["error"]
    assert prober.rounds("web") > 0
    wait_until("rounds go on", lambda: prober.rounds("tcp") > before + 2)
    assert agent.hosts() == all_three

    print("a good reload restarts what it changes and nothing else")
    # The web probe has long intervals: a restart would begin its count of rounds' results anew.
    started = prober.rounds("web")
    prober.write([tcp, http_host])
    prober.reload()
    assert prober.status()["configuration"]["error"] is None
    assert prober.rounds("web") >= started
    wait_until("the removal", lambda: agent.hosts() == [("tcp", "tcp"), ("web", "http")])

    print("an agent that goes and comes back empty is told everything")
    agent.close()
    wait_until("the loss", lambda: not prober.status()["agent"]["connected"])
    prober.write([tcp, down])
    prober.reload()
    agent.records = {}
    agent.open()
    wait_until("the records", lambda: agent.hosts() == [("down", "tcp"), ("tcp", "tcp")])

    print("after a kill the next process ends with exactly its own records")
    assert prober.stop(signal.SIGKILL) == -signal.SIGKILL
    assert agent.hosts() == [("down", "tcp"), ("tcp", "tcp")]
    prober.write([tcp])
    prober.start()
    wait_until("the sweep", lambda: agent.hosts() == [("tcp", "tcp")])

    print("reload loop")
    for turn in range(20):
        prober.write([tcp, down] if turn % 2 else [down])
        prober.reload()
    wait_until("the last one's records", lambda: agent.hosts() == [("down", "tcp"), ("tcp", "tcp")])

    print("SIGTERM ends it, and the records stay for the hold time")
    assert prober.stop(signal.SIGTERM) == 0
    prober.expect("STOPPING=1")
    assert not (folder / "status.sock").exists()
    assert agent.hosts() == [("down", "tcp"), ("tcp", "tcp")]

    log = prober.log.read_text()
    assert SECRET not in log
    for line in log.splitlines():
        assert re.match(r"<[346]>.", line), line
    assert re.search(r"<4>down \(vrf default\) tcp 127\.0\.0\.1 port \d+: refused", log), log

    print("a faulty file at the start is an error in words")
    prober.write([], "bogus: 1\n")
    failed = subprocess.run([program, "--config", prober.config], capture_output=True, text=True, timeout=LIMIT)
    assert failed.returncode == 1
    assert re.search(r"^<3>.*probes\.yaml:\d+: ", failed.stderr), failed.stderr


def main():
    with tempfile.TemporaryDirectory(prefix="conmon-probed-") as folder:
        run(sys.argv[1], pathlib.Path(folder))
    print("all good")


main()
