#!/usr/bin/env python3
"""Prints each figure of a run beside its floor and its goal, and fails when a goal is missed by more than noise."""
import sys

import goals
import judging
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
        value, noise = judging.ratio(figure, floor)
    shown = "-" if floor is None else f"{floor.median:,.1f}"
    limit, last = ("-", "") if goal.limit is None else (f"{goal.limit:g}", judging.verdict(value, noise, goal.limit))
    return (goal.title, f"{figure.median:,.1f}", shown, f"{value:,.2f}", f"{noise:,.2f}", limit, last)


def main():
    parser = results.argument_parser(__doc__)
    parser.add_argument("--works", action="store_true",
                        help="fail only when a benchmark failed or is missing, whatever the figures")
    arguments = parser.parse_args()
    measured = results.Results(arguments.results)
    lines = [("figure (times in ns)", "figure", "floor", "ratio", "noise", "goal", "")]
    lines += [judge(goal, measured) for goal in goals.all_goals()]
    judging.print_table(lines)
    for failure in measured.failures:
        print("failed: " + failure)
    missed, sentence = judging.count([line[-1] for line in lines[1:] if line[-1]])
    print(sentence)
    return 1 if measured.failures or (missed and not arguments.works) else 0


if __name__ == "__main__":
    sys.exit(main())
