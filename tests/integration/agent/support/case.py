"""The frame of the tests: private folders, agents that end with their test, and comparisons whose
failures can be read."""

import unittest

from support import layout, places, walking
from support.conmon import Agent
from support.process import Process, Scratch


class AgentCase(unittest.TestCase):
    """Each test has a folder of its own, and as many agents as it starts."""

    maxDiff = 4000

    def setUp(self):
        self.scratch = Scratch()
        self.addCleanup(self.scratch.remove)

    def start(self, *arguments, **how):
        agent = Agent(self.scratch, *arguments, **how)
        self.addCleanup(agent.close)
        return agent

    def run_to_end(self, *arguments):
        """The process of an agent that has to end by itself."""
        process = Process("conmon-snmpd", [places.AGENT, *arguments], self.scratch)
        self.addCleanup(process.close)
        process.wait()
        self.assertEqual(process.sanitizer_reports(), [], str(process))
        return process

    def assert_refused(self, process, *parts):
        """It ended with code 1 and one line on standard error, which has all the parts."""
        self.assertEqual(process.status, 1, str(process))
        self.assertEqual(process.output("stdout"), "")
        self.assertEqual(len(process.stderr_lines), 1, str(process))
        line = process.stderr_lines[0]
        self.assertTrue(line.startswith("<3>"), line)
        for part in parts:
            self.assertIn(str(part), line)

    def assert_ascending(self, oids):
        for before, after in zip(oids, oids[1:]):
            self.assertLess(before, after, "a walk has to ascend strictly")

    def assert_varbinds(self, got, expected):
        """Equal, in the same order; the first difference is told in words."""
        for at, (one, other) in enumerate(zip(got, expected)):
            if one != other:
                self.fail(f"varbind {at}:\n got      {describe(one)}\n expected {describe(other)}")
        for what, longer, shorter in (("too much", got, expected), ("missing", expected, got)):
            if len(longer) > len(shorter):
                self.fail(f"{what}: {len(longer) - len(shorter)} varbinds, the first of them "
                          f"{describe(longer[len(shorter)])}")

    def assert_bulk(self, got, expected):
        self.assert_varbinds(walking.ends_unnamed(got), walking.ends_unnamed(expected))

    def assert_serves(self, agent, vrf="default", **access):
        """A walk shows just the rows that the agent's clients led to."""
        got = agent.tools.walk(**access)
        self.assert_varbinds(got, agent.model.varbinds(vrf))
        self.assert_ascending([oid for oid, _, _ in got])


class SharedAgentCase(AgentCase):
    """One agent for all tests of the class, which only read. `prepare` feeds it."""

    arguments = ()

    @classmethod
    def setUpClass(cls):
        cls.class_scratch = Scratch()
        cls.addClassCleanup(cls.class_scratch.remove)
        cls.agent = Agent(cls.class_scratch, *cls.arguments)
        cls.addClassCleanup(cls.agent.close)
        cls.prepare()

    @classmethod
    def prepare(cls):
        """To be overridden."""


def describe(varbind):
    oid, kind, value = varbind
    return f"{layout.dotted(oid) if oid else 'any name'} = {kind}: {value!r}"
