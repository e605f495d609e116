"""Agents whose system gives them less than they need: they say so, and end with the status of a failure."""

import os
import resource
import subprocess
import unittest

from support import AGENT, FAILED, INVALID, SUCCESS, AgentTest, configuration

REFUSED = "Resource temporarily unavailable"
MORE_THAN_ENOUGH = 50


class FewThreads(AgentTest):
    """The system refuses every thread after the first few."""

    def start_with_threads(self, number, *arguments):
        environment = {"LD_PRELOAD": os.environ["SPF_TEST_FEW_THREADS"], "SPF_TEST_THREADS": str(number)}
        return self.start_with(*arguments, environment=environment)

    def check_every_number(self, *arguments):
        """From none up to as many as the agent needs; returns what it needs."""
        for number in range(MORE_THAN_ENOUGH):
            with self.subTest(threads=number):
                agent = self.start_with_threads(number, *arguments)
                status = agent.end()
                if status == SUCCESS:
                    return number
                self.assertEqual(status, FAILED, agent.complaints)
                said = agent.texts("failure") + agent.complaints
                self.assertTrue(any(REFUSED in text for text in said), said)
        return self.fail("the agent needs too many")

    def test_whichever_is_refused_a_run_says_so_and_fails(self):
        content = configuration("c", bind=["unix:socket"], connect=["unix:socket"], interfaces=["Clock"])
        self.write("c.json", content)
        needed = self.check_every_number(
            "run", "c.json", "--once", "--progress", "json", "--runtime-directory", "runtime"
        )
        self.assertGreater(needed, 0)
        self.assertEqual(list(self.directory.glob("socket")), [])

    def test_when_that_of_a_bundle_is_refused_the_legacy_configuration_says_so_and_fails(self):
        enough_for_the_program = 3
        agent = self.start_with_threads(enough_for_the_program, "legacy", "--progress", "json")
        self.assertEqual(agent.end(), FAILED, agent.complaints)
        self.assertIn(REFUSED, agent.texts("failure")[0])

    def test_whichever_is_refused_a_map_is_shown_or_not(self):
        self.write("c.json", configuration("c"))
        self.check_every_number("show", "c.json")


class SmallFiles(AgentTest):
    """No file may grow."""

    def test_announcement_that_cannot_be_written_is_a_failure_that_leaves_nothing_behind(self):
        content = configuration("c", bind=["unix:socket"])
        announcer = {"uniqueID": "l", "name": "legacyservicepublisher", "endpointsToBindTo": ["name"]}
        content["servicePublishers"].append(announcer)
        self.write("c.json", content)
        limit = resource.getrlimit(resource.RLIMIT_FSIZE)
        self.addCleanup(resource.setrlimit, resource.RLIMIT_FSIZE, limit)
        resource.setrlimit(resource.RLIMIT_FSIZE, (0, limit[1]))
        agent = self.start_with("run", "c.json", "--progress", "json", "--runtime-directory", "runtime")
        self.assertEqual(agent.end(), FAILED)
        self.assertIn("cannot bind name: ", agent.texts("failure")[0])
        self.assertIn("File too large", agent.texts("failure")[0])
        self.assertFalse((self.directory / "socket").exists())


class LittleMemory(AgentTest):
    LIMIT = 60 << 20  # bytes of addresses; enough to begin with

    def check_does_not_fit(self, content):
        name = self.write("c.json", content)
        done = subprocess.run(
            [AGENT, "validate", name], cwd=self.directory, capture_output=True, text=True, check=False,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (self.LIMIT, self.LIMIT)),
        )
        self.assertEqual((done.returncode, done.stderr), (FAILED, "spf-agent: out of memory\n"))

    def test_a_long_text_that_does_not_fit_is_told_in_words(self):
        self.check_does_not_fit({"configurationID": "c" * 15_000_000})

    def test_a_long_list_that_does_not_fit_is_told_in_words(self):
        self.check_does_not_fit({"configurationID": "c", "serviceInterfaces": [1] * 2_000_000})


class LongNames(AgentTest):
    def test_many_values_below_a_long_name_take_no_more_memory_than_they_should(self):
        content = configuration("c")
        content["n" * 50_000] = [1] * 50_000  # their pointers together have 2.5 GB
        agent = self.start_with("validate", self.write("c.json", content))
        status, used = os.wait4(agent.pid, 0)[1:]
        self.assertEqual(os.waitstatus_to_exitcode(status), INVALID)
        self.assertLess(used.ru_maxrss, 500_000, "KiB")


if __name__ == "__main__":
    unittest.main()
