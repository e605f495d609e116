// Update trackers under threads that race. Every run ends in the state that the rules promise, whoever came
// first; under ThreadSanitizer nothing is read or destroyed without order.
#include <deque>

#include "tracking/UpdateTrackerTest.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

constexpr auto rounds = 100;

class SPFConfigurationUpdateTrackerRaceTest : public UpdateTrackerTest {};

} // namespace

TEST_F(SPFConfigurationUpdateTrackerRaceTest, ATrackerMayBeDestroyedAsSoonAsAWaitReturned) {
    for (auto round = 0; round < rounds; ++round) {
        auto tracker = SPFConfigurationUpdateTracker::create(configuration());
        ConcurrentCall<void> event([listener = registeredListener()]() mutable {
            complete(listener);
            listener.reset();
        });
        EXPECT_TRUE(tracker->waitForAllServices(longTime, "p"));
        tracker.reset();
        ASSERT_TRUE(event.returns());
        EXPECT_EQ(registeredListeners(), 0U);
    }
}

TEST_F(SPFConfigurationUpdateTrackerRaceTest, ATrackerMayBeDestroyedWhileACompletionIsPending) {
    for (auto round = 0; round < rounds; ++round) {
        auto tracker = SPFConfigurationUpdateTracker::create(configuration());
        ConcurrentCall<void> event([listener = registeredListener()] { complete(listener); });
        tracker.reset();
        ASSERT_TRUE(event.returns());
        EXPECT_EQ(registeredListeners(), 0U);
    }
}

TEST_F(SPFConfigurationUpdateTrackerRaceTest, ATrackerMayBeDestroyedAsSoonAsItsServicesAreUnpublished) {
    for (auto round = 0; round < rounds; ++round) {
        auto tracker = SPFConfigurationUpdateTracker::create(configuration());
        auto const listener = registeredListener();
        ConcurrentCall<void> completion([listener] { complete(listener); });
        tracker->registerListenerForUnpublishing();
        ConcurrentCall<void> removal([listener] { listener->handleEvent(configurationRemoved("p")); });
        EXPECT_TRUE(tracker->waitForAllServicesToBeUnpublished(longTime, "p"));
        EXPECT_EQ(registeredListeners(), 0U);
        tracker.reset();
        ASSERT_TRUE(completion.returns());
        ASSERT_TRUE(removal.returns());
    }
}

TEST_F(SPFConfigurationUpdateTrackerRaceTest,
       RegisteringForUnpublishingAgainstACompletionEndsRegisteredOnce) {
    for (auto round = 0; round < rounds; ++round) {
        auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
        ConcurrentCall<void> event([listener = registeredListener()] { complete(listener); });
        tracker->registerListenerForUnpublishing();
        ASSERT_TRUE(event.returns());
        EXPECT_EQ(registeredListeners(), 1U);
    }
}

TEST_F(SPFConfigurationUpdateTrackerRaceTest, DisableAgainstCompletionsUnregistersOnce) {
    for (auto round = 0; round < rounds; ++round) {
        callLog().forgetCalls();
        auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
        auto const listener = registeredListener();
        ConcurrentCall<void> first([listener] { complete(listener); });
        ConcurrentCall<void> second([listener] { complete(listener); });
        tracker->disable();
        ASSERT_TRUE(first.returns());
        ASSERT_TRUE(second.returns());
        EXPECT_EQ(registrations(), (std::vector<std::string>{registered, unregistering}));
    }
}

TEST_F(SPFConfigurationUpdateTrackerRaceTest, ALateCompletionOfAReplacedListenerLeavesTheNewOneRegistered) {
    for (auto round = 0; round < rounds; ++round) {
        auto const tracker = SPFConfigurationUpdateTracker::create(configuration(1));
        ConcurrentCall<void> event([listener = registeredListener()] { complete(listener); });
        tracker->enable(configuration(2));
        ASSERT_TRUE(event.returns());
        EXPECT_EQ(registeredListeners(), 1U);
    }
}

TEST_F(SPFConfigurationUpdateTrackerRaceTest, ManyEventsAgainstManyWaitsReachEveryWaiter) {
    constexpr auto publishers = 16;
    constexpr auto eventThreads = 4;
    std::vector<cppmicroservices::AnyMap> entries;
    for (auto i = 0; i < publishers; ++i) {
        entries.push_back(publisherEntry(std::to_string(i), {endpoint("b")}, {endpoint("c")}));
    }
    auto const tracker = SPFConfigurationUpdateTracker::create(configurationMap(1, entries));
    auto const listener = registeredListener();
    std::deque<ConcurrentCall<bool>> waits;
    for (auto i = 0; i < publishers; ++i) {
        waits.emplace_back([&, id = std::to_string(i)] {
            return tracker->waitForAllEndpoints(longTime, id) && tracker->waitForAllServices(longTime, id);
        });
    }
    std::deque<ConcurrentCall<void>> events;
    for (auto thread = 0; thread < eventThreads; ++thread) {
        // Every thread reports everything, in its own order: events repeat and overtake each other.
        events.emplace_back([&, thread] {
            for (auto i = 0; i < publishers; ++i) {
                auto const id = std::to_string((i * 7 + thread * 5) % publishers);
                listener->handleEvent(connected("c", id));
                listener->handleEvent(allServicesPublished(id));
                listener->handleEvent(bound("b", id));
            }
        });
    }
    for (auto& wait : waits) {
        EXPECT_TRUE(wait.get());
    }
    for (auto& event : events) {
        ASSERT_TRUE(event.returns());
    }
    EXPECT_EQ(registeredListeners(), 0U);
}

} // namespace agent::spf::frameworksetup::test
