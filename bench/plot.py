#!/usr/bin/env python3
"""Draws how cost grows, as SVG on the standard output.

usage: plot.py MEDIANS, the CSV file that results.py prints
"""
import csv
import math
import sys

WIDTH, HEIGHT, MARGIN = 420, 300, 60
COLOURS = ("#1b6ca8", "#d1495b", "#66a182")
COUNTS = (1, 2, 5, 10, 100, 1000, 10000, 100000)

# Title, label of the horizontal axis, and the curves: label, and the benchmark of each size.
PANELS = (
    ("One endpoint event", "endpoints outstanding", (
        ("in list order", {n: f"remove/{n}/listed/library" for n in COUNTS}),
        ("in random order", {n: f"remove/{n}/random/library" for n in COUNTS}),
        ("literal", {n: f"remove/{n}/listed/literal" for n in COUNTS if n <= 1000}))),
    ("Encoding, per mapping entry", "mapping entries", tuple(
        (way, {1: f"encode/1x1_1/{way}", 20: f"encode/10x2_20/{way}", 400: f"encode/100x4_400/{way}",
               8000: f"encode/1000x8_8000/{way}", 80000: f"encode/10000x8_80000/{way}"})
        for way in ("library", "floor", "literal"))),
    ("Property tree, per node", "nodes", tuple(
        (tree, {n: f"convert/{tree}/{n}/library" for n in (10, 100, 1000, 10000, 100000)})
        for tree in ("flat", "nested", "deep"))),
)


def text(x, y, content, anchor="middle", colour="#333"):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}" fill="{colour}">{content}</text>'


def power(exponent):
    return f"{10 ** exponent:,.0f}"


def read_times(path):
    """The median of each benchmark's time per item, in nanoseconds."""
    with open(path, newline="", encoding="ascii") as file:
        return {row["benchmark"]: float(row["median"]) for row in csv.DictReader(file) if row["quantity"] == "time"}


def panel(title, label, curves, times):
    points = [(name, [(size, times[benchmark]) for size, benchmark in sizes.items()]) for name, sizes in curves]
    everything = [point for _, curve in points for point in curve]
    x_end = math.ceil(math.log10(max(x for x, _ in everything)))
    y_begin = math.floor(math.log10(min(y for _, y in everything)))
    y_end = math.ceil(math.log10(max(y for _, y in everything)))
    across, down = WIDTH - 1.5 * MARGIN, HEIGHT - 1.8 * MARGIN

    def place(x, y):
        return (MARGIN + across * math.log10(x) / x_end,
                MARGIN * 0.7 + down * (y_end - math.log10(y)) / (y_end - y_begin))

    lines = [text(WIDTH / 2, 20, title), text(WIDTH / 2, HEIGHT - 12, label)]
    for exponent in range(x_end + 1):
        x, bottom = place(10 ** exponent, 10 ** y_begin)
        lines.append(f'<path d="M{x:.1f} {bottom:.1f}v{-down:.1f}" stroke="#ddd"/>')
        lines.append(text(x, bottom + 18, power(exponent)))
    for exponent in range(y_begin, y_end + 1):
        left, y = place(1, 10 ** exponent)
        lines.append(f'<path d="M{left:.1f} {y:.1f}h{across:.1f}" stroke="#ddd"/>')
        lines.append(text(left - 6, y + 4, power(exponent) + " ns", "end"))
    for index, (name, curve) in enumerate(points):
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in (place(*point) for point in curve))
        lines.append(f'<polyline points="{path}" fill="none" stroke="{COLOURS[index]}" stroke-width="2"/>')
        lines.append(text(MARGIN + 8, MARGIN * 0.7 + 14 + 15 * index, name, "start", COLOURS[index]))
    return "\n".join(lines)


def main():
    times = read_times(sys.argv[1])
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH * len(PANELS)} {HEIGHT}" '
          'font-family="sans-serif" font-size="11">')
    print('<rect width="100%" height="100%" fill="white"/>')
    for index, (title, label, curves) in enumerate(PANELS):
        print(f'<g transform="translate({index * WIDTH} 0)">\n{panel(title, label, curves, times)}\n</g>')
    print("</svg>")


if __name__ == "__main__":
    main()
