"""VRFs that come and go: names that are used again, names that are always new, and names beyond the
limit. Prints what each costs the agent in memory.

    vrf_life.py [--cycles N] [--judge-memory | --valgrind]
"""

import argparse
import pathlib
import re
import shlex
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "integration/agent"))

from support import ber, layout, places
from support.conmon import Agent
from support.process import Scratch
from support.walking import END

SUPPRESSIONS = pathlib.Path(__file__).resolve().parent / "valgrind.supp"
RECYCLED = 8  # names that take turns
LIMIT = 256  # the default of max-contexts

# What net-snmp may keep under a name, at the worst, and what may stay of a cycle that brings none.
MOST_PER_NAME = 20_000
MOST_PER_CYCLE = 64

# Valgrind's own, as an exit code: any error of memory, and memory that nothing leads to any more.
VALGRIND = ["valgrind", "--quiet", "--error-exitcode=99", "--leak-check=full",
            "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite", "--num-callers=30",
            f"--suppressions={SUPPRESSIONS}"]

PROBES = (("icmp", {"address": "192.0.2.1", "latency": 1.5}),
          ("http", {"url": "http://192.0.2.1/", "responseTime": 2.5}),
          ("tcp", {"address": "2001:db8::1", "port": 443, "latency": 3.5}))


class Life:
    """One agent, and the VRFs that live and die in it."""

    def __init__(self, scratch, limit=None):
        self.agent = Agent(scratch, *([] if limit is None else ["--max-contexts", limit]))
        self.client = self.agent.client("lab")

    def cycle(self, vrf):
        """Create, walk, remove: the walk shows just its rows, and at the end there is no such context."""
        for probe, fields in PROBES:
            self.client.put("host", probe, vrf=vrf, **fields)
        self.client.sync()
        expected = self.agent.model.varbinds(vrf)
        got = self._walk(f"public@{vrf}")
        if got != expected:
            raise AssertionError(f"VRF {vrf} shows {got} in place of {expected}")
        for probe, fields in PROBES:
            key = {name: fields[name] for name in ("address", "url", "port") if name in fields}
            self.client.remove("host", probe, vrf=vrf, **key)
        self.client.sync()
        request = ber.message(ber.GETNEXT, [ber.varbind(layout.OBJECTS)], 77, f"public@{vrf}".encode())
        self.agent.snmp.unanswered([request], layout.SYS_DESCR)

    def _walk(self, community):
        self.agent.snmp.community = community.encode()
        try:
            found, oid = [], layout.OBJECTS
            while True:
                for name, kind, value in self.agent.snmp.get_bulk(oid, max_repetitions=20).varbinds:
                    if kind == END or name[:len(layout.OBJECTS)] != layout.OBJECTS:
                        return found
                    found.append((name, kind, value))
                    oid = name
        finally:
            self.agent.snmp.community = b"public"

    def memory(self):
        """Bytes of its own that the process holds."""
        with open(f"/proc/{self.agent.pid}/status") as status:
            return int(re.search(r"RssAnon:\s+(\d+) kB", status.read())[1]) * 1024

    def contexts(self):
        return self.client.connection.ask(op="stats")["contexts"]

    def close(self):
        self.agent.close()


def measured(what, life, names, most):
    """Runs a cycle for each of the names, and prints what it took and left."""
    before, start = life.memory(), time.monotonic()
    for vrf in names:
        life.cycle(vrf)
    each = (life.memory() - before) / len(names)
    print(f"{what}: {len(names)} cycles in {time.monotonic() - start:.1f} s, {each:.0f} bytes each, "
          f"contexts {life.contexts()}", flush=True)
    if most is not None and each > most:
        raise AssertionError(f"{what}: a cycle leaves {each:.0f} bytes, more than {most}")


def recycled(scratch, cycles, judge):
    life = Life(scratch)
    try:
        names = [f"again{at % RECYCLED}" for at in range(cycles)]
        for vrf in names[:max(RECYCLED, cycles // 10)]:
            life.cycle(vrf)
        measured("recycled names", life, names, MOST_PER_CYCLE if judge else None)
        if life.contexts()["used"] != RECYCLED:
            raise AssertionError(f"{RECYCLED} names, counted as {life.contexts()}")
    finally:
        life.close()


def fresh(scratch, cycles, judge):
    life = Life(scratch, limit=2 * cycles)
    try:
        for at in range(cycles // 10):
            life.cycle(f"warm{at}")
        measured("fresh names", life, [f"fresh{at}" for at in range(cycles)],
                 MOST_PER_NAME if judge else None)
    finally:
        life.close()


def beyond(scratch, cycles, judge):
    """Names beyond the limit are refused, and leave nothing behind."""
    life = Life(scratch)
    try:
        for at in range(LIMIT):
            life.client.put("host", "http", vrf=f"kept{at}", url="u")
        life.client.sync()

        def refuse(at):
            answer = life.client.connection.ask(op="put", host="host", vrf=f"more{at}", probe="http",
                                                url="u")
            if answer["ok"] or "max-contexts" not in answer["error"]:
                raise AssertionError(f"a VRF beyond the limit was answered {answer}")

        for at in range(cycles // 10):
            refuse(at)
        before = life.memory()
        for at in range(cycles):
            refuse(cycles + at)
        each = (life.memory() - before) / cycles
        print(f"names beyond the limit: {cycles} refused, {each:.0f} bytes each, "
              f"contexts {life.contexts()}", flush=True)
        if judge and each > MOST_PER_CYCLE:
            raise AssertionError("a refused name leaves something behind")
        life.client.remove("host", "http", vrf="kept0", url="u")
        life.cycle("kept0")
    finally:
        life.close()


def under_valgrind(scratch):
    """The agent's program, by a script that runs it under valgrind."""
    words = [shlex.quote(word) for word in (*VALGRIND, str(places.AGENT))]
    words[0] = shlex.quote(places.program("valgrind"))
    wrapper = scratch.file("conmon-snmpd", f'#!/bin/sh\nexec {" ".join(words)} "$@"\n')
    wrapper.chmod(0o700)
    return wrapper


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--cycles", type=int, default=10_000)
    parser.add_argument("--judge-memory", action="store_true",
                        help="fail when too much is left; for thousands of cycles without a sanitizer")
    parser.add_argument("--valgrind", action="store_true", help="run the agent under valgrind")
    arguments = parser.parse_args()
    scratch = Scratch()
    try:
        if arguments.valgrind:
            places.AGENT = under_valgrind(scratch)
        for part in (recycled, fresh, beyond):
            part(scratch, arguments.cycles, arguments.judge_memory)
    finally:
        scratch.remove()


if __name__ == "__main__":
    main()
