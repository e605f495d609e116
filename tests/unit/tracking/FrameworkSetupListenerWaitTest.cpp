// The waits of the listener: which tracker they use, what they log, and what they throw.
#include <array>
#include <deque>
#include <stdexcept>

#include <gmock/gmock.h>

#include "support/ConcurrentCall.hpp"
#include "tracking/ListenerTest.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Wait = bool (FrameworkSetupListener::*)(milliseconds const&, std::string const&);

constexpr std::uint32_t progress = 4;
constexpr std::array<Wait, 3> allWaits = {&FrameworkSetupListener::waitForAllEndpoints,
                                          &FrameworkSetupListener::waitForAllServices,
                                          &FrameworkSetupListener::waitForAllServicesToBeUnpublished};

class FrameworkSetupListenerWaitTest : public ListenerTest {};

// The text of the std::out_of_range that the call throws.
template <typename Call>
std::string outOfRangeText(Call const& call) {
    try {
        call();
    } catch (std::out_of_range const& error) {
        return error.what();
    }
    return "nothing was thrown";
}

} // namespace

TEST_F(FrameworkSetupListenerWaitTest, EachWaitAsksTheTrackerOfThePublisher) {
    auto const listener =
        listenerFor({publisherEntry("p", {endpoint("b")}), publisherEntry("q", {endpoint("b")})});
    listener->handleEvent(bound("b", "p"));
    EXPECT_TRUE(listener->waitForAllEndpoints(now, "p"));
    EXPECT_FALSE(listener->waitForAllEndpoints(now, "q"));
    listener->handleEvent(allServicesPublished("q"));
    EXPECT_FALSE(listener->waitForAllServices(now, "p"));
    EXPECT_TRUE(listener->waitForAllServices(now, "q"));
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_TRUE(listener->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_FALSE(listener->waitForAllServicesToBeUnpublished(now, "q"));
}

TEST_F(FrameworkSetupListenerWaitTest, ResultsAreLoggedAs0WhenNotReached) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    listener->waitForAllEndpoints(now, "p");
    listener->waitForAllServices(now, "p");
    listener->waitForAllServicesToBeUnpublished(now, "p");
    EXPECT_THAT(log.records(),
                ElementsAre(libraryRecord(progress, "waitForAllEndpoints for p result: 0"),
                            libraryRecord(progress, "waitForAllServices for p result: 0"),
                            libraryRecord(progress, "waitForAllServicesToBeUnpublished for p result: 0")));
}

TEST_F(FrameworkSetupListenerWaitTest, ResultsAreLoggedAs1WhenReached) {
    auto const listener = listenerFor({publisherEntry("my publisher", {}, {}, "legacyservicepublisher")});
    listener->handleEvent(allServicesPublished("my publisher"));
    listener->handleEvent(configurationRemoved("my publisher"));
    listener->waitForAllEndpoints(now, "my publisher");
    listener->waitForAllServices(now, "my publisher");
    listener->waitForAllServicesToBeUnpublished(now, "my publisher");
    EXPECT_THAT(
        log.records(),
        ElementsAre(libraryRecord(progress, "ConfigTracker completeAllServicesPublished"),
                    libraryRecord(progress, "waitForAllEndpoints for my publisher result: 1"),
                    libraryRecord(progress, "waitForAllServices for my publisher result: 1"),
                    libraryRecord(progress, "waitForAllServicesToBeUnpublished for my publisher result: 1")));
}

TEST_F(FrameworkSetupListenerWaitTest, AResultIsLoggedAfterTheWait) {
    auto const listener = listenerFor({publisherEntry("p")});
    ConcurrentCall<bool> wait([&] { return listener->waitForAllServices(longTime, "p"); });
    ASSERT_TRUE(wait.blocks());
    EXPECT_THAT(log.records(), IsEmpty());
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_TRUE(wait.get());
    EXPECT_EQ(log.records().back(), libraryRecord(progress, "waitForAllServices for p result: 1"));
}

TEST_F(FrameworkSetupListenerWaitTest, NothingIsLoggedWhenProgressIsNotLogged) {
    fakeHost().setEnabledSeverities(~progress);
    auto const listener = listenerFor({publisherEntry("p")});
    listener->waitForAllEndpoints(now, "p");
    listener->waitForAllServices(now, "p");
    listener->waitForAllServicesToBeUnpublished(now, "p");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(FrameworkSetupListenerWaitTest, AWaitThatThrowsLogsNothingAndThrowsTheReportedObject) {
    auto const error = errorWith("port in use");
    auto const listener = listenerFor({publisherEntry("p")});
    listener->handleEvent(errored(error, "p"));
    for (auto const wait : allWaits) {
        try {
            ((*listener).*wait)(longTime, "p");
            ADD_FAILURE() << "nothing was thrown";
        } catch (...) {
            EXPECT_EQ(std::current_exception(), error);
        }
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(FrameworkSetupListenerWaitTest, AnUnknownPublisherIsOutOfRangeWithAFixedTextAndLogsNothing) {
    auto const listener = listenerFor({publisherEntry("p")});
    for (auto const* const unknown : {"unknown", "P", ""}) {
        for (auto const wait : allWaits) {
            EXPECT_EQ(outOfRangeText([&] { ((*listener).*wait)(longTime, unknown); }),
                      "unordered_map::at: key not found");
        }
        EXPECT_EQ(outOfRangeText([&] { listener->listOutstandingEndpoints(unknown); }),
                  "unordered_map::at: key not found");
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(FrameworkSetupListenerWaitTest, ListingOutstandingEndpointsLogsNothing) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")}, {endpoint("c")})});
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect ["c"] bind ["b"])");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(FrameworkSetupListenerWaitTest, ALoggerThatThrowsDoesNotChangeTheResult) {
    log.setThrowing(true);
    auto const listener = listenerFor({publisherEntry("p")});
    EXPECT_FALSE(listener->waitForAllServices(now, "p"));
    listener->handleEvent(allServicesPublished("p"));
    EXPECT_TRUE(listener->waitForAllServices(now, "p"));
    EXPECT_THAT(callLog().callsOf("log wait"), ElementsAre("log waitForAllServices for p result: 0",
                                                           "log waitForAllServices for p result: 1"));
}

TEST_F(FrameworkSetupListenerWaitTest, ALongTimeoutOfAWaitIsHandedOn) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    std::deque<ConcurrentCall<bool>> waits;
    for (auto const wait : allWaits) {
        waits.emplace_back([&listener, wait] { return ((*listener).*wait)(milliseconds::max(), "p"); });
    }
    for (auto const& wait : waits) {
        EXPECT_TRUE(wait.blocks());
    }
    listener->handleEvent(bound("b", "p"));
    listener->handleEvent(allServicesPublished("p"));
    listener->handleEvent(configurationRemoved("p"));
    for (auto& wait : waits) {
        EXPECT_TRUE(wait.get());
    }
}

TEST_F(FrameworkSetupListenerWaitTest, TheListenerMayBeDroppedAsSoonAsAWaitReturned) {
    for (auto i = 0; i < 200; ++i) {
        auto listener = listenerFor({publisherEntry("p", {endpoint("b")})});
        // The thread holds the listener as a service registry does that has just looked it up.
        ConcurrentCall<void> events([listener]() mutable {
            listener->handleEvent(bound("b", "p"));
            listener->handleEvent(allServicesPublished("p"));
            listener.reset();
        });
        EXPECT_TRUE(listener->waitForAllServices(longTime, "p"));
        listener.reset();
    }
}

TEST_F(FrameworkSetupListenerWaitTest, TheLastReferenceMayBeDroppedByWhomAnEventWakes) {
    for (auto i = 0; i < 200; ++i) {
        auto listener = listenerFor({publisherEntry("p", {endpoint("b")})});
        ConcurrentCall<void> event([raw = listener.get()] { raw->handleEvent(bound("b", "p")); });
        EXPECT_TRUE(listener->waitForAllEndpoints(longTime, "p"));
        listener.reset();
    }
}

} // namespace agent::spf::frameworksetup::test
