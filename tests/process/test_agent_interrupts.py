"""Signals at every stage of a run: the first speaks at once and withdraws within a bound, the second leaves at once."""

import errno
import fcntl
import os
import pathlib
import re
import signal
import subprocess
import sys
import termios
import time

import peers
from support import AGENT, FAILED, PATIENCE, SUCCESS, AgentTest, configuration

INTERRUPTED = 128 + signal.SIGINT
TERMINATED = 128 + signal.SIGTERM
GATE = pathlib.Path(os.environ["SPF_TEST_GATE_BUNDLE"])
A_MOMENT = 0.4  # seconds; the same signal sooner than this after the first is taken for the first


class GatedAgentTest(AgentTest):
    """Agents on an installation with one bundle more, which passes its gate only when the test opens that."""

    def start_gated(self, gate, content, *options):
        return self.start_gated_with(gate, "run", self.write("c.json", content), *options)

    def start_gated_with(self, gate, *arguments):
        return self.start_with(
            *arguments, "--progress", "json", "--runtime-directory", "runtime", "--root", "root",
            environment=self.build_gate(gate),
        )

    def build_gate(self, gate):
        """Builds the installation, and returns what its bundle is to find in the environment."""
        pipe = self.directory / "gate"
        os.mkfifo(pipe)
        self.build_installation(GATE)
        return {gate: str(pipe)}

    def open_gate(self):
        """Waits for the bundle to come to its gate, and lets it pass."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            try:
                return os.close(os.open(self.directory / "gate", os.O_WRONLY | os.O_NONBLOCK))
            except OSError as error:  # nobody waits there yet
                self.assertEqual(error.errno, errno.ENXIO)
                time.sleep(0.01)
        self.fail("no bundle came to the gate")


class WhileStarting(GatedAgentTest):
    def test_first_signal_speaks_at_once_and_ends_the_run_when_the_start_does(self):
        agent = self.start_gated("SPF_TEST_START_GATE", configuration("c", bind=["unix:mine"]))
        agent.wait_for(event="starting")
        agent.send(signal.SIGINT)
        agent.wait_for(event="interrupted")
        agent.wait_for(event="withdrawing")
        self.open_gate()
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertEqual(agent.texts("failure"), [])
        self.assertNotIn("ready c", agent.results())
        self.assertFalse((self.directory / "mine").exists())

    def test_a_start_that_does_not_end_is_waited_for_so_long_only(self):
        agent = self.start_gated("SPF_TEST_START_GATE", configuration("c"))
        agent.wait_for(event="starting")
        agent.send(signal.SIGTERM)
        agent.wait_for(event="withdrawing")
        self.assertEqual(agent.end(), TERMINATED)
        self.assertEqual(
            agent.texts("failure"),
            [
                "not withdrawn within 10s; the service framework is still being started",
                "the framework did not stop within 5s",
            ],
        )

    def test_second_signal_leaves_at_once(self):
        agent = self.start_gated("SPF_TEST_START_GATE", configuration("c"))
        agent.wait_for(event="starting")
        agent.send(signal.SIGINT)
        agent.wait_for(event="withdrawing")
        agent.send(signal.SIGTERM)
        self.assertEqual(agent.end(), TERMINATED)

    def changed_while_starting(self):
        """The file has another publisher, and that was seen, before the framework has started."""
        content = configuration("c", bind=["unix:mine"])
        agent = self.start_gated("SPF_TEST_START_GATE", content)
        agent.wait_for(event="starting")
        content["servicePublishers"].append({"uniqueID": "q", "name": "rpcservicepublisher"})
        self.write("c.json", content)
        agent.send(signal.SIGHUP)
        agent.wait_for(event="modifying")
        return agent

    def test_an_interrupt_after_a_change_withdraws_what_the_change_has_brought(self):
        agent = self.changed_while_starting()
        agent.send(signal.SIGTERM)
        agent.wait_for(event="withdrawing")
        self.open_gate()
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), TERMINATED)
        self.assertEqual(agent.texts("failure"), [])

    def test_of_two_changes_the_last_one_gets_ready(self):
        agent = self.changed_while_starting()
        content = configuration("c", bind=["unix:mine"])
        content["servicePublishers"].append({"uniqueID": "r", "name": "rpcservicepublisher"})
        self.write("c.json", content)
        agent.send(signal.SIGHUP)
        agent.wait_for(event="modifying")
        self.open_gate()
        agent.wait_for(event="services", publisher="r", state="published")
        agent.wait_for(event="ready")
        agent.send(signal.SIGTERM)
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), TERMINATED)
        self.assertEqual(agent.texts("failure"), [])

    def test_that_the_version_before_a_change_is_ready_does_not_count(self):
        content = configuration("c")
        del content["servicePublishers"]  # for which nothing is waited for
        agent = self.start_gated("SPF_TEST_START_GATE", content)
        agent.wait_for(event="starting")
        content["serviceInterfaces"] = [{"uniqueID": "i", "name": "Lamp"}]
        self.write("c.json", content)
        agent.send(signal.SIGHUP)
        agent.wait_for(event="modifying")
        self.open_gate()
        agent.wait_for(event="published", modificationCount=2)
        self.assertEqual(agent.seen_of("ready"), [])
        agent.wait_for(event="ready")

    def test_a_start_that_fails_after_a_change_is_told(self):
        agent = self.changed_while_starting()
        (self.directory / "root/bin/darwinarm64/spf").unlink()
        self.open_gate()
        self.assertEqual(agent.end(), FAILED)
        self.assertIn("root/bin/darwinarm64/spf", agent.texts("failure")[0])

    def test_a_failure_after_the_interrupt_leaves_the_status_of_the_legacy_configuration_alone(self):
        agent = self.start_gated_with("SPF_TEST_START_GATE", "legacy")
        agent.wait_for(event="starting")
        agent.send(signal.SIGINT)
        agent.wait_for(event="interrupted")
        (self.directory / "root/bin/darwinarm64/spf").unlink()
        self.open_gate()
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertIn("root/bin/darwinarm64/spf", agent.texts("failure")[0])


class WhileShowing(GatedAgentTest):
    def test_nothing_is_left_behind_when_a_signal_comes(self):
        self.write("c.json", configuration("c"))
        temporary = self.directory / "temporary"
        temporary.mkdir()
        environment = {**self.build_gate("SPF_TEST_START_GATE"), "TMPDIR": str(temporary)}
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                agent = self.start_with("show", "c.json", "--root", "root", environment=environment)
                deadline = time.monotonic() + PATIENCE
                while not any(temporary.iterdir()):
                    self.assertLess(time.monotonic(), deadline, "there is nothing that could be left behind")
                    time.sleep(0.01)
                agent.send(number)
                self.open_gate()
                self.assertEqual(agent.end(), -number)
                self.assertEqual(list(temporary.iterdir()), [])


class WhileWaiting(AgentTest):
    def waiting(self):
        agent = self.start(configuration("c", bind=["unix:mine"], connect=["unix:nobody"]), "--timeout", "0")
        agent.wait_for(event="endpoint", state="bound")
        return agent

    def test_interrupt_withdraws_and_lists_nothing_as_late(self):
        agent = self.waiting()
        agent.send(signal.SIGINT)
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertEqual(agent.seen_of("outstanding"), [])
        self.assertFalse((self.directory / "mine").exists())

    def test_termination_withdraws(self):
        agent = self.waiting()
        agent.send(signal.SIGTERM)
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), TERMINATED)
        self.assertFalse((self.directory / "mine").exists())


class WhenReady(AgentTest):
    def ready(self):
        agent = self.start(configuration("c", bind=["unix:mine"]))
        agent.wait_for(event="ready")
        return agent

    def test_interrupt_withdraws_and_removes_the_socket_file(self):
        agent = self.ready()
        self.assertTrue((self.directory / "mine").exists())
        agent.send(signal.SIGINT)
        agent.wait_for(event="interrupted")
        agent.wait_for(event="services", state="unpublished")
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertFalse((self.directory / "mine").exists())
        self.assertEqual(agent.results(), ["ready c", "withdrawn c"])

    def test_one_signal_sent_twice_in_a_moment_counts_once(self):
        agent = self.ready()
        agent.send(signal.SIGINT)
        agent.send(signal.SIGINT)
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), INTERRUPTED)


    def test_an_agent_that_nobody_listens_to_ends_all_the_same(self):
        read, write = os.pipe()
        os.set_blocking(write, False)
        with self.assertRaises(BlockingIOError):
            while True:
                os.write(write, b"x")
        os.set_blocking(write, True)
        name = self.write("c.json", configuration("c", bind=["unix:mine"]))
        process = subprocess.Popen([AGENT, "run", name, "--runtime-directory", "runtime"], cwd=self.directory, stderr=write)
        for descriptor in (read, write):
            self.addCleanup(os.close, descriptor)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.wait_for_file("mine")
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(timeout=PATIENCE), TERMINATED)


class WhileNobodyReads(AgentTest):
    """A peer brings about more than the pipe takes that the agent writes to, and that nobody reads yet."""

    MANY = 4000  # interfaces; a line of each is four times what the pipe takes
    PIPE = 65536  # bytes

    def setUp(self):
        super().setUp()
        self.output, written = os.pipe()
        self.addCleanup(os.close, self.output)
        fcntl.fcntl(written, fcntl.F_SETPIPE_SZ, self.PIPE)
        name = self.write("c.json", configuration("c", bind=["unix:mine"]))
        command = [AGENT, "run", name, "--progress", "plain", "--runtime-directory", "runtime"]
        self.process = subprocess.Popen(command, cwd=self.directory, stdout=subprocess.DEVNULL, stderr=written)
        os.close(written)
        self.addCleanup(self.process.wait)
        self.addCleanup(self.process.kill)
        self.wait_for_file("mine")
        self.peer = peers.connect(self.directory / "mine")
        self.addCleanup(self.peer.close)
        peers.send(self.peer, peers.frame(peers.HELLO))
        self.offer("first")
        self.wait_until("the pipe is full", lambda: self.unread() > self.PIPE - 4096)
        self.wait_until_all_is_still()

    def offer(self, name):
        peers.send(self.peer, peers.offers(*(f"{name}-{index}" for index in range(self.MANY))))

    def unread(self):
        size = bytearray(4)
        fcntl.ioctl(self.output, termios.FIONREAD, size)
        return int.from_bytes(size, sys.byteorder)

    def wait_until(self, what, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.01)

    def wait_until_all_is_still(self):
        """Waits until nobody has sent the agent anything that it has not received, and all of its threads wait."""
        process = pathlib.Path("/proc") / str(self.process.pid)

        def is_still():
            pending = int(re.search(r"^ShdPnd:\s*(\w+)$", (process / "status").read_text(), re.MULTILINE)[1], 16)
            states = [task.read_text().rpartition(")")[2].split()[0] for task in process.glob("task/*/stat")]
            return pending == 0 and self.untaken() == 0 and set(states) == {"S"}

        self.wait_until("all is still", is_still)

    def untaken(self):
        """How much of what was sent the agent has not yet received."""
        size = bytearray(4)
        fcntl.ioctl(self.peer, termios.TIOCOUTQ, size)
        return int.from_bytes(size, sys.byteorder)

    def read_to_the_end(self):
        with open(self.output, encoding="utf-8", closefd=False) as stream:
            text = stream.read()
        self.assertEqual(self.process.wait(timeout=PATIENCE), INTERRUPTED)
        self.assertTrue(text.endswith("ended with status 130\n"), text[-1000:])
        return text

    def test_the_interrupt_is_the_next_thing_that_is_told(self):
        self.process.send_signal(signal.SIGINT)
        self.wait_until_all_is_still()
        self.assertLess(self.read_to_the_end().index("SIGINT: withdrawing"), self.PIPE + 4096)

    def test_what_the_peer_goes_on_to_change_does_not_pile_up(self):
        for name in "second", "third":
            self.offer(name)
            self.wait_until_all_is_still()
        text = b""
        while b"third-" not in text:
            part = os.read(self.output, self.PIPE)
            self.assertTrue(part, "the agent has ended")
            text += part
        self.assertNotIn(b"second-", text, "it was taken back before it could be told")
        self.process.send_signal(signal.SIGINT)
        self.read_to_the_end()


class WhileWithdrawing(GatedAgentTest):
    """The framework is held up after the first publisher that is removed."""

    def test_a_removal_that_is_not_reported_is_waited_for_so_long_only(self):
        content = configuration("c", bind=["unix:mine"])
        content["servicePublishers"].append({"uniqueID": "q", "name": "rpcservicepublisher"})
        agent = self.start_gated("SPF_TEST_REMOVAL_GATE", content, "--once")
        failure = agent.wait_for(event="failure")
        self.open_gate()
        self.assertEqual(
            failure["text"],
            "not withdrawn within 10s; the service framework has not reported the removal of every publisher",
        )
        self.assertEqual(agent.end(), FAILED)


class WhileStopping(GatedAgentTest):
    """All is withdrawn, but a bundle does not stop."""

    def stopping(self):
        agent = self.start_gated("SPF_TEST_STOP_GATE", configuration("c", bind=["unix:mine"]), "--once")
        agent.wait_for(event="withdrawn")
        return agent

    def test_first_signal_speaks_and_shows_in_the_status(self):
        agent = self.stopping()
        agent.send(signal.SIGINT)
        agent.wait_for(event="interrupted")
        self.open_gate()
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertEqual(agent.texts("failure"), [])

    def test_a_hangup_changes_nothing_any_more(self):
        agent = self.stopping()
        agent.send(signal.SIGHUP)
        agent.send(signal.SIGINT)  # is taken after it
        agent.wait_for(event="interrupted")
        self.open_gate()
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertEqual(agent.seen_of("reload"), [])

    def test_second_signal_leaves_at_once(self):
        agent = self.stopping()
        agent.send(signal.SIGINT)
        agent.wait_for(event="interrupted")
        time.sleep(A_MOMENT)
        agent.send(signal.SIGINT)
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertEqual(agent.seen_of("summary"), [], "nothing is said any more")

    def test_the_legacy_configuration_waits_for_the_bundle_so_long_only(self):
        agent = self.start_gated_with("SPF_TEST_STOP_GATE", "legacy")
        agent.wait_for(event="published")
        agent.send(signal.SIGINT)
        agent.wait_for(event="failure", text="the framework did not stop within 10s")
        self.assertEqual(agent.end(), INTERRUPTED)
        self.assertEqual(agent.texts("summary"), ["ended with status 130"])

    def test_without_a_signal_the_wait_for_the_bundle_has_a_bound(self):
        agent = self.stopping()
        self.assertNotEqual(agent.end(), SUCCESS)
        self.assertEqual(agent.texts("failure"), ["the framework did not stop within 5s"])
        self.assertEqual(agent.texts("summary"), ["ended with status 1"])
