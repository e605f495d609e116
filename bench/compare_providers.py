#!/usr/bin/env python3
"""Prints one table from two runs of the same benchmark programs, one run on each provider.

    bench/compare_providers.py REAL.json OURS.json [REAL.json OURS.json]... [--markdown]

The files are what the programs write with --benchmark_out=FILE --benchmark_out_format=json, on the installed and on the
standalone provider. A work that was repeated counts with the median of its repetitions. What counts is the processor
time, which other processes disturb least, and the time on the clock where a work is done by several threads. The goal is a ratio ours : real
of at most 0.5 for property maps and the service registry, and of at most 1 for everything else. The status is 1 if a
goal is missed or if the runs are not of the same works.
"""
import argparse
import json
import re
import statistics
import sys

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

# Work on property maps and on the service registry; what a map or the registry is only read or printed by is not.
TWICE_AS_FAST = re.compile(
    r"^(buildMap|copyMap|takeStandardMap|buildConfiguration|copyConfiguration"
    r"|registerAndUnregister|registerMany|setProperties|find\w*)(/|$)")


def goal_of(name):
    return 0.5 if TWICE_AS_FAST.match(name) else 1.0


def read_times(path):
    """The time of each work in nanoseconds."""
    with open(path, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    times = {}
    for run in runs:
        if run.get("run_type") == "iteration":
            name = run.get("run_name", run["name"])
            time = run["real_time" if name.endswith("/real_time") else "cpu_time"]
            times.setdefault(name, []).append(time * NANOSECONDS[run["time_unit"]])
    return {name: statistics.median(values) for name, values in times.items()}


def readable(nanoseconds):
    for unit in ("s", "ms", "us"):
        if nanoseconds >= NANOSECONDS[unit]:
            return f"{nanoseconds / NANOSECONDS[unit]:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def make_rows(real, ours):
    rows = []
    for name, real_time in real.items():
        if name in ours:
            ratio, goal = ours[name] / real_time, goal_of(name)
            rows.append((name, readable(real_time), readable(ours[name]), f"{ratio:.2f}", f"{goal:g}",
                         "" if ratio <= goal else "missed"))
    return rows


def print_table(rows, markdown):
    header = ("work", "real", "ours", "ours : real", "goal", "")
    if markdown:
        print(" | ".join(header).join(("| ", " |")))
        print("|" + "---|" * len(header))
        for row in rows:
            print(" | ".join(row).join(("| ", " |")))
        return
    widths = [max(len(row[column]) for row in [header, *rows]) for column in range(len(header))]
    for row in [header, *rows]:
        first, *others = (cell.ljust(width) if column == 0 else cell.rjust(width)
                          for column, (cell, width) in enumerate(zip(row, widths)))
        print("  ".join([first, *others]).rstrip())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="+", metavar="REAL.json OURS.json")
    parser.add_argument("--markdown", action="store_true")
    arguments = parser.parse_args()
    if len(arguments.files) % 2 != 0:
        parser.error("the files come in pairs, of the installed and of the standalone provider")

    real, ours = {}, {}
    for index in range(0, len(arguments.files), 2):
        real.update(read_times(arguments.files[index]))
        ours.update(read_times(arguments.files[index + 1]))
    rows = make_rows(real, ours)
    print_table(rows, arguments.markdown)
    unpaired = sorted(real.keys() ^ ours.keys())
    if unpaired:
        print("measured on one provider only: " + ", ".join(unpaired), file=sys.stderr)
    missed = sum(1 for row in rows if row[-1])
    print(f"{len(rows)} works, {missed} miss their goal")
    return 1 if missed or unpaired or not rows else 0


if __name__ == "__main__":
    sys.exit(main())
