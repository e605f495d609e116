// What a tracker logs, and that logging neither costs anything when it is off nor loses a report.
#include "agent/spf/frameworksetup/ConfigTracker.hpp"

#include <ostream>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CallLog.hpp"
#include "support/FakeHost.hpp"
#include "support/LogCapture.hpp"
#include "tracking/endpoints.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using cppmicroservices::Any;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t progress = 4;

class ConfigTrackerLogTest : public ::testing::Test {
protected:
    ~ConfigTrackerLogTest() override {
        callLog().reset();
        fakeHost().reset();
    }

    LogCapture log;
};

} // namespace

TEST_F(ConfigTrackerLogTest, LogsCompletedEndpointsAndPublishedServicesInOrder) {
    ConfigTracker tracker({endpoint("unix:b")}, {endpoint("tcp:c")}, true);
    tracker.completeEndpointBind(endpoint("unix:b"));
    tracker.completeEndpointConnect(endpoint("tcp:c"));
    tracker.completeAllServicesPublished();
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(progress, "ConfigTracker completeEndpointBind unix:b"),
                            libraryRecord(progress, "ConfigTracker completeEndpointConnect tcp:c"),
                            libraryRecord(progress, "ConfigTracker completeAllServicesPublished")));
}

TEST_F(ConfigTrackerLogTest, LogsOnceForAnEndpointThatWasListedTwice) {
    ConfigTracker tracker({endpoint("b"), endpoint("b")}, {}, true);
    tracker.completeEndpointBind(endpoint("b"));
    EXPECT_EQ(log.records().size(), 1U);
}

TEST_F(ConfigTrackerLogTest, LogsTheEndpointAsAnyPrintsIt) {
    Any const list(std::vector<Any>{Any(1), endpoint("two")});
    ConfigTracker tracker({Any(7)}, {list}, true);
    tracker.completeEndpointBind(Any(7));
    tracker.completeEndpointConnect(list);
    EXPECT_THAT(log.records(), ElementsAre(libraryRecord(progress, "ConfigTracker completeEndpointBind 7"),
                                           libraryRecord(progress, "ConfigTracker completeEndpointConnect " +
                                                                       list.ToString())));
}

namespace {
// Counts how often one is printed, and fails at it if told to.
struct Printed {
    int* count;
    bool failing;
    friend bool operator==(Printed const& left, Printed const& right) { return left.count == right.count; }
    friend std::ostream& operator<<(std::ostream& stream, Printed const& printed) {
        ++*printed.count;
        if (printed.failing) {
            throw std::runtime_error("cannot be printed");
        }
        return stream << "printed";
    }
};
} // namespace

TEST_F(ConfigTrackerLogTest, FormatsNothingWhenProgressIsNotLogged) {
    auto count = 0;
    fakeHost().setEnabledSeverities(~progress);
    ConfigTracker tracker({Any(Printed{&count, false})}, {}, true);
    tracker.completeEndpointBind(Any(Printed{&count, false}));
    tracker.completeAllServicesPublished();
    EXPECT_EQ(count, 0);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ConfigTrackerLogTest, LogsWhenProgressAloneIsLogged) {
    auto count = 0;
    fakeHost().setEnabledSeverities(progress);
    ConfigTracker tracker({Any(Printed{&count, false})}, {}, true);
    tracker.completeEndpointBind(Any(Printed{&count, false}));
    EXPECT_EQ(count, 1);
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(progress, "ConfigTracker completeEndpointBind printed")));
}

TEST_F(ConfigTrackerLogTest, AnEndpointThatCannotBePrintedIsCompletedWithoutARecord) {
    auto count = 0;
    ConfigTracker tracker({Any(Printed{&count, true})}, {}, true);
    tracker.completeAllServicesPublished();
    EXPECT_TRUE(tracker.completeEndpointBind(Any(Printed{&count, true})));
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(tracker.isFinished());
    EXPECT_EQ(log.records().size(), 1U);
}

TEST_F(ConfigTrackerLogTest, ALoggerThatThrowsLosesNoReport) {
    log.setThrowing(true);
    ConfigTracker tracker({endpoint("b")}, {endpoint("c")}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(endpoint("b")));
    EXPECT_FALSE(tracker.completeEndpointConnect(endpoint("c")));
    EXPECT_TRUE(tracker.completeAllServicesPublished());
    EXPECT_TRUE(tracker.isFinished());
    EXPECT_EQ(callLog().callsOf("log ConfigTracker").size(), 3U);
}

} // namespace agent::spf::frameworksetup::test
