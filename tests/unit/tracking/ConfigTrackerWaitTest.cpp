// The waits of a tracker: what they return, when they wake up, how they time out and what they throw.
#include "agent/spf/frameworksetup/ConfigTracker.hpp"

#include <array>
#include <deque>
#include <functional>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CallLog.hpp"
#include "support/ConcurrentCall.hpp"
#include "support/FakeHost.hpp"
#include "support/LogCapture.hpp"
#include "tracking/endpoints.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Wait = bool (ConfigTracker::*)(milliseconds const&);

constexpr milliseconds longTime = std::chrono::minutes(1); // a failure guard, never waited for
constexpr std::array<Wait, 3> allWaits = {&ConfigTracker::waitForAllEndpoints,
                                          &ConfigTracker::waitForAllServices,
                                          &ConfigTracker::waitForAllServicesToBeUnpublished};

class ConfigTrackerWaitTest : public ::testing::Test {
protected:
    ~ConfigTrackerWaitTest() override {
        callLog().reset();
        fakeHost().reset();
    }

    LogCapture log;
    ConfigTracker tracker{{endpoint("b")}, {endpoint("c")}, true};
};

std::exception_ptr errorWith(std::string const& text) {
    return std::make_exception_ptr(std::runtime_error(text));
}

// A wait, to be called on a thread of its own.
std::function<bool()> waiting(ConfigTracker& tracker, Wait wait, milliseconds timeout = longTime) {
    return [&tracker, wait, timeout] { return (tracker.*wait)(timeout); };
}

// The exception that a wait on the tracker throws; null when it throws none.
std::exception_ptr thrownBy(ConfigTracker& tracker, Wait wait, milliseconds timeout = milliseconds::zero()) {
    try {
        (tracker.*wait)(timeout);
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

// Time-outs beyond the clock's last moment, at it, and just before it.
std::vector<milliseconds> hugeTimeouts() {
    auto const wholeClock = std::chrono::duration_cast<milliseconds>(Clock::duration::max());
    auto const lastMoment = std::chrono::duration_cast<milliseconds>(Clock::time_point::max() - Clock::now());
    return {milliseconds::max(),
            milliseconds::max() - milliseconds(1),
            wholeClock + milliseconds(1),
            wholeClock,
            lastMoment + milliseconds(1),
            lastMoment,
            lastMoment - std::chrono::hours(1)};
}

} // namespace

TEST_F(ConfigTrackerWaitTest, ReturnsTrueAtOnceWhenTheStateIsReached) {
    tracker.completeEndpointBind(endpoint("b"));
    tracker.completeEndpointConnect(endpoint("c"));
    EXPECT_TRUE(tracker.waitForAllEndpoints(longTime));
    tracker.completeAllServicesPublished();
    EXPECT_TRUE(tracker.waitForAllServices(longTime));
    tracker.completeConfigurationRemoved();
    EXPECT_TRUE(tracker.waitForAllServicesToBeUnpublished(longTime));
}

TEST_F(ConfigTrackerWaitTest, EachWaitLooksAtItsOwnStateOnly) {
    tracker.completeAllServicesPublished();
    EXPECT_FALSE(tracker.waitForAllEndpoints(milliseconds::zero()));
    EXPECT_TRUE(tracker.waitForAllServices(milliseconds::zero()));
    EXPECT_FALSE(tracker.waitForAllServicesToBeUnpublished(milliseconds::zero()));

    ConfigTracker removed({endpoint("b")}, {}, true);
    removed.completeConfigurationRemoved();
    EXPECT_FALSE(removed.waitForAllEndpoints(milliseconds::zero()));
    EXPECT_FALSE(removed.waitForAllServices(milliseconds::zero()));
    EXPECT_TRUE(removed.waitForAllServicesToBeUnpublished(milliseconds::zero()));

    ConfigTracker connected({}, {}, true);
    EXPECT_TRUE(connected.waitForAllEndpoints(milliseconds::zero()));
    EXPECT_FALSE(connected.waitForAllServices(milliseconds::zero()));
    EXPECT_FALSE(connected.waitForAllServicesToBeUnpublished(milliseconds::zero()));
}

TEST_F(ConfigTrackerWaitTest, EndpointsAreReachedOnlyWhenBothListsAreEmpty) {
    tracker.completeEndpointBind(endpoint("b"));
    EXPECT_FALSE(tracker.waitForAllEndpoints(milliseconds::zero()));
    tracker.completeEndpointConnect(endpoint("c"));
    EXPECT_TRUE(tracker.waitForAllEndpoints(milliseconds::zero()));
}

TEST_F(ConfigTrackerWaitTest, AZeroOrNegativeTimeoutChecksOnceAndReturnsFalse) {
    // One of them is so far beyond the range of the clock's own, finer unit that it comes out at the other
    // end: calculated without care, it ends an hour before the clock does.
    auto const wholeClock = std::chrono::duration_cast<milliseconds>(Clock::duration::max());
    auto const sinceBoot = std::chrono::duration_cast<milliseconds>(Clock::now().time_since_epoch());
    auto const wrappedAround = -wholeClock - sinceBoot - std::chrono::hours(1);
    for (auto const timeout : {milliseconds(0), milliseconds(-1), wrappedAround, milliseconds::min(),
                               milliseconds::min() + milliseconds(1)}) {
        for (auto const wait : allWaits) {
            ConcurrentCall<bool> call(waiting(tracker, wait, timeout));
            ASSERT_TRUE(call.returns()) << timeout.count();
            EXPECT_FALSE(call.get()) << timeout.count();
        }
    }
}

TEST_F(ConfigTrackerWaitTest, AZeroOrNegativeTimeoutChecksOnceAndReturnsTrueWhenTheStateIsReached) {
    ConfigTracker finished({}, {}, true);
    finished.completeAllServicesPublished();
    finished.completeConfigurationRemoved();
    for (auto const timeout : {milliseconds(0), milliseconds(-1), milliseconds::min()}) {
        for (auto const wait : allWaits) {
            EXPECT_TRUE((finished.*wait)(timeout)) << timeout.count();
        }
    }
}

TEST_F(ConfigTrackerWaitTest, AZeroOrNegativeTimeoutThrowsTheStoredError) {
    auto const error = errorWith("port in use");
    tracker.configurationErrored(error);
    for (auto const timeout : {milliseconds(0), milliseconds(-1), milliseconds::min()}) {
        for (auto const wait : allWaits) {
            EXPECT_EQ(thrownBy(tracker, wait, timeout), error) << timeout.count();
        }
    }
}

TEST_F(ConfigTrackerWaitTest, ReturnsFalseNotBeforeTheTimeoutHasPassedOnTheSteadyClock) {
    for (auto const wait : allWaits) {
        auto const timeout = milliseconds(30);
        auto const begin = Clock::now();
        EXPECT_FALSE((tracker.*wait)(timeout));
        EXPECT_GE(Clock::now() - begin, timeout);
    }
}

TEST_F(ConfigTrackerWaitTest, AWakeUpForAnotherStateDoesNotEndTheWait) {
    ConcurrentCall<bool> endpoints(waiting(tracker, &ConfigTracker::waitForAllEndpoints));
    ASSERT_TRUE(endpoints.blocks());
    tracker.completeConfigurationRemoved();
    tracker.completeAllServicesPublished();
    ASSERT_TRUE(endpoints.blocks());
    tracker.completeEndpointBind(endpoint("b"));
    tracker.completeEndpointConnect(endpoint("c"));
    EXPECT_TRUE(endpoints.get());
}

TEST_F(ConfigTrackerWaitTest, AHugeTimeoutWaitsUntilTheStateIsReached) {
    for (auto const timeout : hugeTimeouts()) {
        ConfigTracker waitedFor({}, {}, true);
        ConcurrentCall<bool> services(waiting(waitedFor, &ConfigTracker::waitForAllServices, timeout));
        EXPECT_TRUE(services.blocks()) << timeout.count();
        waitedFor.completeAllServicesPublished();
        EXPECT_TRUE(services.get()) << timeout.count();
    }
}

TEST_F(ConfigTrackerWaitTest, AHugeTimeoutEndsWithAnError) {
    auto const error = errorWith("port in use");
    for (auto const timeout : hugeTimeouts()) {
        ConfigTracker waitedFor({}, {}, true);
        ConcurrentCall<std::exception_ptr> thrown([&waitedFor, timeout] {
            return thrownBy(waitedFor, &ConfigTracker::waitForAllServices, timeout);
        });
        EXPECT_TRUE(thrown.blocks()) << timeout.count();
        waitedFor.configurationErrored(error);
        EXPECT_EQ(thrown.get(), error) << timeout.count();
    }
}

TEST_F(ConfigTrackerWaitTest, TheLastEndpointToBindWakesUpEveryWaiter) {
    tracker.completeEndpointConnect(endpoint("c"));
    std::deque<ConcurrentCall<bool>> waiters;
    for (auto i = 0; i < 8; ++i) {
        waiters.emplace_back(waiting(tracker, &ConfigTracker::waitForAllEndpoints));
    }
    for (auto const& waiter : waiters) {
        ASSERT_TRUE(waiter.blocks());
    }
    tracker.completeEndpointBind(endpoint("b"));
    for (auto& waiter : waiters) {
        EXPECT_TRUE(waiter.get());
    }
}

TEST_F(ConfigTrackerWaitTest, TheLastEndpointToConnectWakesUpTheWaiter) {
    tracker.completeEndpointBind(endpoint("b"));
    ConcurrentCall<bool> endpoints(waiting(tracker, &ConfigTracker::waitForAllEndpoints));
    ASSERT_TRUE(endpoints.blocks());
    tracker.completeEndpointConnect(endpoint("c"));
    EXPECT_TRUE(endpoints.get());
}

TEST_F(ConfigTrackerWaitTest, PublishedServicesWakeUpEveryWaiterAlsoWhileEndpointsAreOutstanding) {
    std::deque<ConcurrentCall<bool>> waiters;
    for (auto i = 0; i < 8; ++i) {
        waiters.emplace_back(waiting(tracker, &ConfigTracker::waitForAllServices));
    }
    for (auto const& waiter : waiters) {
        ASSERT_TRUE(waiter.blocks());
    }
    EXPECT_FALSE(tracker.completeAllServicesPublished());
    for (auto& waiter : waiters) {
        EXPECT_TRUE(waiter.get());
    }
}

TEST_F(ConfigTrackerWaitTest, ARemovalWakesUpEveryWaiter) {
    std::deque<ConcurrentCall<bool>> waiters;
    for (auto i = 0; i < 8; ++i) {
        waiters.emplace_back(waiting(tracker, &ConfigTracker::waitForAllServicesToBeUnpublished));
    }
    for (auto const& waiter : waiters) {
        ASSERT_TRUE(waiter.blocks());
    }
    tracker.completeConfigurationRemoved();
    for (auto& waiter : waiters) {
        EXPECT_TRUE(waiter.get());
    }
}

TEST_F(ConfigTrackerWaitTest, AnErrorWakesUpTheWaitersOfAllKindsWhichThrowIt) {
    auto const error = errorWith("port in use");
    std::deque<ConcurrentCall<std::exception_ptr>> waiters;
    for (auto const wait : allWaits) {
        waiters.emplace_back([this, wait] { return thrownBy(tracker, wait, longTime); });
        waiters.emplace_back([this, wait] { return thrownBy(tracker, wait, longTime); });
    }
    for (auto const& waiter : waiters) {
        ASSERT_TRUE(waiter.blocks());
    }
    tracker.configurationErrored(error);
    for (auto& waiter : waiters) {
        EXPECT_EQ(waiter.get(), error);
    }
}

TEST_F(ConfigTrackerWaitTest, EveryWaitThrowsTheSameExceptionObjectEachTime) {
    auto const error = errorWith("port in use");
    tracker.configurationErrored(error);
    for (auto const wait : allWaits) {
        EXPECT_EQ(thrownBy(tracker, wait), error);
        EXPECT_EQ(thrownBy(tracker, wait, longTime), error);
    }
}

TEST_F(ConfigTrackerWaitTest, AnErrorBeatsAStateThatIsReached) {
    auto const error = errorWith("port in use");
    ConfigTracker waitedFor({endpoint("b")}, {}, true);
    waitedFor.completeAllServicesPublished();
    waitedFor.configurationErrored(error);
    waitedFor.completeConfigurationRemoved();
    EXPECT_EQ(thrownBy(waitedFor, &ConfigTracker::waitForAllServices, longTime), error);
    EXPECT_EQ(thrownBy(waitedFor, &ConfigTracker::waitForAllServicesToBeUnpublished, longTime), error);

    ConfigTracker connected({}, {}, true);
    connected.configurationErrored(error);
    EXPECT_EQ(thrownBy(connected, &ConfigTracker::waitForAllEndpoints, longTime), error);
}

TEST_F(ConfigTrackerWaitTest, AThrowingWaitReleasesTheLock) {
    tracker.configurationErrored(errorWith("port in use"));
    EXPECT_THROW(tracker.waitForAllServices(longTime), std::runtime_error);
    ConcurrentCall<std::string> list([this] { return describe(tracker.listOutstandingEndpoints()); });
    ASSERT_TRUE(list.returns());
    EXPECT_EQ(list.get(), R"(connect ["c"] bind ["b"])");
}

TEST_F(ConfigTrackerWaitTest, WaitsLogNothing) {
    for (auto const wait : allWaits) {
        (tracker.*wait)(milliseconds::zero());
    }
    tracker.configurationErrored(errorWith("port in use"));
    for (auto const wait : allWaits) {
        EXPECT_THROW((tracker.*wait)(milliseconds::zero()), std::runtime_error);
    }
    EXPECT_THAT(log.records(), ::testing::IsEmpty());
}

TEST_F(ConfigTrackerWaitTest, ALoggerThatThrowsDoesNotKeepAWaiterWaiting) {
    log.setThrowing(true);
    ConcurrentCall<bool> endpoints(waiting(tracker, &ConfigTracker::waitForAllEndpoints));
    ConcurrentCall<bool> services(waiting(tracker, &ConfigTracker::waitForAllServices));
    ASSERT_TRUE(endpoints.blocks());
    ASSERT_TRUE(services.blocks());
    tracker.completeEndpointBind(endpoint("b"));
    tracker.completeEndpointConnect(endpoint("c"));
    tracker.completeAllServicesPublished();
    EXPECT_TRUE(endpoints.get());
    EXPECT_TRUE(services.get());
}

TEST_F(ConfigTrackerWaitTest, ReportsFromManyThreadsCompleteTheTrackerForEveryWaiter) {
    constexpr auto endpointsPerList = 64;
    constexpr auto threads = 4;
    auto const name = [](char const* kind, int i) { return endpoint(kind + std::to_string(i)); };
    Endpoints toBind;
    Endpoints toConnect;
    for (auto i = 0; i < endpointsPerList; ++i) {
        toBind.push_back(name("b", i));
        toConnect.push_back(name("c", i));
    }
    ConfigTracker busy(toBind, toConnect, true);

    std::deque<ConcurrentCall<bool>> waiters;
    for (auto const wait : allWaits) {
        waiters.emplace_back(waiting(busy, wait));
        waiters.emplace_back(waiting(busy, wait));
    }
    std::deque<ConcurrentCall<bool>> reporters;
    for (auto thread = 0; thread < threads; ++thread) {
        reporters.emplace_back([&busy, &name, thread] {
            for (auto i = thread; i < endpointsPerList; i += threads) {
                busy.completeEndpointBind(name("b", i));
                busy.listOutstandingEndpoints();
                busy.completeEndpointConnect(name("c", i));
            }
            busy.completeAllServicesPublished();
            return busy.completeConfigurationRemoved();
        });
    }
    for (auto& waiter : waiters) {
        EXPECT_TRUE(waiter.get());
    }
    for (auto& reporter : reporters) {
        EXPECT_TRUE(reporter.get());
    }
    EXPECT_TRUE(busy.isFinished());
}

} // namespace agent::spf::frameworksetup::test
