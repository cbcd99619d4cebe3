"""Puts the sources that clang-tidy is to check into groups, each a source that includes the others:
most of the time goes into headers, which a group reads and checks once.

usage: tidy_groups.py COMPILE_COMMANDS.json FOLDER SOURCE...

Writes the groups and their compile commands into FOLDER and prints a line for each: the group and its
members.
"""

import json
import pathlib
import shlex
import sys

MOST = 8  # Sources of a group. Small enough that the last group keeps no processor waiting for long.

# Two sources of a group may not define the same name. These do, and so are checked on their own.
ALONE = """
ctl/commands/Show.cpp
ctl/commands/TablesText.cpp
ctl/main.cpp
ctl/socket/Asker.cpp
monitor/app/main.cpp
monitor/config/HostReader.cpp
monitor/icmp/SocketFilter.cpp
platform/Snmp/HashShortenedIdentifier.cpp
platform/Snmp/UnregisterHandler.cpp
""".split()


def options(entry):
    """What the source is compiled with, without its own name and output."""
    words = shlex.split(entry["command"])
    words = words[next(i for i, word in enumerate(words) if "clang" in word) + 1:]
    kept, skip = [], False
    for word in words:
        if skip or word in ("-c", "-MD") or word == entry["file"]:
            skip = False
        elif word in ("-o", "-MT", "-MF"):
            skip = True
        else:
            kept.append(word)
    return tuple(kept)


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    root = pathlib.Path.cwd()
    folder = pathlib.Path(sys.argv[2]).resolve()
    folder.mkdir(parents=True, exist_ok=True)
    with open(sys.argv[1], encoding="utf-8") as commands:
        entries = {entry["file"]: entry for entry in json.load(commands)}
    alike = {}
    for source in sys.argv[3:]:
        # Sources of one library have the same options.
        key = options(entries[str(root / source)])
        alike.setdefault((key, source) if source in ALONE else (key, None), []).append(source)
    groups, database = [], []
    for (flags, _), sources in alike.items():
        size = -(-len(sources) // -(-len(sources) // MOST))  # All of about the same size.
        groups += [(flags, sources[at:at + size]) for at in range(0, len(sources), size)]
    groups.sort(key=lambda group: -len(group[1]))  # The longest first.
    for number, (flags, sources) in enumerate(groups):
        file = folder / f"group{number}.cpp"
        file.write_text("".join(f'#include "{root / source}"\n' for source in sources))
        database.append({"directory": str(root), "file": str(file),
                         "arguments": ["clang++", *flags, "-c", str(file)]})
        print(file, *sources)
    (folder / "compile_commands.json").write_text(json.dumps(database, indent=1))


if __name__ == "__main__":
    main()
