"""Child processes in a private folder, which end with the test whatever happens to it."""

import ctypes
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile

from support.waiting import PATIENCE, until

_SANITIZER_REPORT = re.compile(r"Sanitizer|runtime error:")
_PR_SET_PDEATHSIG = 1
_SHOWN = 30  # lines of an output, at its beginning and at its end
_libc = ctypes.CDLL(None)


def _die_with_parent():
    """Runs in the child: a test that is killed takes its processes with it."""
    _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


# What a sanitized or a measured build of a program listens to.
FOR_THE_BUILD = ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "LLVM_PROFILE_FILE")


class Scratch:
    """A private folder with nothing of this machine's or user's SNMP configuration in its
    environment. `home` and `persistent` begin empty, so that anything in them was written."""

    def __init__(self):
        # Not below TMPDIR: the path of a Unix socket has room for about a hundred bytes.
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="conmon-", dir="/tmp"))
        for name in ("home", "persistent", "conf"):
            (self.path / name).mkdir()
        self.environment = {
            "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
            "LC_ALL": "C.UTF-8",
            "HOME": str(self.path / "home"),
            "SNMP_PERSISTENT_DIR": str(self.path / "persistent"),
            "SNMPCONFPATH": str(self.path / "conf"),
            "MIBS": "",
            **{name: os.environ[name] for name in FOR_THE_BUILD if name in os.environ},
        }

    def file(self, name, text):
        path = self.path / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def remove(self):
        shutil.rmtree(self.path)


class Process:
    """A running program whose output goes to files."""

    def __init__(self, name, argv, scratch, environment=None, error_stream=None):
        """`error_stream` is a descriptor to write errors to, instead of a file."""
        self.name = name
        self.argv = [str(word) for word in argv]
        self._files = {stream: tempfile.NamedTemporaryFile(
            prefix=f"{name}-", suffix=f".{stream}", dir=scratch.path, delete=False)
            for stream in ("stdout", "stderr")}
        streams = {**self._files, **({"stderr": error_stream} if error_stream else {})}
        self._popen = subprocess.Popen(
            self.argv, cwd=scratch.path, env=environment or scratch.environment,
            stdin=subprocess.DEVNULL, preexec_fn=_die_with_parent, **streams)

    @property
    def pid(self):
        return self._popen.pid

    @property
    def status(self):
        """The exit code, negative for a signal's number; None while it runs."""
        return self._popen.poll()

    def output(self, stream):
        return pathlib.Path(self._files[stream].name).read_text(errors="backslashreplace")

    @property
    def stderr(self):
        return self.output("stderr")

    @property
    def stderr_lines(self):
        return self.stderr.splitlines()

    def signal(self, number):
        """To this process and no other: its exit has not been collected, so the pid is its own."""
        if self.status is None:
            os.kill(self.pid, number)

    def wait(self, patience=PATIENCE):
        """Waits for its end; returns the exit code."""
        until(lambda: self.status is not None, lambda: f"the end of {self}", patience)
        return self.status

    def kill(self):
        self.signal(signal.SIGKILL)
        return self.wait()

    def close(self):
        """Ends it, hard, if it still runs, and lets go of its output files."""
        if self.status is None:
            self.kill()
        for file in self._files.values():
            file.close()

    def sanitizer_reports(self):
        return [line for line in self.stderr_lines if _SANITIZER_REPORT.search(line)]

    def __str__(self):
        state = "running" if self.status is None else f"ended with {self.status}"
        lines = self.stderr_lines
        left_out = [f"[{len(lines) - 2 * _SHOWN} lines]"] if len(lines) > 2 * _SHOWN else []
        said = [*lines[:_SHOWN], *left_out, *lines[_SHOWN:][-_SHOWN:]]
        return "\n".join([f"{self.name} ({state}: {' '.join(self.argv)}), which said:", *said])
