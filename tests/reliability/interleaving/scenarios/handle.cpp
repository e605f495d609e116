// A client's handle against the framework's events.
#include <thread>

#include "scenarios.hpp"

namespace interleaving {

namespace {

// A framework that reports a removal on a thread of its own, which join() waits for.
struct RemovingHost : RunningHost {
    RemovingHost() {
        framework.onRemove = [this](std::string const&) {
            removing.emplace_back([this] { framework.deliver(configurationRemoved("p")); });
        };
    }
    ~RemovingHost() { join(); }
    void join() {
        for (auto& thread : removing) {
            thread.join();
        }
        removing.clear();
    }
    std::vector<std::thread> removing;
};

void resetAgainstEvents() {
    RunningHost running;
    auto handle = build("id");
    inParallel({[&] { handle.reset(); },
                [&] {
                    running.framework.deliver(allServicesPublished("p"));
                    running.framework.deliver(configurationRemoved("p"));
                }});
    require(running.framework.removals == 1, "the configuration was not withdrawn exactly once");
    require(running.framework.listenerCount() == 0, "a listener is left");
}

void droppedAsSoonAsAWaitReturned() {
    RunningHost running;
    auto handle = build("id");
    inParallel({[&] {
                    require(handle.waitForAllServices(longTime, "p"), "the wait was not woken");
                    handle.reset();
                },
                [&] { running.framework.deliver(allServicesPublished("p")); }});
    require(running.framework.removals == 1, "the configuration was not withdrawn exactly once");
    require(running.framework.listenerCount() == 0, "a listener is left");
}

void unpublishWaitAgainstCompletion() {
    RemovingHost running;
    auto handle = build("id");
    auto removed = false;
    inParallel({[&] {
                    removed = handle.waitForAllServicesToBeUnpublished(longTime, "p");
                    handle.reset();
                },
                [&] { running.framework.deliver(allServicesPublished("p")); }});
    running.join();
    require(removed, "the removal event was lost");
    require(running.framework.removals == 1, "the configuration was not withdrawn exactly once");
    require(running.framework.listenerCount() == 0, "a listener is left");
}

void twoBuildsWithOneID() {
    RunningHost running;
    SPFConfiguration first;
    SPFConfiguration second;
    inParallel({[&] { first = build("id"); }, [&] { second = build("id"); }});
    require(running.framework.updates == 2, "a build was not published");
    require(running.host.directoriesAsked == directoriesOfAnInstallation,
            "the bundles were not installed once");
    require(running.framework.listenerCount() == 2, "a build has no listener");
    running.framework.deliver(allServicesPublished("p"));
    require(first.waitForAllServices(noTime, "p") && second.waitForAllServices(noTime, "p"),
            "a handle did not hear of the event");
    first.reset();
    second.reset();
    require(running.framework.removals == 2, "a handle did not withdraw its configuration");
}

void modifyAgainstEventsOfTheOlderVersion() {
    RunningHost running;
    auto handle = build("id");
    inParallel({[&] { handle = handle.modify().build(); },
                [&] { running.framework.deliver(allServicesPublished("p", 1)); }});
    require(!handle.waitForAllServices(noTime, "p"), "an event of the older version completed the newer one");
    running.framework.deliver(allServicesPublished("p", 2));
    require(handle.waitForAllServices(noTime, "p"), "the newer version hears nothing");
    require(running.framework.updates == 2, "the newer version was not published once");
    require(running.framework.removals == 0, "the configuration was withdrawn by modifying it");
}

void frameworkStopAgainstWait() {
    RunningHost running;
    auto handle = build("id");
    constexpr std::chrono::milliseconds timeout(450);
    auto const before = Scheduler::instance().now();
    inParallel({[&] {
                    auto const reached = handle.waitForAllServices(timeout, "p");
                    auto const took = Scheduler::instance().now() - before;
                    require(!reached && took == std::chrono::nanoseconds(timeout).count(),
                            "the wait did not end with its time-out");
                    handle.reset();
                },
                [&] {
                    running.framework.stop();
                    running.host.framework = nullptr;
                }});
    require(running.framework.removals == 0, "something was withdrawn from a stopped framework");
}

void frameworkStopAgainstUnpublishWait() {
    RemovingHost running;
    auto handle = build("id");
    auto removed = false;
    inParallel({[&] {
                    try {
                        removed = handle.waitForAllServicesToBeUnpublished(std::chrono::seconds(1), "p");
                    } catch (std::exception const&) {
                        // The framework could not register or unregister the listener.
                    }
                    handle.reset();
                },
                [&] { running.framework.stop(); }});
    running.join();
    require(!removed || running.framework.removals == 1, "a removal was reported that nobody asked for");
}

// A configuration that is withdrawn and built again under its ID hears of the new events only.
void buildAgainAgainstRemovalEvents() {
    RemovingHost running;
    auto handle = build("id");
    inParallel({[&] {
                    handle.reset();
                    handle = build("id");
                },
                [&] { running.framework.deliver(configurationRemoved("p", 0)); }});
    running.join();
    require(running.framework.updates == 2 && running.framework.removals == 1, "a call was lost or repeated");
    require(!handle.waitForAllServices(noTime, "p"), "services count as published that never were");
}

} // namespace

std::vector<Scenario> handleScenarios() {
    return {
        {"reset-against-events", 2, &resetAgainstEvents},
        {"handle-dropped-as-soon-as-a-wait-returned", 2, &droppedAsSoonAsAWaitReturned},
        {"unpublish-wait-against-completion", 3, &unpublishWaitAgainstCompletion},
        {"two-builds-with-one-id", 2, &twoBuildsWithOneID},
        {"modify-against-events-of-the-older-version", 2, &modifyAgainstEventsOfTheOlderVersion},
        {"framework-stop-against-wait", 2, &frameworkStopAgainstWait},
        {"framework-stop-against-unpublish-wait", 3, &frameworkStopAgainstUnpublishWait},
        {"build-again-against-removal-events", 3, &buildAgainAgainstRemovalEvents},
    };
}

} // namespace interleaving
