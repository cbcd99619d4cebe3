"""What bash offers to complete."""

import re
import subprocess
import unittest

import running
from support import places
from support.process import Scratch

COMMANDS = ["feed", "show", "snmpd-conf", "stats", "tables"]

# Asks as bash does when the user presses the key behind the last word.
ASK = """
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
complete -p conmonctl | grep -q -- '-F _conmonctl' || exit 1
_conmonctl
printf '%s\\n' "${COMPREPLY[@]}"
"""


class Completed(unittest.TestCase):
    def setUp(self):
        self.scratch = Scratch()
        self.addCleanup(self.scratch.remove)

    def complete(self, *words):
        done = subprocess.run([places.program("bash"), "--norc", "--noprofile", "-c", ASK, "bash",
                               running.COMPLETION, "conmonctl", *words], capture_output=True,
                              text=True, cwd=self.scratch.path, env=self.scratch.environment)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return sorted(line for line in done.stdout.splitlines() if line)

    def test_commands_are_offered_first(self):
        self.assertEqual(self.complete(""), sorted(COMMANDS + ["--help", "--socket", "--version"]))
        self.assertEqual(self.complete("s"), ["show", "snmpd-conf", "stats"])
        self.assertEqual(self.complete("--socket", "/x", "ta"), ["tables"])

    def test_each_option_that_help_names_is_offered(self):
        for command in ([], *([command] for command in COMMANDS)):
            done = running.run(self.scratch, "x", *command, "--help")
            options = set(re.findall(r"^ +(--[a-z-]+)", done.stdout, re.MULTILINE))
            self.assertIn("--help", options)
            self.assertEqual(set(self.complete(*command, "-")) - {"--socket"}, options - {"--socket"})
            self.assertIn("--socket", self.complete(*command, "-"))

    def test_files_are_offered_where_files_are_wanted(self):
        self.scratch.file("lines.jsonl", "")
        self.assertEqual(self.complete("feed", "lin"), ["lines.jsonl"])
        self.assertEqual(self.complete("--socket", "lin"), ["lines.jsonl"])
        self.assertEqual(self.complete("stats", "--probed-socket", "lin"), ["lines.jsonl"])

    def test_nothing_is_offered_for_a_value_that_only_the_user_knows(self):
        self.assertEqual(self.complete("tables", "--vrf", ""), [])
        self.assertEqual(self.complete("show", "--depth", ""), [])

    def test_words_that_are_typed_are_not_taken_for_commands_of_the_shell(self):
        self.assertEqual(self.complete("$(touch pwned)"), [])
        self.assertEqual(list(self.scratch.path.glob("pwned")), [])


if __name__ == "__main__":
    unittest.main()
