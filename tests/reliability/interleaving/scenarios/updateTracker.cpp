// The completion callback against everything that registers and unregisters a listener.
#include <memory>

#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"
#include "scenarios.hpp"

namespace interleaving {

namespace {

cppmicroservices::AnyMap configuration(int modificationCount = 1) {
    return test::configurationMap(modificationCount, {test::publisherEntry("p")});
}

// A tracker of one publisher, "p", whose listener is registered.
struct Tracked : RunningHost {
    std::shared_ptr<SPFConfigurationUpdateTracker> tracker =
        SPFConfigurationUpdateTracker::create(configuration());

    void complete() { framework.deliver(allServicesPublished("p")); }
    void remove() { framework.deliver(configurationRemoved("p")); }

    void requireRegistered(std::size_t listeners) const {
        require(framework.listenerCount() == listeners, std::to_string(framework.listenerCount()) +
                                                            " listeners are registered, not " +
                                                            std::to_string(listeners));
        require(framework.registrations - framework.unregistrations == listeners,
                "registrations and unregistrations do not balance");
    }
};

void completionAgainstRegisteringForUnpublishing() {
    Tracked tracked;
    inParallel({[&] { tracked.complete(); },
                [&] {
                    tracked.tracker->registerListenerForUnpublishing();
                    tracked.remove();
                }});
    tracked.requireRegistered(1);
    auto const removed = tracked.tracker->waitForAllServicesToBeUnpublished(noTime, "p");
    require(removed, "the removal event was lost");
    tracked.requireRegistered(0);
}

void completionAgainstDisable() {
    Tracked tracked;
    inParallel({[&] { tracked.complete(); },
                [&] {
                    tracked.tracker->disable();
                    tracked.requireRegistered(0);
                }});
    tracked.requireRegistered(0);
    require(tracked.framework.registrations == 1, "the listener was registered more than once");
}

void completionAgainstUnpublishWait() {
    Tracked tracked;
    auto removed = false;
    tracked.tracker->registerListenerForUnpublishing();
    inParallel({[&] { tracked.complete(); },
                [&] {
                    removed = tracked.tracker->waitForAllServicesToBeUnpublished(longTime, "p");
                    tracked.requireRegistered(0);
                },
                [&] { tracked.remove(); }});
    require(removed, "the removal event was lost");
    tracked.requireRegistered(0);
}

void completionAgainstDestructor() {
    Tracked tracked;
    std::weak_ptr<SPFConfigurationUpdateTracker> const alive = tracked.tracker;
    inParallel({[&] { tracked.complete(); }, [&] { tracked.tracker.reset(); }});
    require(alive.expired(), "the tracker outlives its owner");
    tracked.requireRegistered(0);
}

void destructorWithoutCompletion() {
    Tracked tracked;
    std::weak_ptr<SPFConfigurationUpdateTracker> const alive = tracked.tracker;
    inParallel({[&] { tracked.framework.deliver(test::frameworkEvent(0, "unknown")); },
                [&] { tracked.tracker.reset(); }});
    require(alive.expired(), "the tracker outlives its owner");
    tracked.requireRegistered(0);
}

void completionAgainstEnablingAgain() {
    Tracked tracked;
    inParallel({[&] { tracked.complete(); }, [&] { tracked.tracker->enable(configuration(2)); }});
    tracked.requireRegistered(1);
    auto const early = tracked.tracker->waitForAllServices(noTime, "p");
    require(!early, "an event of the older configuration completed the newer one");
    tracked.framework.deliver(allServicesPublished("p", 2));
    require(tracked.tracker->waitForAllServices(noTime, "p"), "the new listener hears nothing");
    tracked.requireRegistered(0);
}

void enablingAgainAgainstRegisteringForUnpublishing() {
    Tracked tracked;
    inParallel({[&] { tracked.tracker->registerListenerForUnpublishing(); },
                [&] { tracked.tracker->enable(configuration(2)); }});
    tracked.requireRegistered(1);
    tracked.framework.deliver(allServicesPublished("p", 2));
    require(tracked.tracker->waitForAllServices(noTime, "p"), "the new listener hears nothing");
}

void enablingAgainTwiceAtOnce() {
    Tracked tracked;
    inParallel({[&] { tracked.tracker->enable(configuration(2)); },
                [&] { tracked.tracker->enable(configuration(3)); }});
    tracked.requireRegistered(1);
    tracked.framework.deliver(allServicesPublished("p", 2));
    tracked.framework.deliver(allServicesPublished("p", 3));
    require(tracked.tracker->waitForAllServices(noTime, "p"), "the last listener hears nothing");
    tracked.requireRegistered(0);
}

void errorAgainstRegisteringForUnpublishing() {
    Tracked tracked;
    inParallel({[&] { tracked.framework.deliver(errored(errorWith("refused"), "p")); },
                [&] { tracked.tracker->registerListenerForUnpublishing(); }});
    tracked.requireRegistered(1);
    auto const wait = [&] { tracked.tracker->waitForAllServicesToBeUnpublished(longTime, "p"); };
    require(errorOf(wait) == "refused", "the wait did not throw the error");
    tracked.tracker.reset();
    tracked.requireRegistered(0);
}

void disableAgainstRegisteringForUnpublishing() {
    Tracked tracked;
    inParallel(
        {[&] { tracked.tracker->disable(); }, [&] { tracked.tracker->registerListenerForUnpublishing(); }});
    tracked.requireRegistered(tracked.framework.listenerCount());
    require(tracked.framework.listenerCount() <= 1, "the listener is registered twice");
    tracked.tracker.reset();
    tracked.requireRegistered(0);
}

// Other people's service listeners deliver an event while the listener is being registered or unregistered.
void eventsWhileRegisteringAndUnregistering() {
    Tracked tracked;
    auto const report = [](auto const& listener) { listener->handleEvent(allServicesPublished("p")); };
    tracked.framework.onRegistered = report;
    tracked.framework.onUnregistering = report;
    inParallel({[&] { tracked.complete(); }, [&] { tracked.tracker->registerListenerForUnpublishing(); }});
    tracked.requireRegistered(1);
    tracked.tracker->disable();
    tracked.requireRegistered(0);
}

void timeOutAgainstRemoval() {
    Tracked tracked;
    auto removed = false;
    tracked.tracker->registerListenerForUnpublishing();
    inParallel({[&] {
                    removed = tracked.tracker->waitForAllServicesToBeUnpublished(
                        std::chrono::milliseconds(450), "p");
                    tracked.requireRegistered(0);
                },
                [&] { tracked.remove(); }});
    auto const late = tracked.tracker->waitForAllServicesToBeUnpublished(noTime, "p");
    require(!removed || late, "a removal was forgotten");
    tracked.requireRegistered(0);
}

// The unpublish waits of two threads for one publisher; then the tracker goes.
void unpublishWaitsAtOnce() {
    Tracked tracked;
    tracked.tracker->registerListenerForUnpublishing();
    auto removed = 0;
    auto const wait = [&] {
        removed += tracked.tracker->waitForAllServicesToBeUnpublished(longTime, "p") ? 1 : 0;
    };
    inParallel({wait, wait, [&] { tracked.remove(); }});
    require(removed == 2, "an unpublish wait was not woken");
    tracked.requireRegistered(0);
}

// Unregistering from a stopped framework fails; whoever reports an event hears of it, nobody hangs.
void frameworkStopAgainstCompletionAndWait() {
    Tracked tracked;
    inParallel({[&] {
                    // False when the framework stops before the event.
                    static_cast<void>(tracked.tracker->waitForAllServices(longTime, "p"));
                    tracked.tracker.reset();
                },
                [&] {
                    auto const error = errorOf([&] { tracked.complete(); });
                    require(error.empty() || error == "Service is unregistered", error);
                },
                [&] { tracked.framework.stop(); }});
    require(tracked.framework.listenerCount() == 0, "a listener is registered in a stopped framework");
}

} // namespace

std::vector<Scenario> updateTrackerScenarios() {
    return {
        {"completion-against-registering-for-unpublishing", 2, &completionAgainstRegisteringForUnpublishing},
        {"completion-against-disable", 2, &completionAgainstDisable},
        {"completion-against-unpublish-wait", 3, &completionAgainstUnpublishWait},
        {"completion-against-destructor", 2, &completionAgainstDestructor},
        {"destructor-without-completion", 2, &destructorWithoutCompletion},
        {"completion-against-enabling-again", 2, &completionAgainstEnablingAgain},
        {"enabling-again-against-registering-for-unpublishing", 2,
         &enablingAgainAgainstRegisteringForUnpublishing},
        {"enabling-again-twice-at-once", 2, &enablingAgainTwiceAtOnce},
        {"error-against-registering-for-unpublishing", 2, &errorAgainstRegisteringForUnpublishing},
        {"disable-against-registering-for-unpublishing", 2, &disableAgainstRegisteringForUnpublishing},
        {"events-while-registering-and-unregistering", 2, &eventsWhileRegisteringAndUnregistering},
        {"time-out-against-removal", 2, &timeOutAgainstRemoval, true},
        {"unpublish-waits-at-once", 3, &unpublishWaitsAtOnce},
        {"framework-stop-against-completion-and-wait", 3, &frameworkStopAgainstCompletionAndWait},
    };
}

} // namespace interleaving
