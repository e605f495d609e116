#!/usr/bin/env python3
"""Counts the tests of every test program in two build trees, and shows where the trees differ.

    tests/compare_suites.py BUILD BUILD [--run]

The trees are mostly one for each provider of the CppMicroServices interface. With --run the tests are run, too, and the
failed ones are counted. The status is 1 if a program that both trees have has other tests in one of them, or if a test
fails; programs of one tree only, such as the tests of a provider's private parts, are shown and do not count.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import xml.etree.ElementTree


def read_suites(build):
    """The names of the tests of each program."""
    listing = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, check=True, capture_output=True, text=True)
    suites = {}
    for test in json.loads(listing.stdout)["tests"]:
        command = test.get("command")
        program = os.path.basename(command[0]) if command else "(not built)"
        suites.setdefault(program, set()).add(test["name"])
    return suites


def run_tests(build):
    """The names of the tests that do not pass."""
    with tempfile.TemporaryDirectory() as directory:
        report = os.path.join(directory, "report.xml")
        subprocess.run(["ctest", "-j", str(os.cpu_count()), "--output-junit", report], cwd=build, check=False,
                       stdout=subprocess.DEVNULL)
        cases = xml.etree.ElementTree.parse(report).getroot().iter("testcase")
        return {case.get("name") for case in cases if case.get("status") != "run"}


def is_addition(test):
    return test.split(".")[0].endswith("Additions")


def without_additions(tests):
    return {test for test in tests if not is_addition(test)}


def cell(tests, failed):
    if tests is None:
        return "-"
    failures = len(tests & failed)
    return f"{len(tests)} ({failures} failed)" if failures else str(len(tests))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("builds", nargs=2, metavar="BUILD")
    parser.add_argument("--run", action="store_true", help="run the tests")
    arguments = parser.parse_args()

    suites = [read_suites(build) for build in arguments.builds]
    failed = [run_tests(build) if arguments.run else set() for build in arguments.builds]
    additions = [sum(map(is_addition, set().union(*suite.values()))) for suite in suites]
    rows = [("program", *arguments.builds, "")]
    only = []
    for program in sorted(suites[0].keys() | suites[1].keys()):
        tests = [suite.get(program) for suite in suites]
        both = None not in tests
        differences = sorted(tests[0] ^ tests[1]) if both else []
        remark = "in one tree only" if not both else "other tests" if differences else ""
        if 0 in additions and differences and not without_additions(differences):
            remark, differences = "the additions in one tree only", []
        only += [f"{program}: {name}" for name in differences]
        rows.append((program, *(cell(*column) for column in zip(tests, failed)), remark))

    widths = [max(len(row[column]) for row in rows) for column in range(4)]
    for name, first, second, remark in rows:
        print(f"{name:{widths[0]}}  {first:>{widths[1]}}  {second:>{widths[2]}}  {remark}".rstrip())
    for name in only:
        print(f"in one tree only: {name}")
    for build, names in zip(arguments.builds, failed):
        for name in sorted(names):
            print(f"failed in {build}: {name}")
    return 1 if only or any(failed) else 0


if __name__ == "__main__":
    sys.exit(main())
