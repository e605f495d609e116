#!/usr/bin/env python3
"""Prints each figure of a run beside its floor and its goal, and fails when a goal is missed by more than noise.

usage: report.py [--works] RESULTS     the directory with the JSON files of the benchmarks
    --works    fails only when a benchmark failed or is missing, whatever the figures
"""
import sys

import goals
import results


def judge(goal, measured):
    """The cells of the goal's line; the last tells whether it is met: 'met', 'noise' or 'MISSED'."""
    figure = measured.sample(*goal.figure)
    floor = measured.sample(*goal.floor) if goal.floor else None
    if floor is None:
        value, noise = figure.median, figure.noise
    elif goal.excess:
        value, noise = figure.median - floor.median, figure.noise + floor.noise
    else:
        value, noise = results.ratio(figure, floor)
    shown = "-" if floor is None else f"{floor.median:,.1f}"
    limit, verdict = ("-", "") if goal.limit is None else (f"{goal.limit:g}", judge_value(value, noise, goal.limit))
    return (goal.title, f"{figure.median:,.1f}", shown, f"{value:,.2f}", f"{noise:,.2f}", limit, verdict)


def judge_value(value, noise, limit):
    if value <= limit:
        return "met"
    return "noise" if value - noise <= limit else "MISSED"


def print_table(lines):
    widths = [max(len(line[column]) for line in lines) for column in range(len(lines[0]))]
    for line in lines:
        first, *others = (cell.ljust(width) if column == 0 else cell.rjust(width)
                          for column, (cell, width) in enumerate(zip(line, widths)))
        print("  ".join([first, *others]))


def main():
    only_works = sys.argv[1] == "--works"
    measured = results.Results(sys.argv[-1])
    lines = [("figure (times in ns)", "figure", "floor", "ratio", "noise", "goal", "")]
    lines += [judge(goal, measured) for goal in goals.all_goals()]
    print_table(lines)
    for failure in measured.failures:
        print("failed: " + failure)
    verdicts = [line[-1] for line in lines[1:] if line[-1]]
    missed = verdicts.count("MISSED")
    print(f"{len(verdicts)} goals: {len(verdicts) - missed} met, {missed} missed by more than noise")
    return 1 if measured.failures or (missed and not only_works) else 0


if __name__ == "__main__":
    sys.exit(main())
