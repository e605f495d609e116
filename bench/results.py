#!/usr/bin/env python3
"""Reads what the benchmarks of a run wrote: for each quantity its values over the repetitions. Prints the medians as CSV."""
import argparse
import csv
import json
import pathlib
import sys

from judging import Sample


class Results:
    """All quantities of a run by benchmark and kind: 'time' in ns per item, or the name of a counter."""

    def __init__(self, directory):
        self.values = {}
        self.failures = []
        for path in sorted(pathlib.Path(directory).glob("*.json")):
            for benchmark in json.loads(path.read_text())["benchmarks"]:
                self._take(benchmark)

    def _take(self, benchmark):
        if benchmark["run_type"] != "iteration":
            return
        name = benchmark["run_name"]
        if benchmark.get("error_occurred"):
            self.failures.append(f"{name}: {benchmark['error_message']}")
            return
        if benchmark.get("items_per_second"):
            self._add(name, "time", 1e9 / benchmark["items_per_second"])
        for counter in ("allocations", "bytes_kept"):
            if counter in benchmark:
                self._add(name, counter, benchmark[counter])

    def _add(self, name, kind, value):
        self.values.setdefault((name, kind), []).append(value)

    def sample(self, name, kind):
        if (name, kind) not in self.values:
            raise SystemExit(f"no benchmark has reported the {kind} of {name}")
        return Sample(self.values[name, kind])


def argument_parser(description):
    """Of a program that works on a run's results."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("results", metavar="RESULTS", help="the directory with the JSON files of the benchmarks")
    return parser


def print_medians(measured):
    table = csv.writer(sys.stdout, lineterminator="\n")
    table.writerow(("benchmark", "quantity", "median"))
    for name, kind in sorted(measured.values):
        table.writerow((name, kind, f"{measured.sample(name, kind).median:.4g}"))


if __name__ == "__main__":
    print_medians(Results(argument_parser(__doc__).parse_args().results))
