#!/usr/bin/env python3
"""Runs the benchmarks of the CppMicroServices interface on two providers and prints one table.

    bench/compare_providers.py BUILD_REAL BUILD_OURS [--rounds N] [--seconds S] [--filter REGEX] [--markdown]

The builds are release builds with the installed and with the standalone provider, in which the target
spf-microservices-benchmarks was built. Each program runs once on either provider in each round, the two in turn, so that
whatever else the machine does meets both. What is shown are medians over the rounds: the times, and the ratio ours : real
of each round; the noise is that of the ratio. What counts is the processor time, and the time on the clock where several
threads do the work. The goal is a ratio of at most 0.5 for property maps and the service registry, and of at most 1 for
everything else; it is judged as scripts/bench does. The status is 1 if a goal is missed by more than the noise or if the
providers were not measured at the same works.
"""
import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

import judging

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

# Work on property maps and on the service registry; what a map or the registry is only read or printed by is not.
TWICE_AS_FAST = re.compile(
    r"^(buildMap|copyMap|takeStandardMap|buildConfiguration|copyConfiguration"
    r"|registerAndUnregister|registerMany|setProperties|find\w*)(/|$)")


def goal_of(name):
    return 0.5 if TWICE_AS_FAST.match(name) else 1.0


def programs_of(build):
    return {path.name: path for path in sorted((pathlib.Path(build) / "bench/microservices").glob("spf-*-bench"))}


def measure(program, seconds, works):
    """The time of each work in nanoseconds."""
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        subprocess.run([program, f"--benchmark_min_time={seconds}", f"--benchmark_filter={works}",
                        f"--benchmark_out={report.name}", "--benchmark_out_format=json"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        text = report.read()
    times = {}
    for run in json.loads(text)["benchmarks"] if text else []:
        time = run["real_time" if run["name"].endswith("/real_time") else "cpu_time"]
        times[run["name"]] = time * NANOSECONDS[run["time_unit"]]
    return times


def measure_rounds(builds, arguments):
    """For each work the times on either provider, one for each round."""
    programs = [programs_of(build) for build in builds]
    if not programs[0] or programs[0].keys() != programs[1].keys():
        sys.exit(f"the builds have not the same benchmarks: {[sorted(names) for names in programs]}")
    times = {}
    for turn in range(arguments.rounds):
        for name in programs[0]:
            for provider in (0, 1) if turn % 2 == 0 else (1, 0):
                measured = measure(programs[provider][name], arguments.seconds, arguments.filter)
                for work, time in measured.items():
                    times.setdefault(work, ([], []))[provider].append(time)
        print(f"round {turn + 1} of {arguments.rounds}", file=sys.stderr)
    return times


def readable(nanoseconds):
    for unit in ("s", "ms", "us"):
        if nanoseconds >= NANOSECONDS[unit]:
            return f"{nanoseconds / NANOSECONDS[unit]:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def make_row(name, real, ours):
    ratios, goal = judging.Sample([our / their for their, our in zip(real, ours)]), goal_of(name)
    return (name, readable(statistics.median(real)), readable(statistics.median(ours)), f"{ratios.median:.2f}",
            f"{ratios.noise:.2f}", f"{goal:g}", judging.verdict(ratios.median, ratios.noise, goal))


def print_markdown(lines):
    header, *rows = lines
    print(" | ".join(header).join(("| ", " |")))
    print("|" + "---|" * len(header))
    for row in rows:
        print(" | ".join(row).join(("| ", " |")))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("real", metavar="BUILD_REAL")
    parser.add_argument("ours", metavar="BUILD_OURS")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=float, default=0.02, help="the least time that each work is measured for")
    parser.add_argument("--filter", default=".", metavar="REGEX", help="the works; all by default")
    parser.add_argument("--markdown", action="store_true")
    arguments = parser.parse_args()

    times = measure_rounds((arguments.real, arguments.ours), arguments)
    unpaired = sorted(name for name, (real, ours) in times.items() if len(real) != len(ours))
    rows = [make_row(name, *pair) for name, pair in times.items() if name not in unpaired]
    lines = [("work", "real", "ours", "ours : real", "noise", "goal", ""), *rows]
    print_markdown(lines) if arguments.markdown else judging.print_table(lines)
    if unpaired:
        print("measured on one provider only: " + ", ".join(unpaired), file=sys.stderr)
    missed, sentence = judging.count([row[-1] for row in rows])
    print(sentence)
    return 1 if missed or unpaired or not rows else 0


if __name__ == "__main__":
    sys.exit(main())
