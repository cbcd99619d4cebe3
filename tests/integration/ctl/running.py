"""Runs conmonctl as its users do: into a pipe, and on a terminal."""

import os
import pathlib
import pty
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "agent"))

from support import places  # noqa: E402
from support.waiting import PATIENCE  # noqa: E402

CONMONCTL = pathlib.Path(os.environ.get("CONMONCTL", places.ROOT / "build/release/bin/conmonctl"))
COMPLETION = places.ROOT / "ctl/completion/conmonctl.bash"


def environment(scratch, **more):
    return {**scratch.environment, "TERM": "xterm", **more}


def run(scratch, socket, *words, stdin=None, **how):
    """The finished program, its output as text."""
    return subprocess.run([CONMONCTL, "--socket", socket, *map(str, words)], cwd=scratch.path,
                          input=stdin, capture_output=True, timeout=2 * PATIENCE,
                          env=environment(scratch, **how.pop("environment", {})),
                          encoding="utf-8", errors="surrogateescape",
                          **({} if stdin is not None else {"stdin": subprocess.DEVNULL}), **how)


def run_on_terminal(scratch, socket, *words, **variables):
    """What it writes to a terminal; it has to succeed."""
    master, slave = pty.openpty()
    child = subprocess.Popen([CONMONCTL, "--socket", socket, *map(str, words)], cwd=scratch.path,
                             stdin=subprocess.DEVNULL, stdout=slave, stderr=slave,
                             env=environment(scratch, **variables))
    os.close(slave)
    shown = b""
    try:
        while True:
            shown += os.read(master, 65_536)
    except OSError:
        pass  # how Linux tells that the terminal has no user left
    os.close(master)
    if child.wait(PATIENCE) != 0:
        raise AssertionError(f"{words} ended with {child.returncode}: {shown!r}")
    return shown.decode().replace("\r\n", "\n")
