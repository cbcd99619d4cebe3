"""Sums llvm-cov's summary up by folder. Fails where less than LEAST percent of the lines of one of the
rooms are reached.

usage: coverage_report.py SUMMARY.json LEAST ROOM...
"""

import collections
import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "coverage"


def percent(covered, count):
    return 100.0 * covered / count if count else 100.0


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    least, rooms = float(sys.argv[2]), sys.argv[3:]
    with open(sys.argv[1], encoding="utf-8") as summary:
        files = json.load(summary)["data"][0]["files"]
    sums = collections.defaultdict(lambda: [0, 0, 0, 0])
    below = []
    for file in files:
        # Seen from the build folder, where the compiler's cache makes paths relative ones.
        path = (BUILD / file["filename"]).resolve()
        if not path.is_relative_to(ROOT):
            continue
        path = path.relative_to(ROOT)
        if path.parts[0] not in rooms:
            continue
        lines, branches = file["summary"]["lines"], file["summary"]["branches"]
        numbers = (lines["covered"], lines["count"], branches["covered"], branches["count"])
        for where in {path.parts[0], str(path.parent)}:
            sums[where] = [a + b for a, b in zip(sums[where], numbers)]
        if lines["covered"] < lines["count"]:
            below.append((lines["count"] - lines["covered"], str(path)))
    print(f"{'':34}{'lines':>16}{'branches':>18}")
    for where, (line, lines, branch, branches) in sorted(sums.items()):
        print(f"{where:34}{line:6}/{lines:<5}{percent(line, lines):6.1f}%"
              f"{branch:6}/{branches:<5}{percent(branch, branches):6.1f}%")
    print("lines that no test reaches, by file:")
    for count, path in sorted(below, reverse=True):
        print(f"{count:6}  {path}")
    failed = False
    for room in rooms:
        line, lines = sums[room][:2]
        if not lines or percent(line, lines) < least:
            print(f"coverage: {room}: less than {least:g} % of its lines", file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
