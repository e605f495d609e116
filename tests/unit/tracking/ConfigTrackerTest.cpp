// How reports move a tracker on. What it logs and its waits are in the files named so.
#include "agent/spf/frameworksetup/ConfigTracker.hpp"

#include <stdexcept>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CallLog.hpp"
#include "support/FakeHost.hpp"
#include "support/LogCapture.hpp"
#include "tracking/endpoints.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using cppmicroservices::Any;
using std::chrono::milliseconds;
using ::testing::IsEmpty;

class ConfigTrackerTest : public ::testing::Test {
protected:
    ~ConfigTrackerTest() override {
        callLog().reset();
        fakeHost().reset();
    }

    LogCapture log;
};

std::exception_ptr errorWith(std::string const& text) {
    return std::make_exception_ptr(std::runtime_error(text));
}

// The exception that a wait on the tracker throws; null when it throws none.
std::exception_ptr thrownBy(ConfigTracker& tracker, bool (ConfigTracker::*wait)(milliseconds const&)) {
    try {
        (tracker.*wait)(milliseconds::zero());
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

} // namespace

static_assert(!std::is_copy_constructible_v<ConfigTracker> && !std::is_copy_assignable_v<ConfigTracker>);
static_assert(!std::is_move_constructible_v<ConfigTracker> && !std::is_move_assignable_v<ConfigTracker>);

TEST_F(ConfigTrackerTest, StartsWithTheGivenEndpointsOutstandingAndNothingElseReached) {
    ConfigTracker const tracker({endpoint("b")}, {endpoint("c")}, true);
    EXPECT_FALSE(tracker.areAllEndpointsFinished());
    EXPECT_FALSE(tracker.areAllServicesFinished());
    EXPECT_FALSE(tracker.areAllServicesUnpublished());
    EXPECT_FALSE(tracker.isFinished());
}

TEST_F(ConfigTrackerTest, StartsWithAllEndpointsFinishedWhenNoneIsGiven) {
    ConfigTracker const tracker({}, {}, true);
    EXPECT_TRUE(tracker.areAllEndpointsFinished());
    EXPECT_FALSE(tracker.isFinished());
}

TEST_F(ConfigTrackerTest, EndpointsAreUnfinishedWhileOneIsToBindOrOneIsToConnect) {
    EXPECT_FALSE(ConfigTracker({endpoint("b")}, {}, true).areAllEndpointsFinished());
    EXPECT_FALSE(ConfigTracker({}, {endpoint("c")}, true).areAllEndpointsFinished());
}

TEST_F(ConfigTrackerTest, BehavesTheSameForAPublisherOfAnotherKind) {
    ConfigTracker tracker({endpoint("b")}, {}, false);
    EXPECT_FALSE(tracker.completeEndpointBind(endpoint("b")));
    EXPECT_TRUE(tracker.completeAllServicesPublished());
}

TEST_F(ConfigTrackerTest, ListsEndpointsToConnectFirstAndEndpointsToBindSecondEachInOrder) {
    ConfigTracker tracker({endpoint("b1"), endpoint("b2")}, {endpoint("c1"), endpoint("c2")}, true);
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect ["c1", "c2"] bind ["b1", "b2"])");
}

TEST_F(ConfigTrackerTest, ListsCopies) {
    ConfigTracker tracker({endpoint("b")}, {endpoint("c")}, true);
    auto copies = tracker.listOutstandingEndpoints();
    copies.first.clear();
    copies.second.clear();
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect ["c"] bind ["b"])");
}

TEST_F(ConfigTrackerTest, BindRemovesEveryEqualEndpointToBindAndKeepsTheOrderOfTheOthers) {
    ConfigTracker tracker({endpoint("z"), endpoint("x"), endpoint("a"), endpoint("x"), endpoint("m")},
                          {endpoint("x")}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(endpoint("x")));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect ["x"] bind ["z", "a", "m"])");
}

TEST_F(ConfigTrackerTest, ConnectRemovesEveryEqualEndpointToConnectAndKeepsTheOrderOfTheOthers) {
    ConfigTracker tracker({endpoint("x")},
                          {endpoint("z"), endpoint("x"), endpoint("a"), endpoint("x"), endpoint("m")}, true);
    EXPECT_FALSE(tracker.completeEndpointConnect(endpoint("x")));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect ["z", "a", "m"] bind ["x"])");
}

TEST_F(ConfigTrackerTest, BindOfAnEndpointThatIsOnlyToConnectReturnsFalseAndChangesNothing) {
    ConfigTracker tracker({endpoint("b")}, {endpoint("c")}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(endpoint("c")));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect ["c"] bind ["b"])");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ConfigTrackerTest, ConnectOfAnEndpointThatIsOnlyToBindReturnsFalseAndChangesNothing) {
    ConfigTracker tracker({endpoint("b")}, {endpoint("c")}, true);
    EXPECT_FALSE(tracker.completeEndpointConnect(endpoint("b")));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect ["c"] bind ["b"])");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ConfigTrackerTest, AnEndpointThatIsAlreadyCompletedIsReportedFalseWithoutAMessage) {
    ConfigTracker tracker({endpoint("b"), endpoint("other")}, {}, true);
    tracker.completeEndpointBind(endpoint("b"));
    auto const logged = log.records();
    EXPECT_FALSE(tracker.completeEndpointBind(endpoint("b")));
    EXPECT_EQ(log.records(), logged);
}

TEST_F(ConfigTrackerTest, TheLastEndpointReturnsFalseWhileServicesAreUnpublishedAndTrueAfterwards) {
    ConfigTracker early({endpoint("b")}, {}, true);
    EXPECT_FALSE(early.completeEndpointBind(endpoint("b")));

    ConfigTracker late({endpoint("b")}, {endpoint("c")}, true);
    late.completeAllServicesPublished();
    EXPECT_FALSE(late.completeEndpointBind(endpoint("b")));
    EXPECT_TRUE(late.completeEndpointConnect(endpoint("c")));
    EXPECT_TRUE(late.isFinished());
}

TEST_F(ConfigTrackerTest, EndpointsOfAnyTypeAreComparedWithTypeAndValue) {
    ConfigTracker tracker({Any(7), endpoint("7")}, {}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(Any(8)));
    EXPECT_FALSE(tracker.completeEndpointBind(Any(7)));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect [] bind ["7"])");
}

TEST_F(ConfigTrackerTest, AStringEndpointIsNotEqualToACharacterPointer) {
    ConfigTracker tracker({endpoint("b")}, {}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(Any(static_cast<char const*>("b"))));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect [] bind ["b"])");
}

TEST_F(ConfigTrackerTest, AnEmptyEndpointCompletesNothingNotEvenAnEmptyOneThatIsListed) {
    ConfigTracker tracker({Any(), endpoint("b")}, {Any()}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(Any()));
    EXPECT_FALSE(tracker.completeEndpointConnect(Any()));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect [<empty>] bind [<empty>, "b"])");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ConfigTrackerTest, AListedEmptyEndpointIsSteppedOverAndStaysOutstanding) {
    ConfigTracker tracker({Any(), endpoint("b"), Any()}, {}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(endpoint("b")));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), "connect [] bind [<empty>, <empty>]");
}

namespace {
// Throws when one is compared with one that is marked.
struct Fragile {
    int value;
    bool marked;
    friend bool operator==(Fragile const& left, Fragile const& right) {
        if (left.marked || right.marked) {
            throw std::runtime_error("cannot be compared");
        }
        return left.value == right.value;
    }
    friend std::ostream& operator<<(std::ostream& stream, Fragile const& fragile) {
        return stream << fragile.value;
    }
};
} // namespace

TEST_F(ConfigTrackerTest, AnEndpointWhoseComparisonThrowsEqualsNothingAndStaysWithTheOthers) {
    ConfigTracker tracker({Any(Fragile{1, false}), Any(Fragile{2, true}), Any(Fragile{3, false})}, {}, true);
    EXPECT_FALSE(tracker.completeEndpointBind(Any(Fragile{2, true})));
    EXPECT_EQ(tracker.listOutstandingEndpoints().second.size(), 3U);
    EXPECT_FALSE(tracker.completeEndpointBind(Any(Fragile{1, false})));
    auto const outstanding = tracker.listOutstandingEndpoints().second;
    ASSERT_EQ(outstanding.size(), 2U);
    EXPECT_EQ(outstanding[0].ToString(), "2");
    EXPECT_EQ(outstanding[1].ToString(), "3");
}

TEST_F(ConfigTrackerTest, PublishedServicesFinishATrackerWithoutEndpointsAtOnce) {
    ConfigTracker tracker({}, {}, true);
    EXPECT_TRUE(tracker.completeAllServicesPublished());
    EXPECT_TRUE(tracker.areAllServicesFinished());
    EXPECT_TRUE(tracker.isFinished());
}

TEST_F(ConfigTrackerTest, PublishedServicesReturnFalseWhileAnEndpointIsOutstanding) {
    ConfigTracker tracker({}, {endpoint("c")}, true);
    EXPECT_FALSE(tracker.completeAllServicesPublished());
    EXPECT_TRUE(tracker.areAllServicesFinished());
    EXPECT_FALSE(tracker.isFinished());
}

TEST_F(ConfigTrackerTest, ASecondReportOfPublishedServicesReturnsFalseOnAnUnfinishedTrackerAndLogsNothing) {
    ConfigTracker tracker({endpoint("b")}, {}, true);
    tracker.completeAllServicesPublished();
    auto const logged = log.records();
    EXPECT_FALSE(tracker.completeAllServicesPublished());
    EXPECT_EQ(log.records(), logged);
}

TEST_F(ConfigTrackerTest, ASecondReportOfPublishedServicesReturnsTrueOnAFinishedTrackerAndLogsNothing) {
    ConfigTracker tracker({}, {}, true);
    tracker.completeAllServicesPublished();
    auto const logged = log.records();
    EXPECT_TRUE(tracker.completeAllServicesPublished());
    EXPECT_EQ(log.records(), logged);
}

TEST_F(ConfigTrackerTest, PublishedServicesAreNotRecordedAfterAnError) {
    ConfigTracker tracker({endpoint("b")}, {}, true);
    tracker.configurationErrored(errorWith("port in use"));
    EXPECT_TRUE(tracker.completeAllServicesPublished());
    EXPECT_FALSE(tracker.areAllServicesFinished());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ConfigTrackerTest, EndpointReportsOnAFinishedTrackerReturnTrueAndLogNothing) {
    ConfigTracker tracker({}, {}, true);
    tracker.completeAllServicesPublished();
    auto const logged = log.records();
    EXPECT_TRUE(tracker.completeEndpointBind(endpoint("late")));
    EXPECT_TRUE(tracker.completeEndpointConnect(endpoint("late")));
    EXPECT_TRUE(tracker.completeEndpointConnect(Any()));
    EXPECT_EQ(log.records(), logged);
}

TEST_F(ConfigTrackerTest, RemovalReturnsTrueTheFirstAndEveryFurtherTimeAndLogsNothing) {
    ConfigTracker tracker({}, {}, true);
    EXPECT_TRUE(tracker.completeConfigurationRemoved());
    EXPECT_TRUE(tracker.completeConfigurationRemoved());
    EXPECT_TRUE(tracker.areAllServicesUnpublished());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ConfigTrackerTest, RemovalIsIndependentOfTheRestOfTheState) {
    ConfigTracker pending({endpoint("b")}, {}, true);
    pending.completeConfigurationRemoved();
    EXPECT_FALSE(pending.isFinished());
    EXPECT_FALSE(pending.areAllServicesFinished());
    EXPECT_EQ(describe(pending.listOutstandingEndpoints()), R"(connect [] bind ["b"])");

    ConfigTracker errored({}, {}, true);
    errored.configurationErrored(errorWith("port in use"));
    EXPECT_TRUE(errored.completeConfigurationRemoved());
    EXPECT_TRUE(errored.areAllServicesUnpublished());

    ConfigTracker finished({}, {}, true);
    finished.completeAllServicesPublished();
    EXPECT_FALSE(finished.areAllServicesUnpublished());
    EXPECT_TRUE(finished.completeConfigurationRemoved());
    EXPECT_TRUE(finished.areAllServicesUnpublished());
}

TEST_F(ConfigTrackerTest, ReportsAfterARemovalStillCount) {
    ConfigTracker tracker({endpoint("b")}, {}, true);
    tracker.completeConfigurationRemoved();
    EXPECT_FALSE(tracker.completeEndpointBind(endpoint("b")));
    EXPECT_TRUE(tracker.completeAllServicesPublished());
}

TEST_F(ConfigTrackerTest, AnErrorFinishesTheTrackerAndChangesNoList) {
    ConfigTracker tracker({endpoint("b")}, {endpoint("c")}, true);
    EXPECT_TRUE(tracker.configurationErrored(errorWith("port in use")));
    EXPECT_TRUE(tracker.isFinished());
    EXPECT_FALSE(tracker.areAllEndpointsFinished());
    EXPECT_TRUE(tracker.completeEndpointBind(endpoint("b")));
    EXPECT_TRUE(tracker.completeEndpointConnect(endpoint("c")));
    EXPECT_EQ(describe(tracker.listOutstandingEndpoints()), R"(connect ["c"] bind ["b"])");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ConfigTrackerTest, TheFirstErrorWins) {
    auto const first = errorWith("first");
    ConfigTracker tracker({}, {}, true);
    tracker.configurationErrored(first);
    EXPECT_TRUE(tracker.configurationErrored(errorWith("second")));
    EXPECT_EQ(thrownBy(tracker, &ConfigTracker::waitForAllServices), first);
}

TEST_F(ConfigTrackerTest, AnErrorAfterAllIsFinishedIsIgnored) {
    ConfigTracker tracker({}, {}, true);
    tracker.completeAllServicesPublished();
    EXPECT_TRUE(tracker.configurationErrored(errorWith("late")));
    EXPECT_TRUE(tracker.waitForAllEndpoints(milliseconds::zero()));
    EXPECT_TRUE(tracker.waitForAllServices(milliseconds::zero()));
}

TEST_F(ConfigTrackerTest, AnErrorAfterTheRemovalOfAnUnfinishedConfigurationIsStored) {
    auto const error = errorWith("late");
    ConfigTracker tracker({endpoint("b")}, {}, true);
    tracker.completeConfigurationRemoved();
    tracker.configurationErrored(error);
    EXPECT_EQ(thrownBy(tracker, &ConfigTracker::waitForAllServicesToBeUnpublished), error);
}

TEST_F(ConfigTrackerTest, ANullErrorIsNoError) {
    ConfigTracker tracker({}, {}, true);
    EXPECT_TRUE(tracker.configurationErrored(nullptr));
    EXPECT_FALSE(tracker.isFinished());
    EXPECT_FALSE(tracker.waitForAllServices(milliseconds::zero()));
}

} // namespace agent::spf::frameworksetup::test
