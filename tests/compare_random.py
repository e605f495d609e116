#!/usr/bin/env python3
"""Runs the same random operations in two build trees, and shows the first difference between their transcripts.

    tests/compare_random.py BUILD BUILD [--area AREA]... [--seed N] [--count N]

The trees are mostly one for each provider of the CppMicroServices interface. COUNT cases of each area are run, from
number SEED on. The status is 1 if there is a difference, or if a program ends with another status than 0.
"""
import argparse
import itertools
import os
import subprocess
import sys

AREAS = ["anys", "bundles", "callbacks", "configurations", "filters", "maps", "services"]
PROGRAM = os.path.join("tests", "microservices", "random", "spf-random-operations")
CASES_PER_RUN = 5000  # whose transcripts are held in memory


def run(builds, area, seed, count):
    """The transcript and the status of each tree's program."""
    processes = [subprocess.Popen([os.path.join(build, PROGRAM), area, str(seed), str(count)], stdout=subprocess.PIPE)
                 for build in builds]
    transcripts = [process.communicate()[0] for process in processes]
    return transcripts, [process.returncode for process in processes]


def show_difference(builds, transcripts):
    """The case up to the first line that differs, and that line of each."""
    lines = [transcript.decode("ascii", "backslashreplace").splitlines() for transcript in transcripts]
    case = []
    for pair in itertools.zip_longest(*lines, fillvalue="(the end)"):
        if pair[0] != pair[1]:
            break
        if pair[0].startswith("case "):
            case = []
        case.append(pair[0])
    print("\n".join(case))
    for build, line in zip(builds, pair):
        print(f"in {build}:\n{line}")


def compare(builds, area, seed, count):
    """Whether both trees' programs succeed with the same transcript."""
    for first in range(seed, seed + count, CASES_PER_RUN):
        cases = min(CASES_PER_RUN, seed + count - first)
        transcripts, statuses = run(builds, area, first, cases)
        if transcripts[0] != transcripts[1]:
            print(f"{area}: different")
            show_difference(builds, transcripts)
            return False
        if any(statuses):
            print(f"{area}: the programs end with {statuses[0]} and {statuses[1]} on cases from {first} on")
            return False
    print(f"{area}: {count} cases, no difference")
    return True


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("builds", nargs=2, metavar="BUILD")
    parser.add_argument("--area", action="append", choices=AREAS, help="default: all")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=1000)
    arguments = parser.parse_args()
    same = [compare(arguments.builds, area, arguments.seed, arguments.count) for area in arguments.area or AREAS]
    return 0 if all(same) else 1


if __name__ == "__main__":
    sys.exit(main())
