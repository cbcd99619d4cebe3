"""The stock SNMP programs, and what they print as values."""

import re
import subprocess

from support import layout, places
from support.projection import INTEGER, OCTETS
from support.waiting import PATIENCE

# Numeric OIDs, strings in hexadecimal: nothing is left to guess.
_PRINT = ["-On", "-Ox", "-Oe"]
_VARBIND = re.compile(r"(\.[0-9.]+) = (.*)", re.DOTALL)
_EXCEPTIONS = {
    "No Such Object available on this agent at this OID": "noSuchObject",
    "No Such Instance currently exists at this OID": "noSuchInstance",
    "No more variables left in this MIB View (It is past the end of the MIB tree)": "endOfMibView",
}


def v2c(community="public"):
    return ["-v2c", "-c", community]


def v1(community="public"):
    return ["-v1", "-c", community]


def v3(user, auth, priv, context=""):
    return ["-v3", "-l", "authPriv", "-u", user, "-a", "SHA", "-A", auth, "-x", "AES", "-X", priv,
            "-n", context]


def _parse_value(text):
    if text in _EXCEPTIONS:
        return _EXCEPTIONS[text], None
    if text == '""':
        return OCTETS, b""
    kind, _, value = text.partition(": ")
    if kind == "STRING":
        # Only where the MIB text says that it is text; else strings come in hexadecimal.
        return OCTETS, value.encode()
    if kind == "INTEGER":
        return INTEGER, int(value)
    if kind == "Hex-STRING":
        return OCTETS, bytes.fromhex(value)
    return kind, value


def parse(text):
    """The varbinds of an output, as [(OID, type, value)]."""
    # How a walk by SNMPv1 ends.
    text = text.removesuffix("End of MIB\n")
    # A long string in hexadecimal goes on in the next lines.
    found = [_VARBIND.fullmatch(line) for line in re.split(r"\n(?=\.1\.)", text.strip("\n")) if line]
    if not all(found):
        raise AssertionError(f"not the output of an SNMP program:\n{text}")
    return [(layout.parse_oid(match[1]), *_parse_value(match[2].strip())) for match in found]


class Tools:
    """Runs the programs against one agent."""

    def __init__(self, scratch, target):
        self.scratch = scratch
        self.target = target
        (scratch.path / "tools" / "cert_indexes").mkdir(parents=True, exist_ok=True)
        # What the programs themselves write is not to be taken for the agent's, and what a test
        # leaves for the agent to find is not to be found by them.
        self.environment = {**scratch.environment,
                            "SNMP_PERSISTENT_DIR": str(scratch.path / "tools"),
                            "SNMPCONFPATH": str(scratch.path / "tools"),
                            "HOME": str(scratch.path / "tools")}

    def run(self, program, *arguments, environment=None):
        """The finished program, whatever came of it."""
        return subprocess.run(
            [places.program(program), *map(str, arguments)], capture_output=True, text=True,
            errors="backslashreplace", timeout=2 * PATIENCE, stdin=subprocess.DEVNULL,
            env={**self.environment, **(environment or {})})

    def command(self, program, access, *arguments, options=()):
        """The finished SNMP program, asked to try long enough for a busy machine."""
        words = [layout.dotted(word) if isinstance(word, tuple) else word for word in arguments]
        return self.run(program, *access, "-r", 2, "-t", PATIENCE / 3, *options, self.target, *words)

    def ask(self, program, *oids, access=None, options=()):
        """The varbinds of a program that must succeed."""
        done = self.command(program, access or v2c(), *oids, options=[*_PRINT, *options])
        if done.returncode != 0 or done.stderr:
            raise AssertionError(f"{done.args} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        return parse(done.stdout)

    def get(self, *oids, **how):
        return self.ask("snmpget", *oids, **how)

    def get_next(self, *oids, **how):
        return self.ask("snmpgetnext", *oids, **how)

    def bulk_get(self, *oids, non_repeaters=0, max_repetitions=10, **how):
        bulk = [f"-Cn{non_repeaters}", f"-Cr{max_repetitions}"]
        return self.ask("snmpbulkget", *oids, **how, options=bulk)

    def walk(self, oid=layout.OBJECTS, program="snmpbulkwalk", options=(), **how):
        """The varbinds below an OID; what a walk says of its end is left out."""
        varbinds = self.ask(program, oid, options=options, **how)
        if varbinds and varbinds[-1][1] in _EXCEPTIONS.values():
            varbinds.pop()
        return varbinds
