#!/usr/bin/env python3
"""Plants the faults of the lists in this folder, one at a time, and sees whether a test fails.

Works in a copy of the project (--scratch), never in the project itself. For every fault the copy is
changed, the test programs that are to catch it are built, and the test that the list names is run
with a time limit. The fault is caught when that test, run by itself or with its whole program, fails, crashes or hangs.
Anything else fails the whole run: a fault that survives, one that no longer fits the source, one
that does not compile, one that is caught by other tests than the named one.
"""

import argparse
import collections
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
TIME_LIMIT_S = 120  # A healthy program needs seconds; a fault may make it wait for ever.

Fault = collections.namedtuple("Fault", "where name file after compiled programs old new caught")


class ListError(Exception):
    """A list that cannot be read, or a fault in it that does not fit the source."""


def read_list(path):
    """The faults of one list; see README.md for its form."""
    faults = []
    sticky = {"file": "", "compile": "", "tests": ""}
    fields = None

    def finish():
        if fields is None:
            return
        missing = [key for key in ("file", "tests", "old", "caught") if not fields[key]]
        if missing:
            raise ListError(f"{path.name}: fault '{fields['name']}' has no {missing[0]}")
        faults.append(Fault(path.stem, fields["name"], fields["file"], fields["after"],
                            (fields["compile"] or fields["file"]).split(),
                            fields["tests"].split(), fields["old"], fields["new"],
                            fields["caught"]))

    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        word, _, rest = line.partition(" ")
        rest = rest.strip()
        if word in sticky:
            finish()
            fields = None
            sticky[word] = rest
            if word == "file":
                sticky["compile"] = ""
        elif word == "fault":
            finish()
            fields = {"name": rest, "after": "", "old": [], "new": [], "caught": "", **sticky}
        elif fields is None or word not in ("after", "-", "+", "caught"):
            raise ListError(f"{path.name}:{number}: cannot read '{line}'")
        elif word in ("-", "+"):
            fields["old" if word == "-" else "new"].append(rest)
        else:
            fields[word] = rest
    finish()
    return faults


def planted(fault, text):
    """The source with the fault in it. Lines are compared without their indentation."""
    lines = text.splitlines()
    stripped = [line.strip() for line in lines]
    begin = 0
    if fault.after:
        anchors = [i for i, line in enumerate(stripped) if fault.after in line]
        if len(anchors) != 1:
            raise ListError(f"'{fault.after}' is {len(anchors)} times in {fault.file}, not once")
        begin = anchors[0]
    size = len(fault.old)
    places = [i for i in range(begin, len(lines) - size + 1) if stripped[i:i + size] == fault.old]
    if not places or (len(places) > 1 and not fault.after):
        raise ListError(f"its old lines are {len(places)} times in {fault.file}, not once")
    at = places[0]
    return "\n".join(lines[:at] + fault.new + lines[at + size:]) + "\n"


def run_program(path, tests="*"):
    """The tests of a GoogleTest program that failed; in one that ended early, the last to start."""
    with subprocess.Popen([path, "--gtest_color=no", "--gtest_print_time=0",
                           f"--gtest_filter={tests}"],
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, start_new_session=True) as run:
        try:
            output, _ = run.communicate(timeout=TIME_LIMIT_S)
        except subprocess.TimeoutExpired:
            os.killpg(run.pid, 9)
            output, _ = run.communicate()
    text = output.decode(errors="replace")
    failed = re.findall(r"^\[  FAILED  \] ([^\s,]+)(?:, where .*)?$", text, re.MULTILINE)
    if run.returncode != 0 and "[==========] " not in text.rpartition("[ RUN      ] ")[2]:
        failed.append(text.rpartition("[ RUN      ] ")[2].split(None, 1)[0])
    if run.returncode != 0 and not failed:
        failed.append("LeakSanitizer" if "LeakSanitizer" in text else f"exit-{run.returncode}")
    return list(dict.fromkeys(failed))


class Scratch:
    """A copy of the project and its build."""

    def __init__(self, folder):
        self.tree = folder
        self.build = folder / "build" / "asan"

    def copy(self):
        """Brings the copy to what the project is now; what is the same keeps its time stamp."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others",
                                 "--exclude-standard"], cwd=ROOT, check=True, capture_output=True)
        names = {name for name in listed.stdout.decode().split("\0") if (ROOT / name).is_file()}
        names.discard("")
        for name in names:
            source, target = ROOT / name, self.tree / name
            target.parent.mkdir(parents=True, exist_ok=True)
            if not target.exists() or target.read_bytes() != source.read_bytes():
                shutil.copy(source, target)
        for target in [path for top in self.tree.iterdir() if top.name not in ("build", ".deps")
                       for path in ([top] if top.is_file() else top.rglob("*"))]:
            if target.is_file() and str(target.relative_to(self.tree)) not in names:
                target.unlink()
        # A copy, not a link: a compiler's cache sees where a path leads.
        if (ROOT / ".deps").is_dir() and not (self.tree / ".deps").exists():
            shutil.copytree(ROOT / ".deps", self.tree / ".deps", symlinks=True)

    def configure(self):
        """The build that all tests pass on: its sanitizers see what no assertion says."""
        # The copy shares ccache's results with the project: the paths of both are relative ones.
        os.environ.update(CCACHE_BASEDIR=str(self.tree), CCACHE_NOHASHDIR="1")
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        # Each source by itself: a fault has only those compiled again that show it.
        subprocess.run(["cmake", "--preset", "asan", "-DCMAKE_UNITY_BUILD=OFF", *launcher],
                       cwd=self.tree, check=True, stdout=subprocess.DEVNULL)

    def make(self, programs):
        """None when it was built; else the end of what the compiler said."""
        done = subprocess.run(["cmake", "--build", self.build, "--parallel", str(os.cpu_count()),
                               "--target", *programs], capture_output=True, check=False)
        return None if done.returncode == 0 else done.stdout.decode(errors="replace")[-3000:]

    @staticmethod
    def change(source, text, compiled):
        """Gives the file another text and has only those sources compiled again that are named:
        a header may be included by many that the fault is not looked for in."""
        times = source.stat()
        source.write_text(text)
        os.utime(source, ns=(times.st_atime_ns, times.st_mtime_ns))
        for path in compiled:
            path.touch()

    def failures(self, programs, tests="*"):
        return [test for program in programs
                for test in run_program(self.build / "tests" / program, tests)]


def judge(fault, scratch):
    """What became of the fault: (caught?, what to say)."""
    source = scratch.tree / fault.file
    compiled = [scratch.tree / name for name in fault.compiled]
    absent = [path for path in [source, *compiled] if not path.is_file()]
    if absent:
        return False, f"DOES NOT FIT: no file {absent[0]}"
    healthy = source.read_text()
    try:
        scratch.change(source, planted(fault, healthy), compiled)
        complaint = scratch.make(fault.programs)
        if complaint is not None:
            return False, f"DOES NOT COMPILE:\n{complaint}"
        if fault.caught in scratch.failures(fault.programs, fault.caught):
            return True, f"caught by {fault.caught}"
        # A fault may show only in what an earlier test of the program leaves behind.
        failed = scratch.failures(fault.programs)
        if fault.caught in failed:
            return True, f"caught by {fault.caught} among the tests of its program"
    except ListError as error:
        return False, f"DOES NOT FIT: {error}"
    finally:
        scratch.change(source, healthy, compiled)
    if not failed:
        return False, "SURVIVED"
    return False, f"caught, but not by {fault.caught}: {' '.join(failed[:5])}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--scratch", type=pathlib.Path, default=ROOT / "build" / "mutations")
    parser.add_argument("--only", default="", help="regular expression of the faults to plant")
    options = parser.parse_args()

    faults = [fault for path in sorted(HERE.glob("*.txt")) for fault in read_list(path)]
    chosen = [f for f in faults if re.search(options.only, f"{f.where}: {f.name}")]
    if not chosen:
        print("mutations: no fault to plant", file=sys.stderr)
        return 2

    begin = time.monotonic()
    scratch = Scratch(options.scratch.resolve())
    scratch.copy()
    scratch.configure()
    programs = sorted({program for fault in chosen for program in fault.programs})
    complaint = scratch.make(programs)
    if complaint is not None:
        print(f"mutations: the project itself does not build:\n{complaint}", file=sys.stderr)
        return 2
    failed = scratch.failures(programs)
    if failed:
        print(f"mutations: tests fail without a fault: {' '.join(failed)}", file=sys.stderr)
        return 2
    print(f"built, and {' '.join(programs)} pass, after {time.monotonic() - begin:.0f} s",
          flush=True)

    missed = 0
    for number, fault in enumerate(chosen, 1):
        caught, verdict = judge(fault, scratch)
        missed += not caught
        print(f"{number:3}/{len(chosen)} {'ok  ' if caught else 'FAIL'} "
              f"{fault.where}: {fault.name}: {verdict}", flush=True)
    print(f"{len(chosen)} faults, {len(chosen) - missed} caught, {missed} not; "
          f"{time.monotonic() - begin:.0f} s in all")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
