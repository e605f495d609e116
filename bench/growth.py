#!/usr/bin/env python3
"""Prints from a run of the benchmarks how cost grows, as the data file that growth.gnuplot draws."""
import results

COUNTS = (1, 2, 5, 10, 100, 1000, 10000, 100000)
SHAPES = {1: "1x1_1", 20: "10x2_20", 400: "100x4_400", 8000: "1000x8_8000", 80000: "10000x8_80000"}


def curves():
    """The name of each curve, and of each size on it the benchmark."""
    for way, counts in (("library", COUNTS), ("literal", COUNTS[:6])):
        for order in ("listed", "random"):
            yield f"event {order} {way}", {count: f"remove/{count}/{order}/{way}" for count in counts}
    for way in ("library", "floor", "literal"):
        yield f"encode {way}", {size: f"encode/{shape}/{way}" for size, shape in SHAPES.items()}
    for tree in ("flat", "nested", "deep"):
        yield f"convert {tree}", {count: f"convert/{tree}/{count}/library" for count in COUNTS[3:]}


def main():
    measured = results.Results(results.argument_parser(__doc__).parse_args().results)
    print("# Nanoseconds per endpoint, mapping entry or node: medians of the benchmarks. By bench/growth.py.")
    for name, benchmarks in curves():
        print(f"\n\n# {name}")
        for size, benchmark in benchmarks.items():
            print(size, f"{measured.sample(benchmark, 'time').median:.4g}")


if __name__ == "__main__":
    main()
