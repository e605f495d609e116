// Durations as people type them.
#include <stdexcept>

#include <gtest/gtest.h>

#include "Duration.hpp"

namespace {

using agent::program::formatDuration;
using agent::program::parseDuration;
using namespace std::chrono_literals;

TEST(Duration, UnitsAreMillisecondsSecondsMinutesAndHours) {
    EXPECT_EQ(parseDuration("250ms"), 250ms);
    EXPECT_EQ(parseDuration("30s"), 30s);
    EXPECT_EQ(parseDuration("1.5m"), 90s);
    EXPECT_EQ(parseDuration("2h"), 2h);
}

TEST(Duration, ANumberAloneIsSeconds) {
    EXPECT_EQ(parseDuration("0"), 0s);
    EXPECT_EQ(parseDuration("3"), 3s);
}

TEST(Duration, IsRoundedToMilliseconds) {
    EXPECT_EQ(parseDuration("1.001"), 1001ms);
    EXPECT_EQ(parseDuration("1.1"), 1100ms);
}

TEST(Duration, OnlyZeroIsZero) {
    EXPECT_EQ(parseDuration("0.4ms"), 1ms);
    EXPECT_EQ(parseDuration("0.00001"), 1ms);
    EXPECT_EQ(parseDuration("0.0h"), 0ms);
}

TEST(Duration, EverythingElseIsRefusedByName) {
    for (auto const* text : {"", "s", "-1s", "1 s", "1d", "1s ", "nan", "inf", "1e3s", "99999h", "0x1"}) {
        EXPECT_THROW(parseDuration(text), std::invalid_argument) << text;
    }
}

TEST(Duration, RefusalNamesTheTextAndWhatIsExpected) {
    try {
        parseDuration("9000h");
        FAIL() << "it is longer than a year";
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(),
                     "'9000h' is no duration; expected one such as 500ms, 30s or 2m, of a year at most");
    }
}

TEST(Duration, IsShownInSeconds) {
    EXPECT_EQ(formatDuration(30s), "30s");
    EXPECT_EQ(formatDuration(1500ms), "1.5s");
}

} // namespace
