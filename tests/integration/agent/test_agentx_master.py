"""Masters that come late, go, or are no good."""

import signal
import unittest

from support import places
from support.half_master import HalfMaster
from support.subagent import HangUp, SubagentCase
from support.waiting import until

RETRIES = 3
# With the first answer a master has a session; a few registrations come behind it.
ANSWERS = 5
# Requests in a row to which a master owes an answer when it is given up.
UNANSWERED = 3
VRFS = 8


class Masters(SubagentCase):
    def setUp(self):
        super().setUp()
        # Of what net-snmp leaks here, the stack tells only with the slow unwinder.
        for name, more in (("ASAN_OPTIONS", "fast_unwind_on_malloc=0"),
                           ("LSAN_OPTIONS", f"suppressions={places.LEAKS}:print_suppressions=0")):
            before = self.scratch.environment.get(name)
            self.scratch.environment[name] = f"{before}:{more}" if before else more

    def test_it_comes_back_by_itself_when_the_master_is_killed_and_restarted(self):
        agent = self.start_subagent()
        self.fill(agent)
        for _ in range(2):
            master = self.start_master()
            self.wait_for_all(master, agent)
            master.kill()
            with agent.client("meanwhile") as client:
                client.put("h", "http", vrf="blue", url="u")
                client.put(f"h{len(agent.model.varbinds())}", "http", url="u")
                client.sync()
        master = self.start_master()
        self.wait_for_all(master, agent)

    def test_it_comes_back_when_the_master_ends_in_order(self):
        agent = self.start_subagent()
        self.fill(agent)
        master = self.start_master()
        self.wait_for_all(master, agent, ("blue",))
        master.process.signal(signal.SIGTERM)
        master.process.wait()
        master = self.start_master()
        self.wait_for_all(master, agent, ("blue",))

    def test_a_master_that_hangs_up_is_tried_again_until_a_better_one_is_there(self):
        bad = HangUp(self.socket)
        agent = self.start_subagent()
        self.fill(agent)
        until(lambda: bad.tries > RETRIES, f"{RETRIES} tries")
        bad.close()
        self.socket.unlink()
        master = self.start_master()
        self.wait_for_all(master, agent)
        complaints = [line for line in agent.log() if str(self.socket) in line]
        self.assertEqual(len(complaints), 1, agent.process)

    def test_a_master_that_does_not_answer_stops_neither_the_feed_nor_the_end(self):
        deaf = HangUp(self.socket, deaf=True)
        self.addCleanup(deaf.close)
        agent = self.start_subagent()
        # Behind the first tries again, which is when net-snmp's alarms are at work.
        until(lambda: deaf.tries > RETRIES, f"{RETRIES} tries")
        with agent.client("lab") as client:
            client.put("h", "http", url="u")
            client.sync()
        agent.stop()

    def start_with_half_a_master(self, connections, hangs_up):
        """Returns the master and the agent when the agent has connected so many times."""
        half = HalfMaster(self.socket, ANSWERS, hangs_up)
        self.addCleanup(half.close)
        agent = self.start_subagent()
        self.fill(agent)
        with agent.client("many") as client:
            for vrf in range(VRFS):
                client.put("h", "http", vrf=f"vrf{vrf}", url="u")
            client.sync()
        until(lambda: len(half.asked) >= connections, f"{connections} connections")
        return half, agent

    def replace(self, half, agent):
        half.close()
        self.socket.unlink()
        self.wait_for_all(self.start_master(), agent)

    def test_a_master_that_goes_silent_is_asked_no_more_and_a_better_one_has_everything(self):
        half, agent = self.start_with_half_a_master(2, hangs_up=False)
        # Each VRF takes requests of its own, and all of them are told to each new connection.
        for asked in half.asked[:-1]:
            self.assertLessEqual(asked, ANSWERS + UNANSWERED, half.asked)
        self.replace(half, agent)

    def test_a_master_that_goes_in_the_middle_of_it_leaves_nothing_out_for_the_next(self):
        half, agent = self.start_with_half_a_master(3, hangs_up=True)
        self.replace(half, agent)
        twice = [line for line in agent.log() if "attempted to be re-opened" in line]
        self.assertEqual(twice, [])

    def test_the_usual_place_is_what_the_configuration_says(self):
        config = self.scratch.file("agentx.conf", f"agentXSocket {self.socket}\n")
        master = self.start_master()
        agent = self.start_subagent("--agentx", "--snmp-conf", config)
        self.fill(agent)
        self.wait_for_all(master, agent)

    def test_several_subagents_of_one_master_do_not_disturb_it(self):
        # The second one asks for what the first one has; the first one stays.
        master = self.start_master()
        agent = self.start_subagent()
        self.fill(agent)
        self.wait_for_all(master, agent, ("blue",))
        self.start_subagent(name="second")
        self.wait_for_all(master, agent, ("blue",))


if __name__ == "__main__":
    unittest.main()
