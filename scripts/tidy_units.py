"""Prints the compiler's units that the given sources are in, the longest first: the source itself, or
the file of the build that includes it and others. Fails where a source is in none, or includes another
source itself.

usage: tidy_units.py COMPILE_COMMANDS.json SOURCE...
"""

import json
import pathlib
import re
import sys

INCLUDED_SOURCE = re.compile(r'^\s*#\s*include\s*["<](.*\.cpp)[">]', re.MULTILINE)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    root = pathlib.Path.cwd()
    sources = {str(root / source) for source in sys.argv[2:]}
    with open(sys.argv[1], encoding="utf-8") as commands:
        files = [entry["file"] for entry in json.load(commands)]
    units, found = {}, set()
    for file in files:
        members = INCLUDED_SOURCE.findall(pathlib.Path(file).read_text(encoding="utf-8"))
        if members and file in sources:
            sys.exit(f"{file}: includes a source: {', '.join(members)}")
        members = sources.intersection(members or [file])
        if members:
            units[file] = len(members)
            found |= members
    if missing := sorted(sources - found):
        sys.exit(f"in no unit of {sys.argv[1]}: {', '.join(missing)}")
    print(*sorted(units, key=units.get, reverse=True), sep="\n")


if __name__ == "__main__":
    main()
