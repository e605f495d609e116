"""What a person or a script sees of spf-agent, with real processes and real sockets."""

import fcntl
import json
import os
import signal
import socket
import subprocess
import tempfile
import unittest

from support import (
    AGENT,
    EXAMPLES,
    FAILED,
    INVALID,
    NOT_READY,
    PATIENCE,
    SUCCESS,
    AgentTest,
    configuration,
    free_port,
)


class InvalidFiles(AgentTest):
    """Both commands name the file, the place, what was found and what was expected, and end with status 2."""

    def check(self, content, *expected):
        self.write("file.json", content)
        for command in ("validate", "run"):
            with self.subTest(command=command):
                agent = self.start_with(command, "file.json")
                self.assertEqual(agent.end(), INVALID)
                for text in expected:
                    self.assertTrue(
                        any(line.startswith("file.json:") and text in line for line in agent.complaints),
                        f"{text!r} is not in {agent.complaints}",
                    )

    def test_malformed_json_names_line_and_column(self):
        self.check('{\n  "configurationID": }', "file.json:2:22: ")

    def test_unknown_member_is_named_by_its_pointer(self):
        self.check({"configurationID": "c", "servicePublisher": []}, "/servicePublisher: unknown member")

    def test_duplicate_member_is_named_by_its_pointer(self):
        self.check('{"configurationID": "a", "configurationID": "b"}', "/configurationID: duplicate member")

    def test_mapping_to_an_unknown_publisher_is_named_by_its_pointer(self):
        content = configuration("c", interfaces=["i"])
        content["serviceInterfaces"][0]["servicePublishers"] = ["p", "nobody"]
        self.check(content, '/serviceInterfaces/0/servicePublishers/1: found "nobody"; expected', 'one of "p"')

    def test_every_problem_is_reported(self):
        content = {"configurationID": 1, "x": 2, "servicePublishers": [{"uniqueID": "", "name": "other"}]}
        self.check(
            content,
            "/configurationID: found 1",
            "/x: unknown",
            '/servicePublishers/0/uniqueID: found ""',
            '/servicePublishers/0/name: found "other"',
        )

    def test_missing_file_says_why(self):
        agent = self.start_with("run", "missing.json")
        self.assertEqual(agent.end(), INVALID)
        self.assertEqual(agent.complaints, ["missing.json: cannot open it: No such file or directory"])

    def test_unknown_option_is_a_usage_error(self):
        self.assertEqual(self.start_with("run", "--nonsense", "x").end(), INVALID)

    def test_examples_are_valid(self):
        for example in sorted(EXAMPLES.glob("*.json")):
            with self.subTest(example=example.name):
                agent = self.start_with("validate", str(example))
                self.assertEqual(agent.end(), SUCCESS)
                self.assertEqual(agent.results(), [f"{example}: valid"])


class Failures(AgentTest):
    """What stands in the way for good ends the wait at once, with what, where and why, and status 1."""

    def check(self, content, *expected):
        agent = self.start(content, "--timeout", "0")
        failure = agent.wait_for(event="failure")
        for text in expected:
            self.assertIn(text, failure["text"])
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), FAILED)
        self.assertNotIn("ready c", agent.results())

    def test_endpoint_of_an_unknown_scheme(self):
        self.check(configuration("c", bind=["carrier-pigeon:7"]), '"p"', "carrier-pigeon:7", "unknown scheme")

    def test_port_in_use(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            endpoint = f"tcp:127.0.0.1:{server.getsockname()[1]}"
            self.check(configuration("c", bind=[endpoint]), '"p"', endpoint, "Address already in use")

    def test_socket_of_a_living_process(self):
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(str(self.directory / "taken"))
            server.listen()
            self.check(configuration("c", bind=["unix:taken"]), '"p"', "unix:taken", "in use")

    def test_directory_that_is_not_there(self):
        self.check(configuration("c", bind=["unix:nowhere/socket"]), "nowhere", "No such file or directory")

    @unittest.skipIf(os.geteuid() == 0, "nothing is forbidden to root")
    def test_directory_that_may_not_be_written(self):
        (self.directory / "locked").mkdir(mode=0o500)
        self.check(configuration("c", bind=["unix:locked/socket"]), "unix:locked/socket", "Permission denied")

    def test_one_failure_among_endpoints_that_would_wait_for_ever(self):
        content = configuration("c", bind=["carrier-pigeon:7"], connect=["unix:nobody"])
        self.check(content, "carrier-pigeon:7")

    def test_one_that_comes_later_shows_in_the_status_at_the_end(self):
        runtime = self.directory / "runtime"
        runtime.mkdir(mode=0o700)
        content = configuration("c")
        content["servicePublishers"][0] |= {"name": "legacyservicepublisher", "endpointsToConnectTo": ["name"]}
        agent = self.start(content, "--for", "3s")
        agent.wait_for(event="ready")
        with open(runtime / "unfinished", "w", encoding="utf-8") as announcement:
            fcntl.flock(announcement, fcntl.LOCK_EX)  # as of a process that lives
            announcement.write('{"name": "name", "endpoint": "carrier-pigeon:7"}')
            announcement.flush()
            os.rename(runtime / "unfinished", runtime / "a.json")
            agent.wait_for(event="failure")
            agent.wait_for(event="withdrawn")
            self.assertEqual(agent.end(), FAILED)
        self.assertIn("unknown scheme", agent.texts("failure")[0])

    def test_missing_installation(self):
        content = configuration("c", bind=["unix:socket"])
        agent = self.start(content, "--root", "nothing-here")
        self.assertEqual(agent.end(), FAILED)
        self.assertIn("nothing-here/bin/darwinarm64/microservices", agent.texts("failure")[0])


class Waiting(AgentTest):
    """Endpoints that are not there yet are waited for, as long as the time-out says."""

    def test_timeout_lists_what_is_outstanding_and_why(self):
        content = configuration("c", bind=["unix:mine"], connect=["unix:nobody"])
        content["servicePublishers"].append(  # whose endpoints nobody waits for
            {"uniqueID": "old", "name": "legacyservicepublisher", "endpointsToConnectTo": ["nobody"]}
        )
        agent = self.start(content, "--timeout", "500ms")
        self.assertEqual(agent.end(), NOT_READY)
        self.assertEqual(agent.texts("failure"), ["not ready within 0.5s"])
        self.assertEqual(
            agent.texts("outstanding"),
            [
                "outstanding: p: connect unix:nobody (No such file or directory); "
                "start the agent that binds it, or check the path"
            ],
        )
        self.assertFalse((self.directory / "mine").exists())

    def test_timeout_names_an_expected_interface_that_nobody_offers(self):
        agent = self.start(configuration("c", bind=["unix:mine"]), "--expect", "Missing", "--timeout", "500ms")
        self.assertEqual(agent.end(), NOT_READY)
        outstanding = agent.seen_of("outstanding")
        self.assertEqual([entry["interface"] for entry in outstanding], ["Missing"])
        self.assertIn("no peer offers the expected interface Missing", outstanding[0]["text"])
        self.assertIn("check that the other agent maps it", outstanding[0]["advice"])

    def test_one_of_several_expected_interfaces_is_not_enough(self):
        self.start(configuration("binder", bind=["unix:meeting"], interfaces=["Offered"])).wait_for(event="ready")
        expected = ("--expect", "Missing", "--expect", "Offered")
        agent = self.start(configuration("c", connect=["unix:meeting"]), *expected, "--timeout", "3s")
        self.assertEqual(agent.end(), NOT_READY)
        self.assertIn("Missing", [entry.get("interface") for entry in agent.seen_of("outstanding")])

    def test_late_peer_is_connected_to(self):
        early = self.start(configuration("early", connect=["unix:meeting"]), "--once")
        early.wait_for(event="endpoint", state="connecting", reason="No such file or directory")
        late = self.start(configuration("late", bind=["unix:meeting"]))
        late.wait_for(event="ready")
        early.wait_for(event="endpoint", state="connected")
        self.assertEqual(early.end(), SUCCESS)


class Peers(AgentTest):
    """What is shown is what happens to the peers."""

    def pair(self, *options):
        binder = self.start(configuration("binder", bind=["unix:meeting"], interfaces=["Offered"]))
        binder.wait_for(event="ready")
        connector = self.start(configuration("connector", connect=["unix:meeting"]), "--expect", "Offered", *options)
        connector.wait_for(event="ready")
        return binder, connector

    def test_interfaces_of_a_peer_are_seen_and_go_with_it(self):
        binder, connector = self.pair()
        offered = connector.seen_of("remote")[0]
        self.assertEqual(offered["peer"], f"{socket.gethostname()}/{binder.pid}")
        binder.send(signal.SIGINT)
        connector.wait_for(event="remote", interface="Offered", state="gone")
        self.assertEqual(binder.end(), 128 + signal.SIGINT)

    def test_killed_peer_shows_as_lost_and_its_return_as_connected(self):
        binder, connector = self.pair()
        binder.send(signal.SIGKILL)
        connector.wait_for(event="endpoint", state="lost")
        self.assertEqual(binder.end(), -signal.SIGKILL)
        self.assertTrue((self.directory / "meeting").exists(), "a killed process leaves its socket file")

        returned = self.start(configuration("binder", bind=["unix:meeting"], interfaces=["Offered"]))
        returned.wait_for(event="ready")
        connector.wait_for(event="endpoint", state="connected")

    def test_both_examples_find_each_other_and_end_with_status_0(self):
        port = free_port()
        agents = []
        for name, expected in (("demo-binder", ["demo.Display"]), ("demo-connector", ["demo.Temperature", "demo.Door"])):
            example = json.loads((EXAMPLES / f"{name}.json").read_text().replace("47613", str(port)))
            options = [option for interface in expected for option in ("--expect", interface)]
            agents.append(self.start(example, "--for", "1s", *options))
        for agent in agents:
            agent.wait_for(event="ready")
        for agent in agents:
            self.assertEqual(agent.end(), SUCCESS)
            self.assertEqual([line.split()[0] for line in agent.results()], ["ready", "withdrawn"])
        self.assertFalse((self.directory / "spf-demo.socket").exists())


class Demonstration(unittest.TestCase):
    def test_two_at_once_succeed(self):
        command = [str(EXAMPLES.parent / "scripts" / "demo"), AGENT]
        with tempfile.TemporaryFile("w+") as said:
            both = [subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=said, stderr=said) for _ in range(2)]
            statuses = [demonstration.wait(timeout=2 * PATIENCE) for demonstration in both]
            said.seek(0)
            self.assertEqual(statuses, [0, 0], said.read())

    def test_it_fails_when_the_agent_does(self):
        command = [str(EXAMPLES.parent / "scripts" / "demo"), "/bin/false"]
        done = subprocess.run(
            command, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=2 * PATIENCE, check=False
        )
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("scripts/demo: FAILED", done.stderr)


if __name__ == "__main__":
    unittest.main()
