// Matches the framework's events to the trackers of one configuration.
#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include <cppmicroservices/AnyMap.h>

#include "agent/host/DiagnosticLogger.hpp"
#include "configurationKeys.hpp"
#include "logging/log.hpp"
#include "tracking/SelfReference.hpp"

namespace agent::spf::frameworksetup {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;
using frameworklistener::Event;
using frameworklistener::EventType;
using frameworklistener::FrameworkErrorEvent;
using frameworklistener::FrameworkEvent;
using frameworklistener::RouterEvent;

// Only publishers of these kinds report their endpoints.
constexpr std::array<std::string_view, 1> trackedPublisherNames = {rpcPublisherName};

bool isTrackedPublisherName(std::string const& name) {
    return std::find(trackedPublisherNames.begin(), trackedPublisherNames.end(), name) !=
           trackedPublisherNames.end();
}

// Logs the result of a wait and returns it.
bool logResult(char const* operation, std::string const& name, bool result) {
    log(host::Severity::Progress, [&](std::ostream& stream) {
        stream << operation << " for " << name << " result: " << (result ? 1 : 0);
    });
    return result;
}

} // namespace

FrameworkSetupListener::FrameworkSetupListener(std::function<void()> completionCallback,
                                               AnyMap const& configuration)
    : callback(std::move(completionCallback))
    , modificationCount(
          static_cast<std::uint32_t>(ref_any_cast<int>(configuration.at(key::modificationCount)))) {
    auto const& publishers =
        ref_any_cast<std::vector<Any>>(configuration.at(key::servicePublisherConfigurations));
    trackers.reserve(publishers.size());
    for (auto const& element : publishers) {
        auto const& publisher = ref_any_cast<AnyMap>(element);
        auto const& config = ref_any_cast<AnyMap>(publisher.at(key::config));
        auto const tracked = isTrackedPublisherName(ref_any_cast<std::string>(publisher.at(key::name)));
        std::vector<Any> bindEndpoints;
        std::vector<Any> connectEndpoints;
        if (tracked) {
            bindEndpoints = ref_any_cast<std::vector<Any>>(config.at(key::endpointsToBindTo));
            connectEndpoints = ref_any_cast<std::vector<Any>>(config.at(key::endpointsToConnectTo));
        }
        trackers.try_emplace(ref_any_cast<std::string>(publisher.at(key::uniqueID)), std::move(bindEndpoints),
                             std::move(connectEndpoints), tracked);
    }
}

FrameworkSetupListener::~FrameworkSetupListener() = default;

void FrameworkSetupListener::handleEvent(std::shared_ptr<Event> event) {
    if (!event) {
        return;
    }
    switch (event->eventType) {
    case EventType::FrameworkEvent:
        return handleFrameworkEvent(static_cast<FrameworkEvent const&>(*event));
    case EventType::FrameworkErrorEvent:
        return handleFrameworkErrorEvent(static_cast<FrameworkErrorEvent const&>(*event));
    case EventType::RouterEvent:
        return handleRouterEvent(static_cast<RouterEvent const&>(*event));
    }
}

ConfigTracker* FrameworkSetupListener::match(std::string const& name, std::uint32_t eventModificationCount) {
    if (eventModificationCount < modificationCount) {
        return nullptr;
    }
    auto const found = trackers.find(name);
    return found == trackers.end() ? nullptr : &found->second;
}

void FrameworkSetupListener::handleFrameworkEvent(FrameworkEvent const& event) {
    auto* const tracker = match(event.name, event.modificationCount);
    if (!tracker) {
        return;
    }
    SelfReference self(*this);
    self.take();
    switch (event.kind) {
    case FrameworkEvent::Kind::AllServicesPublished:
        if (tracker->completeAllServicesPublished()) {
            completeConfig(event.name);
        }
        break;
    case FrameworkEvent::Kind::ConfigurationRemoved:
        tracker->completeConfigurationRemoved();
        completeConfig(event.name);
        break;
    }
}

void FrameworkSetupListener::handleRouterEvent(RouterEvent const& event) {
    auto* const tracker = match(event.name, event.modificationCount);
    if (!tracker) {
        return;
    }
    SelfReference self(*this);
    auto finished = false;
    switch (event.kind) {
    case RouterEvent::Kind::Bound:
    case RouterEvent::Kind::Rebound:
        finished = tracker->completeEndpointBind(event.endpoint, self);
        break;
    case RouterEvent::Kind::Connected:
    case RouterEvent::Kind::Reconnected:
        finished = tracker->completeEndpointConnect(event.endpoint, self);
        break;
    }
    if (finished) {
        completeConfig(event.name);
    }
}

void FrameworkSetupListener::handleFrameworkErrorEvent(FrameworkErrorEvent const& event) {
    auto* const tracker = match(event.name, event.modificationCount);
    if (!tracker) {
        return;
    }
    SelfReference self(*this);
    self.take();
    tracker->configurationErrored(event.error);
    completeConfig(event.name);
}

void FrameworkSetupListener::completeConfig(std::string const& name) {
    std::unique_lock<std::mutex> lock(mutex);
    completedConfigurations.insert(name);
    if (completedConfigurations.size() != trackers.size() || unregisteringDisabled) {
        return;
    }
    lock.unlock();
    auto const completed = callback; // a copy: what runs may replace or destroy its owner
    completed();
}

void FrameworkSetupListener::disableUnregistering() {
    std::lock_guard<std::mutex> const lock(mutex);
    unregisteringDisabled = true;
}

ConfigTracker& FrameworkSetupListener::trackerOf(std::string const& name) {
    auto const found = trackers.find(name);
    if (found == trackers.end()) {
        // The text is part of the interface; what the standard library's at() says differs between platforms.
        throw std::out_of_range("unordered_map::at: key not found");
    }
    return found->second;
}

bool FrameworkSetupListener::waitForAllEndpoints(std::chrono::milliseconds const& timeout,
                                                 std::string const& name) {
    return logResult("waitForAllEndpoints", name, trackerOf(name).waitForAllEndpoints(timeout));
}

bool FrameworkSetupListener::waitForAllServices(std::chrono::milliseconds const& timeout,
                                                std::string const& name) {
    return logResult("waitForAllServices", name, trackerOf(name).waitForAllServices(timeout));
}

bool FrameworkSetupListener::waitForAllServicesToBeUnpublished(std::chrono::milliseconds const& timeout,
                                                               std::string const& name) {
    return logResult("waitForAllServicesToBeUnpublished", name,
                     trackerOf(name).waitForAllServicesToBeUnpublished(timeout));
}

std::pair<std::vector<Any>, std::vector<Any>>
FrameworkSetupListener::listOutstandingEndpoints(std::string const& name) {
    return trackerOf(name).listOutstandingEndpoints();
}

} // namespace agent::spf::frameworksetup
