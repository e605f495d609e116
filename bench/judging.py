"""Says whether a figure that was measured repeatedly meets its goal, and prints what was judged."""
import math
import statistics


class Sample:
    """A quantity as measured repeatedly: its median, and as its noise half the distance between the quartiles."""

    def __init__(self, values):
        self.median = statistics.median(values)
        quartiles = statistics.quantiles(values, n=4) if len(values) > 1 else (values[0],) * 3
        self.noise = (quartiles[2] - quartiles[0]) / 2

    def relative_noise(self):
        return self.noise / self.median if self.median else 0.0


def ratio(figure, floor):
    """The ratio of two samples and its noise."""
    if floor.median == 0:
        value = 1.0 if figure.median == 0 else math.inf
    else:
        value = figure.median / floor.median
    return value, value * math.hypot(figure.relative_noise(), floor.relative_noise())


def verdict(value, noise, limit):
    """'met'; 'noise' when the value is too high by no more than its noise; 'MISSED'."""
    if value <= limit:
        return "met"
    return "noise" if value - noise <= limit else "MISSED"


def print_table(lines):
    """Each line is a tuple of cells, the first of which is aligned to the left."""
    widths = [max(len(line[column]) for line in lines) for column in range(len(lines[0]))]
    for line in lines:
        first, *others = (cell.ljust(width) if column == 0 else cell.rjust(width)
                          for column, (cell, width) in enumerate(zip(line, widths)))
        print("  ".join([first, *others]).rstrip())


def count(verdicts):
    """How many goals are missed by more than noise, and a sentence that says what became of all."""
    missed = verdicts.count("MISSED")
    return missed, (f"{len(verdicts)} goals: {verdicts.count('met')} met, {verdicts.count('noise')} within the noise, "
                    f"{missed} missed by more")
