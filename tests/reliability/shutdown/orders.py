"""Starts processes that end in every order of things, and sees that all are gone in time, with the right status.

    orders.py PROGRAM PROCESSES [--order ORDER]

Prints one line per order and the figure on the last; fails when a process is late or ends otherwise.
"""

import argparse
import collections
import concurrent.futures
import os
import subprocess
import sys
import tempfile
import time

LIMIT = 5  # seconds; a process is gone by then
AT_ONCE = 4

ENDED, EXITED_FROM_ACTIVATOR, EXITED_FROM_EVENT = 40, 41, 42
ORDERS = {
    "waiting-threads": ENDED,
    "registered-listeners": ENDED,
    "static-handles": ENDED,
    "framework-stopped-first": ENDED,
    "framework-stopped-last": ENDED,
    "exit-from-an-activator": EXITED_FROM_ACTIVATOR,
    "exit-from-an-event": EXITED_FROM_EVENT,
}


def run(program, order):
    """One process; how it ended and after how many seconds."""
    with tempfile.TemporaryDirectory(prefix="spf-shutdown-") as directory:
        start = time.monotonic()
        try:
            ended = subprocess.run([program, order], cwd=directory, timeout=LIMIT, capture_output=True, text=True)
        except subprocess.TimeoutExpired:
            return "late", LIMIT
        said = f" ({ended.stderr.strip()})" if ended.stderr else ""
        return f"status {ended.returncode}{said}", time.monotonic() - start


def run_order(program, order, processes):
    """Whether every process ended as it must; prints what they did."""
    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        results = list(pool.map(lambda _: run(program, order), range(processes)))
    outcomes = collections.Counter(outcome for outcome, _ in results)
    longest = max(seconds for _, seconds in results)
    print(f"{order}: " + ", ".join(f"{number} x {outcome}" for outcome, number in outcomes.most_common())
          + f", {longest:.2f} s at most")
    return set(outcomes) == {f"status {ORDERS[order]}"}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("processes", type=int)
    parser.add_argument("--order", choices=ORDERS, action="append")
    arguments = parser.parse_args()
    program = os.path.abspath(arguments.program)
    orders = arguments.order or list(ORDERS)
    good = [run_order(program, order, arguments.processes) for order in orders]
    print(f"{sum(good)} of {len(orders)} orders, {arguments.processes} processes each, "
          f"all gone within {LIMIT} s with their status")
    return 0 if all(good) else 1


if __name__ == "__main__":
    sys.exit(main())
