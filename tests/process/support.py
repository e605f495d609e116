"""Runs spf-agent processes for the process tests: each test has a directory of its own, every wait has a bound."""

# A test derives from AgentTest and starts agents with start() or start_with(). What an agent tells arrives as JSON
# objects (Agent.seen); wait_for() takes them in order. Sockets lie in the test's directory, under relative paths:
# "unix:name"; a TCP port is asked from the system (free_port). Whatever a test leaves running is killed.

import json
import os
import pathlib
import queue
import shutil
import socket
import subprocess
import tempfile
import threading
import time
import unittest

PATIENCE = 30  # seconds; a guard against tests that never end, not a measure of anything
SUCCESS, FAILED, INVALID, NOT_READY = 0, 1, 2, 3  # exit statuses; 128 and the signal's number after a signal
AGENT = os.environ["SPF_AGENT"]
EXAMPLES = pathlib.Path(os.environ["SPF_EXAMPLES"])


def free_port():
    """A TCP port of the loopback interface that nobody listens on."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


class Agent:
    """A running spf-agent whose progress is read as JSON lines."""

    def __init__(self, arguments, directory, stdin=subprocess.DEVNULL, environment=None):
        self._process = subprocess.Popen(
            [AGENT, *arguments],
            cwd=directory,
            env={**os.environ, **(environment or {})},
            stdin=stdin,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            start_new_session=True,
        )
        self.seen = []  # every progress object so far
        self.complaints = []  # lines on standard error that are no progress objects
        self._arrived = queue.Queue()
        self._results = []
        self._readers = [
            threading.Thread(target=self._read_progress, daemon=True),
            threading.Thread(target=self._read_results, daemon=True),
        ]
        for reader in self._readers:
            reader.start()

    def _read_progress(self):
        for line in self._process.stderr:
            try:
                self._arrived.put(json.loads(line))
            except ValueError:
                self.complaints.append(line.rstrip("\n"))
        self._arrived.put(None)

    def _read_results(self):
        for line in self._process.stdout:
            self._results.append(line.rstrip("\n"))

    def wait_for(self, **wanted):
        """Waits for a progress object that has these members, later than those waited for before; returns it."""
        deadline = time.monotonic() + PATIENCE
        while True:
            try:
                progress = self._arrived.get(timeout=max(0, deadline - time.monotonic()))
            except queue.Empty:
                raise AssertionError(f"{wanted} was not seen; seen: {self.seen}") from None
            if progress is None:
                self._arrived.put(None)
                raise AssertionError(f"ended without {wanted}; seen: {self.seen}; said: {self.complaints}")
            self.seen.append(progress)
            if all(progress.get(name) == value for name, value in wanted.items()):
                return progress

    @property
    def pid(self):
        return self._process.pid

    def send(self, number):
        self._process.send_signal(number)

    def end(self):
        """Waits for the end; returns the exit status, negative for a signal."""
        status = self._process.wait(timeout=PATIENCE)
        for reader in self._readers:
            reader.join(timeout=PATIENCE)
        while not self._arrived.empty():
            progress = self._arrived.get()
            if progress is not None:
                self.seen.append(progress)
        return status

    def results(self):
        return self._results

    def seen_of(self, event):
        return [progress for progress in self.seen if progress.get("event") == event]

    def texts(self, event):
        return [progress["text"] for progress in self.seen_of(event)]

    def dispose(self):
        if self._process.poll() is None:
            self._process.kill()
        self._process.wait(timeout=PATIENCE)
        for reader in self._readers:
            reader.join(timeout=PATIENCE)
        self._process.stdout.close()
        self._process.stderr.close()


class AgentTest(unittest.TestCase):
    def setUp(self):
        # The path of a socket below it has 107 bytes at most.
        configured = tempfile.gettempdir()
        parent = configured if len(os.fsencode(configured)) <= 50 else "/tmp"
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="spf-process-test-", dir=parent))
        self.addCleanup(shutil.rmtree, self.directory, ignore_errors=True)

    def write(self, name, content):
        """Writes a file: a text as it is, anything else as JSON."""
        text = content if isinstance(content, str) else json.dumps(content)
        (self.directory / name).write_text(text)
        return name

    def wait_for_file(self, name):
        deadline = time.monotonic() + PATIENCE
        while not (self.directory / name).exists():
            self.assertLess(time.monotonic(), deadline, f"there is no {name}")
            time.sleep(0.01)

    def wait_until_gone(self, name):
        deadline = time.monotonic() + PATIENCE
        while (self.directory / name).exists():
            self.assertLess(time.monotonic(), deadline, f"{name} is still there")
            time.sleep(0.01)

    def build_installation(self, bundle):
        """Builds an installation with one bundle more, below "root"."""
        installation = pathlib.Path(AGENT).parent
        bundles = self.directory / "root/bin/darwinarm64"
        (bundles / "microservices").mkdir(parents=True)
        for file in (installation / "darwinarm64/microservices").iterdir():
            (bundles / "microservices" / file.name).symlink_to(file)
        (bundles / "microservices" / bundle.name).symlink_to(bundle)
        (bundles / "spf").symlink_to(installation / "darwinarm64/spf")

    def start(self, configuration, *options):
        name = self.write(configuration["configurationID"] + ".json", configuration)
        return self.start_with("run", name, "--progress", "json", "--runtime-directory", "runtime", *options)

    def start_with(self, *arguments, **how):
        agent = Agent(arguments, self.directory, **how)
        self.addCleanup(agent.dispose)
        return agent


def configuration(name, bind=(), connect=(), interfaces=()):
    """A configuration with one publisher "p"; each interface goes through it."""
    return {
        "configurationID": name,
        "serviceInterfaces": [
            {"uniqueID": interface + "-1", "name": interface, "servicePublishers": "all"} for interface in interfaces
        ],
        "servicePublishers": [
            {
                "uniqueID": "p",
                "name": "rpcservicepublisher",
                "endpointsToBindTo": list(bind),
                "endpointsToConnectTo": list(connect),
            }
        ],
    }
