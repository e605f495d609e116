// Events, waits, the handle's questions, and the update tracker's registrations.
#include <array>
#include <chrono>
#include <stdexcept>

#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"
#include "faults/CallFault.hpp"
#include "faults/Scenario.hpp"
#include "tracking/configurationMap.hpp"
#include "tracking/frameworkEvents.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

constexpr std::chrono::milliseconds atOnce{0};

// A wait's outcome as a text.
template <typename Wait>
std::string outcomeOf(Wait const& wait) {
    try {
        return wait() ? "true" : "false";
    } catch (std::runtime_error const& error) {
        return error.what();
    }
}

// Events through the registered listener. Whatever fails, logging above all, every event counts: those who
// wait see it.
class HandlingEvents : public Scenario {
public:
    void act() override {
        std::exception_ptr first;
        for (auto const& event : events) {
            try {
                listener->handleEvent(event);
            } catch (...) {
                first = first ? first : std::current_exception();
            }
        }
        if (first) {
            std::rethrow_exception(first);
        }
    }

    void check(std::exception_ptr const& failure) override {
        EXPECT_TRUE(failure || completions == 2) << "completed by the last event of p, and by the removal";
        auto const wait = [&](auto operation, char const* publisher) {
            return outcomeOf([&] { return (listener.get()->*operation)(atOnce, publisher); });
        };
        EXPECT_EQ(wait(&FrameworkSetupListener::waitForAllEndpoints, "p"), "true");
        EXPECT_EQ(wait(&FrameworkSetupListener::waitForAllServices, "p"), "true");
        EXPECT_EQ(wait(&FrameworkSetupListener::waitForAllServicesToBeUnpublished, "p"), "true");
        EXPECT_EQ(wait(&FrameworkSetupListener::waitForAllServices, "q"), "the first error");
        EXPECT_EQ(test::describe(listener->listOutstandingEndpoints("p")), "connect [] bind []");
        auto const before = completions;
        listener->handleEvent(configurationRemoved("q"));
        listener->handleEvent(configurationRemoved("p"));
        EXPECT_GT(completions, before) << "completion is reported as soon as it can be";
    }

private:
    static cppmicroservices::AnyMap configuration() {
        Endpoints toBind;
        for (auto const* name : {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13", "13"}) {
            toBind.push_back(endpoint(name)); // enough to be hashed
        }
        return configurationMap(
            1, {publisherEntry("p", toBind, {endpoint("c"), endpoint("d")}), publisherEntry("q")});
    }

    static std::vector<std::shared_ptr<Event>> reports() {
        std::vector<std::shared_ptr<Event>> events{errored(errorWith("the first error"), "q"),
                                                   errored(errorWith("another"), "q"), connected("c", "p")};
        for (auto number = 1; number <= 13; ++number) {
            events.push_back(bound(std::to_string(number), "p"));
        }
        events.push_back(connected("d", "p"));
        events.push_back(allServicesPublished("p"));
        events.push_back(configurationRemoved("p"));
        return events;
    }

    int completions = 0;
    std::vector<std::shared_ptr<Event>> const events = reports();
    std::shared_ptr<FrameworkSetupListener> const listener = std::make_shared<FrameworkSetupListener>(
        [this] {
            passCall(); // the owner of a listener may throw, too
            ++completions;
        },
        configuration());
};

// The waits say what they are asked, and throw the error that the framework reported, though nothing can be
// logged.
class Waiting : public Scenario {
public:
    Waiting() {
        deliver(bound("bind-1", "p"));
        deliver(connected("connect-1", "p"));
        deliver(connected("connect-2", "p"));
        deliver(errored(errorWith("no such service"), "q"));
    }

    void act() override {
        outcomes = {outcomeOf([&] { return handle.waitForAllEndpoints(atOnce, p); }),
                    outcomeOf([&] { return handle.waitForAllServices(std::chrono::milliseconds(1), p); }),
                    outcomeOf([&] { return handle.waitForAllEndpoints(atOnce, q); })};
    }

    void check(std::exception_ptr const& failure) override {
        EXPECT_FALSE(failure);
        EXPECT_EQ(outcomes, (std::array<std::string, 3>{"true", "false", "no such service"}));
    }

private:
    std::string const p = "p";
    std::string const q = "q";
    SPFConfiguration handle = published("id");
    std::array<std::string, 3> outcomes; // short enough to be held in place
};

// The handle's questions change nothing.
class AskingTheHandle : public Scenario {
public:
    void act() override { ask(); }

    void check(std::exception_ptr const&) override { ask(); }

private:
    void ask() {
        EXPECT_EQ(handle.getServiceInterfaceConfigurations().size(), 3U);
        EXPECT_EQ(handle.getServicePublisherConfigurations().size(), 2U);
        EXPECT_EQ(handle.getServiceInterfaceConfigurationsForServicePublisher("p").size(), 2U);
        EXPECT_EQ(handle.listOutstandingEndpoints("p").first.size(), 2U);
        EXPECT_EQ(handle.getConfigurationID(), id);
    }

    std::string const id = std::string(64, 'i');
    SPFConfiguration handle = published(id);
};

// An update tracker through all its states. Whatever failed, it can be disabled, enabled again and destroyed,
// and its listener goes with it.
class TrackingUpdates : public Scenario {
public:
    void act() override {
        tracker = SPFConfigurationUpdateTracker::create(configuration);
        deliver(allServicesPublished("p"));
        tracker->registerListenerForUnpublishing();
        deliver(configurationRemoved("p"));
        tracker->waitForAllServicesToBeUnpublished(atOnce, "p");
        tracker->enable(configuration);
        tracker->enable(configuration);
        tracker->disable();
    }

    void check(std::exception_ptr const& failure) override {
        EXPECT_LE(registeredListeners(), failure ? 1U : 0U);
        if (!tracker) {
            tracker = SPFConfigurationUpdateTracker::create(configuration);
        }
        tracker->enable(configuration);
        EXPECT_EQ(registeredListeners(), 1U);
        deliver(allServicesPublished("p"));
        EXPECT_TRUE(tracker->waitForAllServices(atOnce, "p"));
        EXPECT_EQ(registeredListeners(), 0U);
        tracker->enable(configuration);
        tracker.reset();
        EXPECT_EQ(registeredListeners(), 0U);
    }

private:
    cppmicroservices::AnyMap const configuration = configurationMap(1, {publisherEntry("p")});
    std::shared_ptr<SPFConfigurationUpdateTracker> tracker;
};

} // namespace

std::vector<NamedScenario> trackingScenarios() {
    return {scenario<HandlingEvents>("HandlingEvents"), scenario<Waiting>("Waiting"),
            quietScenario<AskingTheHandle>("AskingTheHandle"), scenario<TrackingUpdates>("TrackingUpdates")};
}

} // namespace agent::spf::frameworksetup::test
