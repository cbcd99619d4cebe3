"""What one datagram costs the agent, by its kind: its CPU time, user and system, and octets out for
octets in. First the datagrams that anybody can send who reaches the port, then those that take the
community. Prints a table and judges nothing.

usage: packet_cost.py AGENT
"""

import os
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/integration/agent"))
os.environ["CONMON_SNMPD"] = sys.argv[1] if len(sys.argv) == 2 else sys.exit(__doc__)
sys.dont_write_bytecode = True

# pylint: disable=wrong-import-position
from support import ber, layout  # noqa: E402
from support.conmon import Agent  # noqa: E402
from support.process import Scratch  # noqa: E402

ROWS = 2000  # of each table
HOSTS = "x" * 200  # long names make long answers
LOT = 20  # datagrams at a time: what the agent's socket holds for certain
LOTS = 50
CONF = """createUser reader SHA reader-auth-pass AES reader-priv-pass
rouser reader priv
"""


def cpu(agent):
    # Nanoseconds on a CPU, unlike the ticks of /proc/PID/stat.
    return int(pathlib.Path(f"/proc/{agent.pid}/schedstat").read_text().split()[0]) * 1e-3


def v3(engine=b"", user=b"", digest=b"", flags=4):
    """A GET of SNMPv3 (RFC 3412, RFC 3414). `flags`: 4 reportable, 1 signed."""
    header = ber.sequence(ber.integer(7), ber.integer(65_507), ber.octets(bytes([flags])),
                          ber.integer(3))
    security = ber.sequence(ber.octets(engine), ber.integer(1), ber.integer(1), ber.octets(user),
                            ber.octets(digest), ber.octets(b""))
    pdu = ber.tlv(ber.GET, ber.integer(7) + ber.integer(0) + ber.integer(0)
                  + ber.sequence(ber.varbind(layout.SYS_DESCR)))
    scoped = ber.sequence(ber.octets(engine), ber.octets(b""), pdu)
    return ber.sequence(ber.integer(3), header, ber.octets(security), scoped)


def engine_of(report):
    """The engine id is the first octet string in the security parameters."""
    at = report.index(b"\x80\x00\x1f\x88")
    return report[at:at + report[at - 1]]


def exchange(agent, datagrams):
    """Sends them, then a GET as the last, and takes answers up to that one's."""
    marker = 0x7EADBEEF
    for datagram in datagrams:
        agent.snmp.send(datagram)
    agent.snmp.send(ber.message(ber.GET, [ber.varbind(layout.SYS_DESCR)], marker))
    answers = []
    while True:
        answer = agent.snmp.receive()
        if marker.to_bytes(4, "big") in answer:
            return answers
        answers.append(answer)


def measure(agent, datagrams):
    """Microseconds a datagram, answers and octets of answers a datagram."""
    lot = LOT if max(map(len, datagrams)) < 2000 else 1
    exchange(agent, datagrams[:lot])
    alone, start = 0.0, cpu(agent)
    for _ in range(LOTS):
        exchange(agent, [])
    alone = (cpu(agent) - start) / LOTS
    answers, size, sent, start = 0, 0, 0, cpu(agent)
    for number in range(LOTS):
        batch = [datagrams[(number * lot + at) % len(datagrams)] for at in range(lot)]
        got = exchange(agent, batch)
        sent += lot
        answers += len(got)
        size += sum(map(len, got))
    return (cpu(agent) - start - LOTS * alone) / sent, answers / sent, size / sent


def kinds(agent):
    """(who can send it, what it is, datagrams)."""
    name = layout.OBJECTS
    long_one = layout.column_oid("http", "Url")
    columns = [layout.column_oid(table, column) for table, column in (
        ("icmp", "Client"), ("icmp", "Host"), ("http", "Host"), ("http", "Url"), ("tcp", "Host"))]

    def get(**how):
        return ber.message(ber.GETNEXT, [ber.varbind(name)], **how)

    def bulk(oids, repetitions):
        return ber.message(ber.GETBULK, [ber.varbind(one) for one in oids], third=repetitions)

    anybody, reader = "anybody", "this host, with the community"
    yield anybody, "wrong community", [get(community=b"guess")]
    yield anybody, "community of an unknown VRF", [get(community=b"public@nowhere")]
    yield anybody, "GETBULK of 2^31-1, wrong community", [
        ber.message(ber.GETBULK, [ber.varbind(name)], third=2**31 - 1, community=b"guess")]
    yield anybody, "one octet", [b"\x30"]
    yield anybody, "malformed: length beyond the end", [b"\x30\x84\x7f\xff\xff\xff\x02\x01\x01"]
    yield anybody, "malformed: 1400 octets of zeros", [b"\x30\x82\x05\x74" + bytes(1396)]
    yield anybody, "malformed: nested 500 deep", [b"\x30\x80" * 500]
    for count in (475, 3000):
        yield anybody, f"wrong community, {count} varbinds", [
            ber.message(ber.GETNEXT, [ber.varbind(name)] * count, community=b"guess")]
    yield anybody, "SNMPv3 discovery", [v3()]
    engine = engine_of(exchange(agent, [v3()])[0])
    yield anybody, "SNMPv3, unknown user", [v3(engine, b"nobody")]
    yield anybody, "SNMPv3, unknown engine", [v3(engine[:-1] + b"?", b"reader")]
    yield anybody, "SNMPv3, known user, wrong signature", [v3(engine, b"reader", bytes(12), 5)]
    yield reader, "GET of a scalar", [ber.message(ber.GET, [ber.varbind(layout.SYS_DESCR)])]
    yield reader, "GETNEXT of a column", [get()]
    yield reader, "GETBULK, 2^31-1 repetitions", [bulk([long_one], 2**31 - 1)]
    yield reader, "GETBULK, 5 columns, 2^31-1 repetitions", [bulk(columns, 2**31 - 1)]
    for count in (400, 475, 1500):
        yield reader, f"GETNEXT of {count} varbinds", [
            ber.message(ber.GETNEXT, [ber.varbind(name)] * count)]
    yield reader, "SET", [ber.message(ber.SET, [ber.varbind(layout.SYS_DESCR, ber.octets(b"x"))])]


def main():
    scratch = Scratch()
    agent = Agent(scratch, "--snmp-conf", scratch.file("snmpd.conf", CONF))
    try:
        with agent.client("lab") as client:
            for at in range(ROWS):
                client.put(f"{at}{HOSTS}", "http", url=f"http://{at}/{'u' * 230}")
                client.put(f"{at}{HOSTS}", "icmp", address="192.0.2.1", latency=1)
                client.put(f"{at}{HOSTS}", "tcp", address="192.0.2.1", port=80, latency=1)
            client.sync()
        print(f"{'':60}{'CPU':>9}{'octets':>9}{'octets':>9}{'answers':>9}{'out':>9}")
        print(f"{'':60}{'us':>9}{'in':>9}{'out':>9}{'':>9}{'per in':>9}")
        for who, what, datagrams in kinds(agent):
            microseconds, answers, out = measure(agent, datagrams)
            taken = sum(map(len, datagrams)) / len(datagrams)
            print(f"{who + ': ' + what:60}{microseconds:9.1f}{taken:9.0f}{out:9.0f}{answers:9.1f}"
                  f"{out / taken:9.1f}", flush=True)
        agent.check_alive()
        said = agent.log()
        print(f"lines in the log of the agent: {len(said)}")
        for line in said[:10]:
            print(f"  {line[:100]}")
    finally:
        agent.close()
        scratch.remove()


if __name__ == "__main__":
    main()
