"""When a benchmark's figure counts as meeting its goal."""
import math
import unittest

import compare_providers
import judging


class Samples(unittest.TestCase):
    def test_stand_for_their_median(self):
        self.assertEqual(judging.Sample([5, 1, 100]).median, 5)

    def test_have_half_the_distance_between_the_quartiles_as_noise(self):
        self.assertEqual(judging.Sample([1, 2, 3, 4, 5, 6, 7]).noise, 2)

    def test_have_no_noise_when_measured_once(self):
        self.assertEqual(judging.Sample([3]).noise, 0)


class Ratios(unittest.TestCase):
    def test_are_those_of_the_medians(self):
        self.assertEqual(judging.ratio(judging.Sample([6, 6, 6]), judging.Sample([4, 4, 4])), (1.5, 0))

    def test_carry_the_relative_noise_of_both(self):
        seven = [1, 2, 3, 4, 5, 6, 7]  # 4, give or take 2
        value, noise = judging.ratio(judging.Sample(seven), judging.Sample([10 * number for number in seven]))
        self.assertAlmostEqual(value, 0.1)
        self.assertAlmostEqual(noise, 0.1 * math.hypot(0.5, 0.5))

    def test_of_nothing_to_nothing_are_one(self):
        self.assertEqual(judging.ratio(judging.Sample([0]), judging.Sample([0])), (1, 0))

    def test_of_something_to_nothing_miss_every_goal(self):
        value, noise = judging.ratio(judging.Sample([1]), judging.Sample([0]))
        self.assertEqual(judging.verdict(value, noise, 1e9), "MISSED")


class Verdicts(unittest.TestCase):
    def test_met_includes_the_limit(self):
        self.assertEqual(judging.verdict(1.0, 0.0, 1.0), "met")

    def test_met_has_no_need_of_noise(self):
        self.assertEqual(judging.verdict(0.9, 0.5, 1.0), "met")

    def test_too_high_by_as_much_as_the_noise_is_noise(self):
        self.assertEqual(judging.verdict(1.5, 0.5, 1.0), "noise")

    def test_too_high_by_more_than_the_noise_is_missed(self):
        self.assertEqual(judging.verdict(1.5, 0.25, 1.0), "MISSED")

    def test_are_counted(self):
        missed, sentence = judging.count(["met", "noise", "MISSED", "met"])
        self.assertEqual(missed, 1)
        self.assertEqual(sentence, "4 goals: 2 met, 1 within the noise, 1 missed by more")


class ComparedProviders(unittest.TestCase):
    """Rows say: work, real, ours, ratio, noise, goal, verdict."""

    def row(self, work, ratios):
        return compare_providers.make_row(work, [1000] * len(ratios), [1000 * ratio for ratio in ratios])

    def test_are_judged_by_the_ratios_of_the_rounds(self):
        # The machine was slow in the last two rounds, for both alike.
        row = compare_providers.make_row("moveMap", [10, 10, 10, 40, 40], [9, 9, 9, 36, 36])
        self.assertEqual(row, ("moveMap", "10 ns", "9 ns", "0.90", "0.00", "1", "met"))

    def test_that_differ_by_less_than_the_rounds_do_are_told_from_those_that_differ_by_more(self):
        self.assertEqual(self.row("moveMap", [0.97, 0.98, 1.01, 1.01, 1.01, 1.03, 1.05])[-1], "noise")
        self.assertEqual(self.row("moveMap", [1.28, 1.29, 1.31, 1.31, 1.31, 1.33, 1.35])[-1], "MISSED")

    def test_are_to_take_half_the_time_for_maps_and_the_registry(self):
        self.assertEqual(self.row("buildMap/ordered/4", [0.6] * 7)[-2:], ("0.5", "MISSED"))
        self.assertEqual(self.row("registerMany/10", [0.5] * 7)[-2:], ("0.5", "met"))

    def test_are_to_take_no_longer_for_anything_else(self):
        self.assertEqual(self.row("lookUp/ordered/4", [0.6] * 7)[-2:], ("1", "met"))


if __name__ == "__main__":
    unittest.main()
