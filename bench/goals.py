"""The goals: which figure is compared with what, and what is to come of it."""


class Goal:
    """A figure beside a floor. `limit` bounds their ratio, or with `excess` their difference. Without a floor it
    bounds the figure itself. Without a limit the figure is only shown. A quantity is a pair of a benchmark's name and
    'time' or the name of a counter."""

    def __init__(self, title, figure, floor, limit=None, excess=False):
        self.title = title
        self.figure = figure
        self.floor = floor
        self.limit = limit
        self.excess = excess


SHAPES = ("1x1_1", "10x2_20", "100x4_400", "1000x8_8000", "1000x8_flagged")
CHECKED_SHAPES = SHAPES[:4]
TREES = ("flat", "nested", "deep", "escaped")
NODES = (10, 100, 1000, 10000, 100000)
ORDERS = ("listed", "random")


def time(name):
    return (name, "time")


def encoding():
    for shape in SHAPES:
        library, floor = f"encode/{shape}/library", f"encode/{shape}/floor"
        yield Goal(f"encode {shape}, time per entry", time(library), time(floor), 1.1)
        yield Goal(f"encode {shape}, allocations", (library, "allocations"), (floor, "allocations"), 1.0)
    entry = "encode_one_more_mapping/library/iterations:1"
    yield Goal("one more mapping entry, allocations", (entry, "allocations"), None, 8)
    yield Goal("one more mapping entry, bytes kept", (entry, "bytes_kept"), None, 354)
    yield Goal("encode 80,000 entries / 800, per entry",
               time("encode/10000x8_80000/library"), time("encode/100x8_800/library"), 1.5)
    yield Goal("encode flagged / explicit, 8,000 entries",
               time("encode/1000x8_flagged/library"), time("encode/1000x8_8000/library"), 1.1)
    for shape in CHECKED_SHAPES:
        yield Goal(f"check mappings / encode {shape}",
                   time(f"check_mappings/{shape}/library"), time(f"encode/{shape}/library"), 0.15)


def property_trees():
    for tree in TREES:
        for nodes in NODES:
            name = f"convert/{tree}/{nodes}"
            yield Goal(f"convert {tree} tree, {nodes} nodes, per node",
                       time(f"{name}/library"), time(f"{name}/floor"), 1.1)
    yield Goal("convert chain of 2,000 levels / 100, per node",
               time("convert/chain/2000/library"), time("convert/chain/100/library"), 1.5)


def building():
    for shape in ("1x1_1", "100x4_400", "1000x8_8000"):
        yield Goal(f"build() {shape} / sum of its parts",
                   time(f"build/{shape}/library"), time(f"build/{shape}/floor"), 1.05)
    one = "build_and_withdraw/library/real_time/threads:1"
    for threads in (2, 4, 8):
        yield Goal(f"build and withdraw, {threads} threads / 1",
                   time(f"build_and_withdraw/library/real_time/threads:{threads}"), time(one), 1.0)


def events():
    for order, limit_of_many in (("listed", 2), ("random", 6)):
        hundred = time(f"remove/100/{order}/library")
        yield Goal(f"event, 10,000 {order} / 100", time(f"remove/10000/{order}/library"), hundred,
                   1.5 if order == "listed" else None)
        yield Goal(f"event, 100,000 {order} / 100", time(f"remove/100000/{order}/library"), hundred, limit_of_many)
        yield Goal(f"event, 100,000 {order} / hash table by hand", time(f"remove/100000/{order}/library"),
                   time(f"remove/100000/{order}/floor"), 1.0)
    for count in (1, 2, 5, 10):
        for order in ORDERS:
            yield Goal(f"event, {count} outstanding, {order} / literal", time(f"remove/{count}/{order}/library"),
                       time(f"remove/{count}/{order}/literal"), 1.0)
    for count in (100, 10000, 100000):
        yield Goal(f"make index of {count}, ns per endpoint", time(f"make_index/{count}/library"), None, 20)
    for count in (1, 10, 100, 10000, 100000):
        for order in ORDERS:
            name = f"{count}/{order}"
            yield Goal(f"handleEvent, {count} {order} / removal", time(f"handle_event/{name}/library"),
                       time(f"remove/{name}/library"))
            yield Goal(f"handleEvent, {count} {order} / hash table by hand", time(f"handle_event/{name}/library"),
                       time(f"remove/{name}/floor"), 1.3)
            yield Goal(f"handleEvent, {count} {order} / bare listener", time(f"handle_event/{name}/library"),
                       time(f"handle_event/{name}/floor"), 1.3)
    yield Goal("dispatch among 1,000 publishers / 10", time("dispatch/1000/library"), time("dispatch/10/library"), 1.5)
    yield Goal("dispatch among 1,000 publishers / bare", time("dispatch/1000/library"),
               time("dispatch/1000/floor"), 1.3)


def waits():
    for waiters in (1, 64):
        suffix = f"{waiters}/iterations:30/manual_time"
        yield Goal(f"wake up {waiters} waiters / condition variable",
                   time(f"wake_up/library/{suffix}"), time(f"wake_up/floor/{suffix}"), 1.1)
    yield Goal("polling wait over lock and clock, ns", time("poll/library"), time("poll/floor"), 100, excess=True)


def logging():
    yield Goal("disabled log site / load and test of the mask",
               time("disabled_log/library"), time("disabled_log/floor"), 1.1)


def memory():
    for entry in ("interface", "publisher", "mapping", "endpoint"):
        name = f"kept_per_{entry}"
        yield Goal(f"kept per {entry}, bytes", (f"{name}/library/iterations:1", "bytes_kept"),
                   (f"{name}/floor/iterations:1", "bytes_kept"))
    # What the allocator keeps for its threads varies by some ten thousand bytes; the least that a cycle could leave
    # behind would be a few million.
    yield Goal("left by 100,000 cycles of build and withdraw, bytes",
               ("cycle/library/100000/iterations:1/repeats:1", "bytes_kept"), None, 100000)


def all_goals():
    for part in (encoding, property_trees, building, events, waits, logging, memory):
        yield from part()
