// Registering and unregistering run other people's service listeners, on the calling thread and on threads
// for which they wait. What such foreign code does to the update tracker must neither block nor break
// anything.
#include <gmock/gmock.h>

#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "support/PrivateMember.hpp"
#include "tracking/UpdateTrackerTest.hpp"

namespace agent::spf::frameworksetup::test {

// The completion callback of a listener: to run it is to be a completion that is past the listener's check.
struct CallbackOfListener {
    using Type = std::function<void()> FrameworkSetupListener::*;
    friend Type memberOf(CallbackOfListener);
};
template struct PrivateMember<CallbackOfListener, &FrameworkSetupListener::callback>;

namespace {

using ::testing::ElementsAre;

class SPFConfigurationUpdateTrackerReentranceTest : public UpdateTrackerTest {
protected:
    // From now on every publisher is reported complete at the n-th such event, from inside the call that is
    // registering or unregistering.
    void completeOnNth(std::size_t n, char const* event) {
        callLog().whenNth(n, event, [this] { complete(registeredListener()); });
    }

    // The same, by another thread for which the call waits.
    void completeOnAnotherThreadOnNth(std::size_t n, char const* event, Listener listener = nullptr) {
        callLog().whenNth(n, event, [this, listener] {
            auto const completed = listener ? listener : registeredListener();
            elsewhere_ = std::make_unique<ConcurrentCall<void>>([completed] { complete(completed); });
            finishedInTime = elsewhere_->returns();
        });
    }

    bool finishedInTime = false;

private:
    std::unique_ptr<ConcurrentCall<void>> elsewhere_;
};

std::function<void()>& callbackOf(std::shared_ptr<frameworklistener::FrameworkListener> const& listener) {
    return dynamic_cast<FrameworkSetupListener&>(*listener).*memberOf(CallbackOfListener());
}

} // namespace

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, CompletionFromInsideRegisteringEndsUnregistered) {
    completeOnNth(1, registered);
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
    EXPECT_TRUE(tracker->waitForAllServices(now, "p"));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       CompletionByAThreadForWhichRegisteringWaitsEndsUnregistered) {
    completeOnAnotherThreadOnNth(1, registered);
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    EXPECT_TRUE(finishedInTime);
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, CompletionFromInsideUnregisteringEndsUnregistered) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    callLog().whenNth(1, unregistering, [&] { complete(listener); });
    tracker->disable();
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       CompletionFromInsideTheUnregisteringOfACompletionEndsUnregistered) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    callLog().whenNth(1, unregistering, [&] { complete(listener); });
    complete(listener);
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       CompletionByAThreadForWhichUnregisteringWaitsEndsUnregistered) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    completeOnAnotherThreadOnNth(1, unregistering, registeredListener());
    tracker->disable();
    EXPECT_TRUE(finishedInTime);
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, CompletionInsideTheDestructorsUnregisteringIsHarmless) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    completeOnAnotherThreadOnNth(1, unregistering, registeredListener());
    tracker.reset();
    EXPECT_TRUE(finishedInTime);
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       RegisteringForUnpublishingIsNotUndoneByACompletionInsideIt) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    complete(registeredListener());
    completeOnAnotherThreadOnNth(1, registered);
    tracker->registerListenerForUnpublishing();
    EXPECT_TRUE(finishedInTime);
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       ACompletionThatIsPastTheListenersCheckDoesNotUndoRegisteringForUnpublishing) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const pastTheCheck = callbackOf(registeredListener());
    tracker->registerListenerForUnpublishing();
    pastTheCheck();
    EXPECT_THAT(registrations(), ElementsAre(registered));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       ACompletionThatIsPastTheListenersCheckDoesNotUndoRegisteringAgain) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    complete(listener);
    tracker->registerListenerForUnpublishing();
    callbackOf(listener)();
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       AfterRegisteringForUnpublishingTheListenerRunsItsCallbackNoMore) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    auto runs = 0;
    callbackOf(listener) = [&runs] { ++runs; };
    tracker->registerListenerForUnpublishing();
    complete(listener);
    EXPECT_EQ(runs, 0);
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       RegisteringForUnpublishingWaitsForACompletionThatIsUnregistering) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    Gate finishUnregistering;
    callLog().whenNth(1, unregistering, [&] { finishUnregistering.wait(); });
    ConcurrentCall<void> completion([&] { complete(listener); });
    ASSERT_TRUE(callLog().waitFor(unregistering));
    ConcurrentCall<void> unpublishing([&] { tracker->registerListenerForUnpublishing(); });
    EXPECT_TRUE(unpublishing.blocks());
    finishUnregistering.open();
    ASSERT_TRUE(unpublishing.returns());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, DisableWaitsForAnUnregisteringUnderWay) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto const listener = registeredListener();
    Gate finishUnregistering;
    callLog().whenNth(1, unregistering, [&] { finishUnregistering.wait(); });
    ConcurrentCall<void> completion([&] { complete(listener); });
    ASSERT_TRUE(callLog().waitFor(unregistering));
    ConcurrentCall<void> disabling([&] { tracker->disable(); });
    EXPECT_TRUE(disabling.blocks());
    finishUnregistering.open();
    ASSERT_TRUE(disabling.returns());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       RegisteringForUnpublishingFromInsideUnregisteringEndsRegistered) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    callLog().whenNth(1, unregistering, [&] { tracker->registerListenerForUnpublishing(); });
    complete(registeredListener());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, DisableFromInsideRegisteringEndsUnregistered) {
    auto const tracker = std::make_shared<SPFConfigurationUpdateTracker>();
    callLog().whenNth(1, registered, [&] { tracker->disable(); });
    tracker->enable(configuration());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, DisableFromInsideTheHostsGetFrameworkEndsUnregistered) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration());
    tracker->disable();
    callLog().whenNth(1, "getFramework", [&] { tracker->disable(); });
    tracker->enable(configuration());
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, NoLockIsHeldWhileTheFrameworkRegistersAndUnregisters) {
    auto const tracker = std::make_shared<SPFConfigurationUpdateTracker>();
    std::vector<bool> answeredInTime;
    std::vector<std::unique_ptr<ConcurrentCall<bool>>> questions;
    auto const ask = [&] {
        questions.push_back(std::make_unique<ConcurrentCall<bool>>([&] {
            tracker->listOutstandingEndpoints("p");
            return tracker->waitForAllServices(now, "p");
        }));
        answeredInTime.push_back(questions.back()->returns());
    };
    callLog().when("getFramework", ask);
    callLog().when(registered, ask);
    callLog().when(unregistering, ask);
    tracker->enable(configuration());
    tracker->disable();
    EXPECT_THAT(answeredInTime, ElementsAre(true, true, true));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       TheLastReferenceMayBeDroppedFromInsideTheUnregisteringOfACompletion) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    callLog().whenNth(1, unregistering, [&] { tracker.reset(); });
    complete(registeredListener());
    EXPECT_TRUE(observer.expired());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, TheLastReferenceMayBeDroppedFromInsideDisable) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto aliveMeanwhile = false;
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    callLog().whenNth(1, unregistering, [&] {
        tracker.reset();
        aliveMeanwhile = !observer.expired();
    });
    tracker->disable();
    EXPECT_TRUE(aliveMeanwhile);
    EXPECT_TRUE(observer.expired());
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, TheLastReferenceMayBeDroppedFromInsideRegistering) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    auto aliveMeanwhile = false;
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    complete(registeredListener());
    callLog().whenNth(1, registered, [&] {
        tracker.reset();
        aliveMeanwhile = !observer.expired();
    });
    tracker->registerListenerForUnpublishing();
    EXPECT_TRUE(aliveMeanwhile);
    EXPECT_TRUE(observer.expired());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, TheLastReferenceMayBeDroppedDuringAnUnpublishWait) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    ConcurrentCall<bool> wait(
        [&tracked = *tracker] { return tracked.waitForAllServicesToBeUnpublished(longTime, "p"); });
    ASSERT_TRUE(wait.blocks());
    auto const listener = registeredListener();
    tracker.reset();
    EXPECT_FALSE(observer.expired());
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_TRUE(wait.get());
    EXPECT_TRUE(observer.expired());
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, TheLastReferenceMayBeDroppedFromInsideEnable) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration(1));
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    callLog().whenNth(1, unregistering, [&] { tracker.reset(); });
    tracker->enable(configuration(2));
    EXPECT_TRUE(observer.expired());
    EXPECT_THAT(registrations(), ElementsAre(registered, unregistering, registered, unregistering));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, ACallThatWaitsForAnUnregisteringKeepsItsTrackerAlive) {
    auto tracker = SPFConfigurationUpdateTracker::create(configuration());
    std::weak_ptr<SPFConfigurationUpdateTracker> const observer = tracker;
    auto const listener = registeredListener();
    Gate finishUnregistering;
    callLog().whenNth(1, unregistering, [&] { finishUnregistering.wait(); });
    ConcurrentCall<void> completion([&] { complete(listener); });
    ASSERT_TRUE(callLog().waitFor(unregistering));
    auto const referencesOfOthers = tracker.use_count();
    ConcurrentCall<void> disabling([&tracked = *tracker] { tracked.disable(); });
    ASSERT_TRUE(disabling.blocks());
    EXPECT_EQ(tracker.use_count(), referencesOfOthers + 1);
    tracker.reset();
    finishUnregistering.open();
    ASSERT_TRUE(completion.returns());
    ASSERT_TRUE(disabling.returns());
    EXPECT_TRUE(observer.expired());
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       RegisteringForUnpublishingFromInsideEnableEndsWithTheNewListenerRegistered) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration(1));
    auto const first = registeredListener();
    callLog().whenNth(1, unregistering, [&] { tracker->registerListenerForUnpublishing(); });
    tracker->enable(configuration(2));
    EXPECT_EQ(registeredListeners(), 1U);
    EXPECT_NE(registeredListener(), first);
    registeredListener()->handleEvent(allServicesPublished("p", 2));
    EXPECT_TRUE(tracker->waitForAllServices(now, "p"));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest,
       EnableFromInsideRegisteringEndsWithTheNewListenerRegistered) {
    auto const tracker = std::make_shared<SPFConfigurationUpdateTracker>();
    callLog().whenNth(1, registered, [&] { tracker->enable(configuration(2)); });
    tracker->enable(configuration(1));
    EXPECT_EQ(registeredListeners(), 1U);
    registeredListener()->handleEvent(allServicesPublished("p", 2));
    EXPECT_TRUE(tracker->waitForAllServices(now, "p"));
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, EnableReleasesTheListenerThatItReplaces) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration(1));
    std::weak_ptr<frameworklistener::FrameworkListener> const first = registeredListener();
    tracker->enable(configuration(2));
    EXPECT_TRUE(first.expired());
}

TEST_F(SPFConfigurationUpdateTrackerReentranceTest, AWaitOutlivesItsTrackersReplacementOfTheListener) {
    auto const tracker = SPFConfigurationUpdateTracker::create(configuration(1));
    auto const first = registeredListener();
    ConcurrentCall<bool> wait([&] { return tracker->waitForAllServices(longTime, "p"); });
    ASSERT_TRUE(wait.blocks());
    tracker->enable(configuration(2));
    complete(first);
    EXPECT_TRUE(wait.get());
    EXPECT_FALSE(tracker->waitForAllServices(now, "p"));
}

} // namespace agent::spf::frameworksetup::test
