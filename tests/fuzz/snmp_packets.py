"""Mutated SNMP packets against a live agent, over loopback UDP.

Real requests of SNMPv1, v2c and v3 (discovery, plain, signed, encrypted) are recorded from the stock
tools, then changed in the ways in which BER decoders have been broken before: lengths that lie,
integers that are negative, huge or empty, wrong tags, elements doubled, dropped, exchanged and nested
deeply, messages cut short and grown. After each burst the agent has to answer a plain GET, having
used less than a second of processor time for all of it. A build with sanitizers
has to end without a report.

usage: snmp_packets.py AGENT [--seconds N] [--seed N] [--corpus FOLDER]
"""

import argparse
import os
import pathlib
import random
import select
import socket
import sys
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "integration/agent"))
sys.dont_write_bytecode = True

BURST = 40  # datagrams, and
BURST_OCTETS = 50_000  # octets with the kernel's own: what the agent's socket holds for certain
OVERHEAD = 1000
MOST_OCTETS = 60_000
MARKER = 0x7EADBEEF
RECORD_AGAIN = 60  # seconds: signed requests are good for 150 (RFC 3414, 3.2)
CPU_LIMIT = 1.0  # seconds of the agent's time for a whole burst

CONF = """createUser open
rouser open noauth
createUser signer SHA signer-auth-pass
rouser signer auth
createUser reader SHA reader-auth-pass AES reader-priv-pass
rouser reader priv
"""
ACCESS = [
    ["-v1", "-c", "public"],
    ["-v2c", "-c", "public"],
    ["-v2c", "-c", "public@blue"],
    ["-v3", "-l", "noAuthNoPriv", "-u", "open"],
    ["-v3", "-l", "noAuthNoPriv", "-u", "open", "-n", "blue"],
    ["-v3", "-l", "authNoPriv", "-u", "signer", "-a", "SHA", "-A", "signer-auth-pass"],
    ["-v3", "-l", "authPriv", "-u", "reader", "-a", "SHA", "-A", "reader-auth-pass", "-x", "AES",
     "-X", "reader-priv-pass"],
]


class Relay:
    """Passes datagrams between one client and the agent, and keeps what the client sent."""

    def __init__(self, agent_port):
        self.inside = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.inside.connect(("127.0.0.1", agent_port))
        self.outside = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.outside.bind(("127.0.0.1", 0))
        self.port = self.outside.getsockname()[1]
        self.recorded = []
        self._client = None
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        while not self._stop.is_set():
            for ready in select.select([self.inside, self.outside], [], [], 0.05)[0]:
                try:
                    if ready is self.outside:
                        datagram, self._client = self.outside.recvfrom(65_536)
                        self.recorded.append(datagram)
                        self.inside.send(datagram)
                    elif self._client:
                        self.outside.sendto(self.inside.recv(65_536), self._client)
                except ConnectionRefusedError:
                    pass

    def close(self):
        self._stop.set()
        self._thread.join()
        self.inside.close()
        self.outside.close()


def record(agent, scratch):
    """The requests that the stock tools send, each once."""
    relay = Relay(agent.port)
    tools = Tools(scratch, f"udp:127.0.0.1:{relay.port}")
    objects = layout.dotted(layout.OBJECTS)
    for access in ACCESS:
        tools.command("snmpget", access, layout.SYS_DESCR, layout.SYS_DESCR)
        tools.command("snmpgetnext", access, objects, f"{objects}.1.1.2", f"{objects}.2.1.7")
        tools.command("snmpset", access, f"{objects}.1.1.2.1.107", "s", "x")
        if "-v1" not in access:
            tools.command("snmpbulkget", access, objects, options=["-Cn0", "-Cr5"])
    relay.close()
    if len(relay.recorded) < 3 * len(ACCESS):
        raise AssertionError(f"only {len(relay.recorded)} requests recorded")
    return list(dict.fromkeys(relay.recorded))


# BER as a tree: (tag, content) with content octets, or a list of such where they could be parsed.

CONSTRUCTED = 0x20
DEEPEST = 20  # level that is taken apart; a request has eight
LIES = (b"\x00", b"\x01", b"\x7f", b"\x80", b"\x81\x00", b"\x81\xff", b"\x82\x00\x05", b"\x82\xff\xff",
        b"\x84\x7f\xff\xff\xff", b"\x84\x80\x00\x00\x00", b"\x84\xff\xff\xff\xff", b"\x83\x00\x00\x10",
        b"\x88" + b"\xff" * 8, b"\x85\x00\x00\x00\x00\x04", b"\xff", b"\xfe" + b"\xff" * 126)
INTEGERS = (b"", b"\x00", b"\xff", b"\x7f", b"\x80", b"\x7f\xff\xff\xff", b"\x80\x00\x00\x00",
            b"\xff\xff\xff\xff", b"\x00\xff\xff\xff\xff", b"\x00\x80\x00\x00\x00", b"\x7f" + b"\xff" * 7,
            b"\x80" + b"\x00" * 7, b"\x00" * 9 + b"\x01", b"\xff" * 20, b"\x01" * 300)
OIDS = (b"", b"\x80", b"\xff" * 8, b"\x2b\x80", b"\x2b\x8f\xff\xff\xff\x7f", b"\x2b\x90\x80\x80\x80\x00",
        b"\x2b" + b"\x01" * 127, b"\x2b" + b"\x01" * 128, b"\x2b" + b"\x01" * 200, b"\xff\xff\xff\xff\x7f",
        b"\x2b\x06\x01\x04\x01\x83\xdd\x37\x03\x26\x01\x01\x01\x02\x5a" + b"k" * 90,
        b"\x2b\x06\x01\x04\x01\x83\xdd\x37\x03\x26\x01\x01\x01\x02\x8f\xff\xff\xff\x7f\x01",
        b"\x2b\x06\x01\x04\x01\x83\xdd\x37\x03\x26\x01\x02\x01\x02\x05\x8f\xff\xff\xff\x7f\x00")
TAGS = (0x00, 0x02, 0x04, 0x05, 0x06, 0x24, 0x30, 0x31, 0x40, 0x41, 0x44, 0x46, 0x80, 0x82, 0xA0, 0xA1,
        0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0x1F, 0x3F, 0xBF, 0xFF)


def parse(data, depth=0):
    """The elements of `data`, or None when it does not consist of whole ones."""
    elements, at = [], 0
    while at < len(data):
        if at + 2 > len(data) or data[at] & 0x1F == 0x1F:
            return None
        tag, count = data[at], data[at + 1]
        at += 2
        if count & 0x80:
            size = count & 0x7F
            if size == 0 or at + size > len(data):
                return None
            count = int.from_bytes(data[at:at + size], "big")
            at += size
        if at + count > len(data):
            return None
        content = data[at:at + count]
        # The security parameters of SNMPv3 are a message within a string.
        holds = tag & CONSTRUCTED or (tag == ber.OCTETS and content[:1] == b"\x30")
        inner = parse(content, depth + 1) if holds and depth < DEEPEST else None
        elements.append([tag, inner if inner is not None else content])
        at += count
    return elements


def write(elements, lie=None):
    """`lie` is an element and the length that it is to claim."""
    out = []
    for element in elements:
        tag, content = element
        data = content if isinstance(content, bytes) else write(content, lie)
        if lie and element is lie[0]:
            out.append(bytes([tag]) + lie[1] + data)
        else:
            out.append(ber.tlv(tag, data))
    return b"".join(out)


def all_lists(elements):
    """Every list of elements, the outermost included."""
    yield elements
    for _, content in elements:
        if isinstance(content, list):
            yield from all_lists(content)


def mutate_tree(rng, elements):
    lists = [each for each in all_lists(elements) if each]
    where = rng.choice(lists)
    at = rng.randrange(len(where))
    chosen = where[at]
    what = rng.randrange(10)
    if what == 0:
        return write(elements, (chosen, rng.choice(LIES)))
    if what == 1:
        chosen[0] = rng.choice(TAGS)
    elif what == 2:
        del where[at]
    elif what == 3:
        where[at:at] = [chosen] * rng.choice((1, 2, 10, 100))
    elif what == 4:
        other = rng.choice(rng.choice(lists))
        chosen[:] = [other[0], other[1] if isinstance(other[1], bytes) else write(other[1])]
    elif what == 5:
        content = chosen[1] if isinstance(chosen[1], bytes) else write(chosen[1])
        for _ in range(rng.choice((1, 3, 30, 300, 2000))):
            content = ber.tlv(chosen[0] | CONSTRUCTED, content)
            if len(content) > MOST_OCTETS:
                break
        where[at] = [chosen[0] | CONSTRUCTED, content]
    else:
        leaves = [element for each in lists for element in each if isinstance(element[1], bytes)]
        if leaves:
            leaf = rng.choice(leaves)
            leaf[1] = new_content(rng, leaf)
    return write(elements)


def new_content(rng, leaf):
    tag, content = leaf
    if rng.randrange(4):
        if tag == ber.INTEGER:
            return rng.choice(INTEGERS)
        if tag == ber.OID:
            base = content[:rng.randrange(len(content) + 1)]
            return rng.choice((rng.choice(OIDS), base, base + rng.randbytes(rng.choice((1, 5, 90, 130)))))
    return rng.choice((b"", content[:-1], content + b"\0", content * rng.choice((2, 50)),
                       rng.randbytes(rng.choice((1, 4, 12, 32, 33, 255, 256, 1500, 8000)))))


def mutate_octets(rng, data, seeds):
    octets = bytearray(data)
    for _ in range(rng.randint(1, 4)):
        at = rng.randrange(len(octets) + 1)
        what = rng.randrange(6)
        if what == 0:
            octets[at:at + 1] = bytes([rng.randrange(256)])
        elif what == 1:
            del octets[at:at + rng.randint(1, 8)]
        elif what == 2:
            octets[at:at] = octets[at:at + rng.randint(1, 30)]
        elif what == 3:
            octets[at:at + 1] = rng.choice(LIES)
        elif what == 4:
            del octets[at:]
        else:
            other = rng.choice(seeds)
            octets[at:] = other[rng.randrange(len(other)):]
    return bytes(octets)


def mutate(rng, seeds):
    data = rng.choice(seeds)
    for _ in range(rng.choice((1, 1, 1, 2, 3))):
        elements = parse(data)
        if elements and rng.randrange(4):
            data = mutate_tree(rng, elements)
        else:
            data = mutate_octets(rng, data, seeds)
    return data[:MOST_OCTETS]


class Attack:
    def __init__(self, agent):
        self.agent = agent
        self.sent = self.answers = self.bursts = 0
        self.slowest = self.used = 0.0

    def _cpu(self):
        return int(pathlib.Path(f"/proc/{self.agent.pid}/schedstat").read_text().split()[0]) * 1e-9

    def _exchange(self, datagrams):
        for datagram in datagrams:
            self.agent.snmp.send(datagram)
        self.agent.snmp.send(ber.message(ber.GET, [ber.varbind(layout.SYS_DESCR)], MARKER))
        while True:
            answer = self.agent.snmp.receive()
            try:
                response = ber.parse_response(answer)
                if response.request_id == MARKER and response.error == ber.NO_ERROR:
                    return
            except (ValueError, IndexError):
                pass  # an SNMPv3 report, or what an odd request was worth
            self.answers += 1

    def burst(self, datagrams):
        before = self._cpu()
        try:
            self._exchange(datagrams)
            used = self._cpu() - before
            if used > CPU_LIMIT:
                raise AssertionError(f"a burst took {used:.1f} s of the agent's time")
        except Exception as error:
            print(f"failed: {error!r}; the burst was, as for the folder of the corpus:")
            print(*(datagram.hex() for datagram in datagrams), sep="\n")
            raise
        self.slowest = max(self.slowest, used)
        self.used += used
        self.sent += len(datagrams)
        self.bursts += 1


def run(arguments):
    rng = random.Random(arguments.seed)
    print(f"seed {arguments.seed}", flush=True)
    scratch = Scratch()
    agent = Agent(scratch, "--snmp-conf", scratch.file("users.conf", CONF))
    try:
        with agent.client("lab") as client:
            for at in range(20):
                for vrf in ("default", "blue"):
                    client.put(f"h{at}", "icmp", address="192.0.2.1", latency=at, vrf=vrf)
                    client.put(f"h{at}", "http", url="u", vrf=vrf)
                    client.put(f"h{at}", "tcp", address="2001:db8::1", port=at + 1, vrf=vrf)
            client.sync()
        attack = Attack(agent)
        for file in sorted(arguments.corpus.glob("*.hex")):
            attack.burst([bytes.fromhex(line) for line in file.read_text().split()])
        begin = time.monotonic()
        recorded = None
        while (now := time.monotonic()) - begin < arguments.seconds:
            if recorded is None or now - recorded > RECORD_AGAIN:
                seeds, recorded = record(agent, scratch), now
            datagrams, octets = [], 0
            while len(datagrams) < BURST and octets < BURST_OCTETS:
                datagrams.append(mutate(rng, seeds))
                octets += len(datagrams[-1]) + OVERHEAD
            attack.burst(datagrams)
        took = time.monotonic() - begin
        agent.check_alive()
        print(f"{attack.sent} packets in {took:.0f} s, {attack.answers} answered; the burst that took "
              f"longest had {attack.slowest * 1e3:.0f} ms of {attack.used * 1e3:.0f} ms of the agent's "
              "time")
        agent.stop()
    finally:
        if agent.process.status is None or agent.process.status != 0 or agent.process.sanitizer_reports():
            print(agent.process)
        agent.process.close()
        scratch.remove()


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("agent")
    parser.add_argument("--seconds", type=float, default=20)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(2**31))
    parser.add_argument("--corpus", type=pathlib.Path, default=HERE / "corpus/snmp")
    chosen = parser.parse_args()
    os.environ["CONMON_SNMPD"] = os.path.abspath(chosen.agent)  # It runs in a folder of its own.
    # pylint: disable=wrong-import-position
    from support import ber, layout  # noqa: E402
    from support.conmon import Agent  # noqa: E402
    from support.process import Scratch  # noqa: E402
    from support.tools import Tools  # noqa: E402
    run(chosen)
