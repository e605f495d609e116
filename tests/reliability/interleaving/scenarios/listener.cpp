// Events on several threads at one listener.
#include <memory>

#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "scenarios.hpp"

namespace interleaving {

namespace {

std::shared_ptr<FrameworkSetupListener> makeListener(std::function<void()> callback,
                                                     std::vector<std::string> const& publishers) {
    std::vector<cppmicroservices::AnyMap> entries;
    for (auto const& publisher : publishers) {
        entries.push_back(test::publisherEntry(publisher));
    }
    return std::make_shared<FrameworkSetupListener>(std::move(callback), test::configurationMap(1, entries));
}

void lastPublishersCompleteAtOnce() {
    auto calls = 0;
    auto const listener = makeListener([&] { ++calls; }, {"p", "q", "r"});
    auto const complete = [&](char const* publisher) {
        return [&, publisher] { listener->handleEvent(allServicesPublished(publisher)); };
    };
    inParallel({complete("p"), complete("q"), complete("r")});
    require(calls == 1, "the callback ran " + std::to_string(calls) + " times, not once");
}

void twoPublishersCompleteAtOnce() {
    auto calls = 0;
    auto const listener = makeListener([&] { ++calls; }, {"p", "q"});
    inParallel({[&] { listener->handleEvent(allServicesPublished("p")); },
                [&] { listener->handleEvent(errored(errorWith("refused"), "q")); }});
    require(calls == 1, "the callback ran " + std::to_string(calls) + " times, not once");
}

// The callback runs at the completion and at each later report, not more and not less.
void everyReportAfterCompletionCallsBack() {
    auto calls = 0;
    auto const listener = makeListener([&] { ++calls; }, {"p"});
    auto const report = [&] { listener->handleEvent(allServicesPublished("p")); };
    inParallel({report, report, report});
    require(calls == 3, "the callback ran " + std::to_string(calls) + " times, not three");
}

void disableAgainstCompletion() {
    auto calls = 0;
    auto const listener = makeListener([&] { ++calls; }, {"p"});
    inParallel({[&] { listener->handleEvent(allServicesPublished("p")); },
                [&] { listener->disableUnregistering(); }});
    require(calls <= 1, "the callback ran more than once");
    auto const before = calls;
    listener->handleEvent(configurationRemoved("p"));
    require(calls == before, "the callback ran although unregistering is disabled");
}

// The callback may drop the listener that calls it, while a client drops it because its wait has returned.
void droppedInItsCallbackAndByItsClient() {
    std::shared_ptr<FrameworkSetupListener> registered;
    registered = makeListener([&] { registered.reset(); }, {"p"});
    auto client = registered;
    inParallel({[&] {
                    auto* const raw = registered.get();
                    raw->handleEvent(allServicesPublished("p"));
                },
                [&] {
                    require(client->waitForAllServices(longTime, "p"), "the wait was not woken");
                    client.reset();
                }});
}

// The callback runs with no lock held: it may report to the listener.
void callbackReportsToItsListener() {
    auto calls = 0;
    std::weak_ptr<FrameworkSetupListener> weak;
    auto const listener = makeListener(
        [&] {
            require(Scheduler::instance().locksHeld() == 0, "the callback runs with a lock held");
            if (++calls == 1) {
                weak.lock()->handleEvent(configurationRemoved("p"));
            }
        },
        {"p"});
    weak = listener;
    inParallel({[&] { listener->handleEvent(allServicesPublished("p")); },
                [&] {
                    auto const removed = listener->waitForAllServicesToBeUnpublished(longTime, "p");
                    require(removed, "the wait was not woken");
                }});
    require(calls == 2, "the callback ran " + std::to_string(calls) + " times, not twice");
}

} // namespace

std::vector<Scenario> listenerScenarios() {
    return {
        {"two-publishers-complete-at-once", 2, &twoPublishersCompleteAtOnce},
        {"last-publishers-complete-at-once", 3, &lastPublishersCompleteAtOnce},
        {"every-report-after-completion-calls-back", 3, &everyReportAfterCompletionCallsBack},
        {"disable-unregistering-against-completion", 2, &disableAgainstCompletion},
        {"listener-dropped-in-its-callback-and-by-its-client", 2, &droppedInItsCallbackAndByItsClient},
        {"callback-reports-to-its-listener", 2, &callbackReportsToItsListener},
    };
}

} // namespace interleaving
