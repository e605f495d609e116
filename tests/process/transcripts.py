#!/usr/bin/env python3
"""The transcripts of docs/agent.md, made by running the agent.

With SPF_AGENT and SPF_EXAMPLES in the environment:  transcripts.py    writes them into docs/agent.md
"""

import pathlib
import re
import signal
import subprocess
import tempfile

from support import AGENT, EXAMPLES, Agent
from terminal import Terminal

PAGE = EXAMPLES.parent / "docs/agent.md"
BLOCK = re.compile(r"<!-- transcript: ([a-z-]+) -->\n```text\n(.*?)```\n", re.DOTALL)
CONTROL_C = b"\x03"


def anonymous(text):
    """Hosts and processes have other names everywhere."""
    return re.sub(r"\b[\w.-]+/\d+\b", "host/1234", text)


def run_kitchen(*options):
    return ["run", str(EXAMPLES / "kitchen.json"), "--runtime-directory", "runtime", *options]


def start_hall(directory):
    hall = Agent(
        ["run", str(EXAMPLES / "hall.json"), "--runtime-directory", "runtime", "--progress", "json"], directory
    )
    hall.wait_for(event="ready")
    return hall


def stop(hall):
    hall.send(signal.SIGINT)
    try:
        hall.end()
    finally:
        hall.dispose()


def in_pipe(directory, *options):
    """The command and what both of its streams wrote into one pipe."""
    done = subprocess.run(
        [AGENT, *run_kitchen(*options)], cwd=directory, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT, text=True, timeout=60, check=False,
    )
    command = " ".join(["$ spf-agent run kitchen.json", *options, "2>&1 | cat"])
    return f"{command}\n{done.stdout}"


def pipe_transcripts(directory):
    late = in_pipe(directory, "--timeout", "1s")
    hall = start_hall(directory)
    try:
        ready = in_pipe(directory, "--expect", "example.Bell", "--once")
    finally:
        stop(hall)
    return {"pipe-late": late, "pipe-ready": ready}


def terminal_transcripts(directory):
    screens = {}
    screen = Terminal([AGENT, *run_kitchen("--expect", "example.Bell")], directory, columns=100)
    hall = None

    def keep(name, condition):
        rows = screen.wait_until(condition)
        screens[name] = "\n".join(["$ spf-agent run kitchen.json --expect example.Bell", *rows]) + "\n"

    def shows(*texts):
        return lambda rows: all(any(text in row for row in rows) for text in texts)

    try:
        keep("terminal-waiting", shows("No such file or directory", "published"))
        hall = start_hall(directory)
        keep("terminal-ready", shows("ready kitchen", "available"))  # the last of what is told then
        screen.press(CONTROL_C)
        screen.end()
        keep("terminal-interrupted", shows("ended with status 130"))
    finally:
        screen.dispose()
        if hall is not None:
            stop(hall)
    return screens


def make():
    """All transcripts by name."""
    with tempfile.TemporaryDirectory(prefix="spf-transcripts-") as directory:
        transcripts = {**pipe_transcripts(directory), **terminal_transcripts(directory)}
    return {name: anonymous(text) for name, text in transcripts.items()}


def written():
    """The transcripts that docs/agent.md has."""
    return dict(BLOCK.findall(PAGE.read_text()))


def write(transcripts):
    def block(match):
        return f"<!-- transcript: {match[1]} -->\n```text\n{transcripts[match[1]]}```\n"

    PAGE.write_text(BLOCK.sub(block, PAGE.read_text()))


if __name__ == "__main__":
    write(make())
