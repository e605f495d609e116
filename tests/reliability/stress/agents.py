"""Connects agents to a long-lived one over a real socket and takes them away again, in turn by a signal and by a kill,
and counts what the long-lived agent keeps: descriptors, threads, socket files.

    agents.py ROUNDS [--seed N]

The environment says which agent it is, as for the process tests, and PYTHONPATH leads to their support module. Prints the
figure on the last line; fails when anything is kept or an agent does not do what it must.
"""

import argparse
import json
import os
import pathlib
import random
import signal
import sys
import tempfile
import time

import support


def count(directory):
    return len(os.listdir(directory))


class Kept:
    """What an agent has of the system."""

    def __init__(self, process_id, directory):
        self.descriptors = count(f"/proc/{process_id}/fd")
        self.threads = count(f"/proc/{process_id}/task")
        self.files = sorted(str(path.relative_to(directory)) for path in directory.rglob("*") if not path.is_dir())

    def __eq__(self, other):
        return vars(self) == vars(other)

    def __str__(self):
        return f"{self.descriptors} descriptors, {self.threads} threads, files {' '.join(self.files)}"


def settles_at(baseline, process_id, directory):
    """Whether the agent soon keeps no more than at the baseline."""
    deadline = time.monotonic() + support.PATIENCE
    while time.monotonic() < deadline:
        if Kept(process_id, directory) == baseline:
            return True
        time.sleep(0.02)
    return False


def peer(number, interfaces):
    return support.configuration(f"peer{number}", connect=["unix:meeting"], interfaces=interfaces)


class Session:
    """One long-lived agent and those that come and go. They write their files below one directory."""

    def __init__(self, directory):
        self.directory = directory
        self.agents = []
        self.host = self.start(support.configuration("host", bind=["unix:meeting"], interfaces=["Offered"]))
        self.host.wait_for(event="ready")

    def start(self, content, *options):
        name = self.directory.parent / (content["configurationID"] + ".json")
        name.write_text(json.dumps(content))
        arguments = ["run", str(name), "--progress", "json", "--runtime-directory", "runtime", *options]
        agent = support.Agent(arguments, self.directory)
        self.agents.append(agent)
        return agent

    def visit(self, number, kill):
        """One agent comes, is seen by both sides, and goes."""
        visitor = self.start(peer(number, ["Brought"]), "--expect", "Offered")
        visitor.wait_for(event="ready")
        self.host.wait_for(event="remote", interface="Brought", state="available")
        visitor.send(signal.SIGKILL if kill else signal.SIGINT)
        status = visitor.end()
        expected = -signal.SIGKILL if kill else 128 + signal.SIGINT
        if status != expected:
            raise AssertionError(f"agent {number} ended with {status}, not {expected}")
        self.host.wait_for(event="remote", interface="Brought", state="gone")
        self.agents.remove(visitor)
        visitor.dispose()

    def close(self):
        for agent in self.agents:
            agent.dispose()


def run(rounds, seed):
    """The work; whether nothing is kept."""
    choice = random.Random(seed)
    kills = 0
    with tempfile.TemporaryDirectory(prefix="spf-agents-") as temporary:
        directory = pathlib.Path(temporary, "work")
        directory.mkdir()
        session = Session(directory)
        try:
            session.visit(0, kill=False)  # what is made on first use is not kept by mistake
            baseline = Kept(session.host.pid, directory)
            for number in range(1, rounds + 1):
                kill = choice.random() < 0.5
                kills += kill
                session.visit(number, kill)
            settled = settles_at(baseline, session.host.pid, directory)
            left = Kept(session.host.pid, directory)
            session.host.send(signal.SIGINT)
            status = session.host.end()
        finally:
            session.close()
        files = [path.name for path in directory.rglob("*") if not path.is_dir()]
    print(f"at first {baseline}; in the end {left}; after the end: {' '.join(files) or 'no files'}")
    print(f"{rounds} connects and disconnects, {kills} of them kills, seed {seed}, "
          f"{'nothing' if settled and not files else 'something'} leaked")
    return settled and not files and status == 128 + signal.SIGINT


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("rounds", type=int)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    return 0 if run(arguments.rounds, arguments.seed) else 1


if __name__ == "__main__":
    sys.exit(main())
