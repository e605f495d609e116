// The intervals between attempts.
#include <gtest/gtest.h>

#include "agent/spf/bundles/sockets/Backoff.hpp"

namespace {

using agent::spf::bundles::sockets::Backoff;
using namespace std::chrono_literals;

TEST(Backoff, IntervalsDoubleUpToTheLimit) {
    Backoff backoff([] { return 0.0; });

    for (auto const expected : {50ms, 100ms, 200ms, 400ms, 800ms, 1600ms, 3200ms, 5000ms, 5000ms}) {
        EXPECT_EQ(backoff.next(), expected);
    }
}

TEST(Backoff, ChanceTakesAwayUpToAQuarter) {
    Backoff backoff([] { return 0.5; });

    EXPECT_EQ(backoff.next(), 43ms); // 50 less an eighth, in whole milliseconds
    EXPECT_EQ(backoff.next(), 87ms);
}

TEST(Backoff, ResetBeginsAnew) {
    Backoff backoff([] { return 0.0; });
    backoff.next();
    backoff.next();

    backoff.reset();

    EXPECT_EQ(backoff.next(), 50ms);
}

TEST(Backoff, TheSystemsChanceStaysWithinTheBounds) {
    Backoff backoff;

    auto const interval = backoff.next();

    EXPECT_GE(interval, 37ms);
    EXPECT_LE(interval, 50ms);
}

} // namespace
