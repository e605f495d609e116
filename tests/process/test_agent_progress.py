"""Progress as lines: for programs, for people, and none."""

import copy
import json
import os
import re
import signal
import subprocess

from support import AGENT, FAILED, INVALID, NOT_READY, PATIENCE, SUCCESS, AgentTest, configuration

READY = configuration("c", bind=["unix:mine"])
NEVER_READY = configuration("c", bind=["unix:mine"], connect=["unix:nobody"])


class ProgressTest(AgentTest):
    def lines(self, content, *options, status=SUCCESS, environment=None):
        """What the agent has written to standard error, and its result."""
        name = self.write("c.json", content)
        done = subprocess.run(
            [AGENT, "run", name, "--runtime-directory", "runtime", *options],
            cwd=self.directory, env={**os.environ, **(environment or {})},
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False,
        )
        self.assertEqual(done.returncode, status, done.stderr)
        return done.stderr.splitlines(), done.stdout.splitlines()


class JsonLines(ProgressTest):
    def test_a_version_line_first_then_objects_with_elapsed_seconds_and_a_summary_last(self):
        lines, results = self.lines(READY, "--once", "--progress", "json")
        objects = [json.loads(line) for line in lines]
        self.assertEqual((objects[0]["event"], objects[0]["format"]), ("version", 1))
        self.assertRegex(objects[0]["program"], r"^spf-agent \d+\.\d+\.\d+$")
        elapsed = [entry["elapsed"] for entry in objects[1:]]
        self.assertEqual(elapsed, sorted(elapsed))
        self.assertTrue(all(isinstance(entry["event"], str) and isinstance(entry["text"], str) for entry in objects[1:]))
        self.assertEqual((objects[-1]["event"], objects[-1]["status"]), ("summary", SUCCESS))
        self.assertEqual([entry["event"] for entry in objects].count("summary"), 1)
        self.assertEqual(results, ["ready c", "withdrawn c"])

    def test_outstanding_endpoints_have_reason_and_advice_of_their_own(self):
        lines, _ = self.lines(NEVER_READY, "--timeout", "500ms", "--progress", "json", status=NOT_READY)
        outstanding = [entry for entry in map(json.loads, lines) if entry["event"] == "outstanding"]
        self.assertEqual([(e["publisher"], e["endpoint"], e["role"]) for e in outstanding],
                         [("p", "unix:nobody", "connect")])
        self.assertEqual(outstanding[0]["reason"], "No such file or directory")
        self.assertIn("start the agent", outstanding[0]["advice"])

    def test_problems_of_the_file_are_objects_too(self):
        lines, results = self.lines("[", "--progress", "json", status=INVALID)
        objects = [json.loads(line) for line in lines]
        self.assertEqual([entry["event"] for entry in objects], ["version", "problem", "summary"])
        self.assertEqual(objects[1]["line"], 1)
        self.assertEqual(objects[2]["status"], INVALID)
        self.assertEqual(results, [])

    def test_a_problem_of_the_file_as_a_whole_has_no_line(self):
        lines, _ = self.lines("", "--progress", "json", status=INVALID)
        problem = json.loads(lines[1])
        self.assertEqual((problem["event"], problem["where"]), ("problem", ""))
        self.assertNotIn("line", problem)

    def test_a_failure_before_anything_is_published_is_an_object_too(self):
        gone = self.directory / "gone"
        for verb in (["run", str(self.directory / self.write("c.json", READY))], ["legacy"]):
            with self.subTest(verb=verb):
                gone.mkdir()
                done = subprocess.run(
                    ["sh", "-c", 'rmdir ../gone; exec "$0" "$@"', AGENT, *verb, "--root", "x", "--progress", "json"],
                    cwd=gone, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False,
                )
                self.assertEqual(done.returncode, FAILED)
                objects = [json.loads(line) for line in done.stderr.splitlines()]
                self.assertEqual([entry["event"] for entry in objects], ["version", "failure", "summary"])
                self.assertIn("No such file or directory", objects[1]["reason"])
                self.assertEqual(objects[2]["status"], FAILED)


class PlainLines(ProgressTest):
    def test_a_pipe_gets_one_line_per_change_without_control_characters(self):
        lines, results = self.lines(READY, "--once")
        for line in lines:
            self.assertRegex(line, r"^\[ *\d+\.\d{3}\] [ -~]+$")
        self.assertEqual(sum("unix:mine: bound" in line for line in lines), 1)
        self.assertEqual(results, ["ready c", "withdrawn c"])

    def test_a_heartbeat_says_what_is_missing_while_nothing_changes(self):
        content = copy.deepcopy(NEVER_READY)
        content["servicePublishers"].append(  # whose endpoints nobody waits for
            {"uniqueID": "old", "name": "legacyservicepublisher", "endpointsToConnectTo": ["nobody"]}
        )
        lines, _ = self.lines(content, "--timeout", "12s", "--progress", "plain", status=NOT_READY)
        beats = [re.fullmatch(r"\[ *(\d+)\.\d+\] still waiting: (.*)", line) for line in lines]
        beats = [beat for beat in beats if beat]
        self.assertEqual(len(beats), 1)
        self.assertGreaterEqual(int(beats[0][1]), 10)
        self.assertEqual(beats[0][2], "p unix:nobody is connecting (No such file or directory)")

    def test_not_ready_in_time_lists_reasons_and_what_to_try(self):
        lines, _ = self.lines(
            configuration("c", connect=["unix:nobody", "tcp:127.0.0.1:1"]), "--timeout", "1s", status=NOT_READY
        )
        text = "\n".join(lines)
        self.assertIn("not ready within 1s", text)
        self.assertIn("connect unix:nobody (No such file or directory); start the agent that binds it", text)
        self.assertIn("connect tcp:127.0.0.1:1 (Connection refused); start the agent that binds it", text)


class Quiet(ProgressTest):
    def test_success_says_nothing_but_the_results(self):
        self.assertEqual(self.lines(READY, "--once", "--progress", "quiet"), ([], ["ready c", "withdrawn c"]))

    def test_failures_are_told(self):
        lines, _ = self.lines(NEVER_READY, "--timeout", "500ms", "--progress", "quiet", status=NOT_READY)
        self.assertEqual(lines[0], "spf-agent: not ready within 0.5s")
        self.assertIn("unix:nobody", lines[1])


class Streams(ProgressTest):
    def test_a_reader_that_has_gone_does_not_end_the_run(self):
        name = self.write("c.json", READY)
        read, write = os.pipe()
        os.close(read)
        with subprocess.Popen(
            [AGENT, "run", name, "--runtime-directory", "runtime", "--once"],
            cwd=self.directory, stdin=subprocess.DEVNULL, stdout=write, stderr=write,
        ) as process:
            os.close(write)
            self.assertEqual(process.wait(timeout=60), SUCCESS)
        self.assertFalse((self.directory / "mine").exists())

    def test_nothing_takes_the_place_of_a_standard_stream_that_is_closed(self):
        name = self.write("c.json", READY)
        process = subprocess.Popen(
            ["sh", "-c", 'exec "$0" "$@" <&- >&- 2>&-', AGENT, "run", name, "--runtime-directory", "runtime"],
            cwd=self.directory,
        )
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.wait_for_file("mine")
        streams = [os.readlink(f"/proc/{process.pid}/fd/{number}") for number in range(3)]
        self.assertEqual(streams, ["/dev/null"] * 3)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(timeout=PATIENCE), 128 + signal.SIGTERM)
        self.assertFalse((self.directory / "mine").exists())

    def test_a_full_timeout_of_zero_waits_until_interrupted(self):
        agent = self.start(NEVER_READY, "--timeout", "0")
        agent.wait_for(event="endpoint", state="connecting", reason="No such file or directory")
        agent.send(signal.SIGINT)
        self.assertEqual(agent.end(), 128 + signal.SIGINT)
