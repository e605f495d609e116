// Each completion of a publisher against each wait for it.

#include "agent/spf/frameworksetup/ConfigTracker.hpp"
#include "scenarios.hpp"

namespace interleaving {

namespace {

struct Wait {
    char const* name;
    bool (ConfigTracker::*call)(std::chrono::milliseconds const&);
};

struct Completion {
    char const* name;
    void (*report)(ConfigTracker&);
};

constexpr Wait waits[] = {
    {"endpoints", &ConfigTracker::waitForAllEndpoints},
    {"services", &ConfigTracker::waitForAllServices},
    {"unpublished", &ConfigTracker::waitForAllServicesToBeUnpublished},
};

constexpr Completion completions[] = {
    {"bind", [](ConfigTracker& tracker) { tracker.completeEndpointBind(endpoint("b")); }},
    {"connect", [](ConfigTracker& tracker) { tracker.completeEndpointConnect(endpoint("c")); }},
    {"services", [](ConfigTracker& tracker) { tracker.completeAllServicesPublished(); }},
    {"removal", [](ConfigTracker& tracker) { tracker.completeConfigurationRemoved(); }},
};

class Tracker : public ConfigTracker {
public:
    Tracker()
        : ConfigTracker({endpoint("b")}, {endpoint("c")}, true) {}
};

// The one completion comes first, then all the others: the wait returns true when its own has come.
Scenario completionAgainstWait(Completion const& first, Wait const& wait) {
    return {std::string(first.name) + "-against-wait-for-" + wait.name, 2, [first, wait] {
                Tracker tracker;
                auto const before = Scheduler::instance().now();
                auto result = false;
                inParallel({[&] { result = (tracker.*wait.call)(longTime); },
                            [&] {
                                first.report(tracker);
                                for (auto const& completion : completions) {
                                    completion.report(tracker);
                                }
                            }});
                require(result, "the wait was not woken");
                require(Scheduler::instance().now() == before, "the wait outlasted the completion");
                require(tracker.isFinished(), "the publisher is not finished");
            }};
}

Scenario errorAgainstWait(Wait const& wait) {
    return {std::string("error-against-wait-for-") + wait.name, 2, [wait] {
                Tracker tracker;
                std::string thrown;
                inParallel({[&] { thrown = errorOf([&] { (tracker.*wait.call)(longTime); }); },
                            [&] { tracker.configurationErrored(errorWith("refused")); }});
                require(thrown == "refused", "the wait did not throw the error");
            }};
}

// Whoever is first, the publisher stays as it then was: finished for good, or failed for good.
void errorAgainstCompletion() {
    Tracker tracker;
    tracker.completeEndpointBind(endpoint("b"));
    tracker.completeEndpointConnect(endpoint("c"));
    auto reached = false;
    std::string thrown;
    auto const wait = [&] { reached = tracker.waitForAllServices(longTime); };
    inParallel({[&] { tracker.completeAllServicesPublished(); },
                [&] { tracker.configurationErrored(errorWith("refused")); },
                [&] { thrown = errorOf(wait); }});
    require(reached != (thrown == "refused"), "the wait neither returned true nor threw the error");
    auto const later = errorOf([&] { tracker.waitForAllServices(noTime); });
    require(later == thrown, "a later wait says something else");
}

void firstErrorWins() {
    Tracker tracker;
    std::string thrown;
    auto const wait = [&] { tracker.waitForAllEndpoints(longTime); };
    inParallel({[&] { tracker.configurationErrored(errorWith("one")); },
                [&] { tracker.configurationErrored(errorWith("two")); }, [&] { thrown = errorOf(wait); }});
    require(thrown == "one" || thrown == "two", "the wait did not throw an error");
    require(errorOf(wait) == thrown, "the error was replaced");
}

// Of two reports of the last endpoint, both say that the publisher is finished.
void lastEndpointReportedTwice() {
    Tracker tracker;
    tracker.completeAllServicesPublished();
    tracker.completeEndpointConnect(endpoint("c"));
    auto finished = 0;
    auto const report = [&] { finished += tracker.completeEndpointBind(endpoint("b")) ? 1 : 0; };
    inParallel({report, report});
    require(finished == 2, "a report of the last endpoint did not say that the publisher is finished");
}

// The last two parts of a publisher come at once: exactly one of the reports finds it finished.
void lastPartsReportedAtOnce() {
    Tracker tracker;
    tracker.completeEndpointConnect(endpoint("c"));
    auto finished = 0;
    inParallel({[&] { finished += tracker.completeEndpointBind(endpoint("b")) ? 1 : 0; },
                [&] { finished += tracker.completeAllServicesPublished() ? 1 : 0; }});
    require(finished == 1, std::to_string(finished) + " of two reports found the publisher finished");
}

// A wait that ends in time says whether the state was reached, to the moment.
void timeOutAgainstCompletion() {
    Tracker tracker;
    constexpr std::chrono::milliseconds timeout(450);
    auto const before = Scheduler::instance().now();
    auto result = false;
    Nanoseconds returned = 0;
    inParallel({[&] {
                    result = tracker.waitForAllServices(timeout);
                    returned = Scheduler::instance().now();
                },
                [&] { tracker.completeAllServicesPublished(); }});
    require(result || returned - before == std::chrono::nanoseconds(timeout).count(),
            "the wait returned false before its time-out");
    require(tracker.waitForAllServices(noTime), "the completion was lost");
}

void severalWaitersAreAllWoken() {
    Tracker tracker;
    auto reached = 0;
    auto const wait = [&] { reached += tracker.waitForAllServices(longTime) ? 1 : 0; };
    inParallel({wait, wait, wait, [&] { tracker.completeAllServicesPublished(); }});
    require(reached == 3, "a waiter was not woken");
}

void listAgainstCompletions() {
    Tracker tracker;
    inParallel({[&] {
                    auto const outstanding = tracker.listOutstandingEndpoints();
                    require(outstanding.first.size() <= outstanding.second.size(),
                            "the list shows the later report without the earlier one");
                },
                [&] {
                    tracker.completeEndpointConnect(endpoint("c"));
                    tracker.completeEndpointBind(endpoint("b"));
                }});
}

} // namespace

std::vector<Scenario> configTrackerScenarios() {
    std::vector<Scenario> scenarios;
    for (auto const& wait : waits) {
        for (auto const& completion : completions) {
            scenarios.push_back(completionAgainstWait(completion, wait));
        }
        scenarios.push_back(errorAgainstWait(wait));
    }
    scenarios.push_back({"error-against-completion", 3, &errorAgainstCompletion});
    scenarios.push_back({"first-error-wins", 3, &firstErrorWins});
    scenarios.push_back({"last-endpoint-reported-twice", 2, &lastEndpointReportedTwice});
    scenarios.push_back({"last-parts-reported-at-once", 2, &lastPartsReportedAtOnce});
    scenarios.push_back({"time-out-against-completion", 2, &timeOutAgainstCompletion, true});
    scenarios.push_back({"several-waiters-are-all-woken", 4, &severalWaitersAreAllWoken});
    scenarios.push_back({"list-against-completions", 2, &listAgainstCompletions});
    return scenarios;
}

} // namespace interleaving
