// The client's handle: content, waits, modification and withdrawal.
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

#include <set>

#include "agent/host/DiagnosticLogger.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"
#include "logging/log.hpp"
#include "model/SPFConfigurationBuilderImpl.hpp"
#include "model/SPFConfigurationImpl.hpp"
#include "model/removeFromConfigurationAdmin.hpp"

namespace agent::spf::frameworksetup {

namespace {

using cppmicroservices::Any;

// The tracker of a handle's configuration, kept alive for a call; null for an empty handle or when nothing
// was published.
std::shared_ptr<SPFConfigurationUpdateTracker>
trackerOf(std::unique_ptr<SPFConfigurationImpl> const& implementation) {
    return implementation ? implementation->updateTracker : nullptr;
}

} // namespace

SPFConfiguration::SPFConfiguration() = default;

SPFConfiguration::SPFConfiguration(std::unique_ptr<SPFConfigurationImpl> published)
    : implementation(std::move(published)) {}

SPFConfiguration::SPFConfiguration(SPFConfiguration&& other) noexcept = default;

// The pointer takes the other's configuration before it destroys, and so withdraws, its own; from itself it
// takes nothing.
SPFConfiguration& SPFConfiguration::operator=(SPFConfiguration&& other) noexcept = default;

SPFConfiguration::~SPFConfiguration() = default;

void SPFConfiguration::reset() {
    implementation.reset();
}

bool SPFConfiguration::empty() const {
    return !implementation;
}

std::string SPFConfiguration::getConfigurationID() const {
    return implementation ? implementation->name : std::string();
}

std::vector<SPFServiceInterfaceConfiguration> SPFConfiguration::getServiceInterfaceConfigurations() const {
    std::vector<SPFServiceInterfaceConfiguration> result;
    if (implementation) {
        result.reserve(implementation->serviceInterfaces.size());
        for (auto const& entry : implementation->serviceInterfaces) {
            result.push_back(entry.configuration);
        }
    }
    return result;
}

std::vector<SPFServicePublisherConfiguration> SPFConfiguration::getServicePublisherConfigurations() const {
    std::vector<SPFServicePublisherConfiguration> result;
    if (implementation) {
        result.assign(implementation->servicePublishers.begin(), implementation->servicePublishers.end());
    }
    return result;
}

std::vector<SPFServiceInterfaceConfiguration>
SPFConfiguration::getServiceInterfaceConfigurationsForServicePublisher(
    std::string const& servicePublisherID) const {
    std::vector<SPFServiceInterfaceConfiguration> result;
    if (!implementation) {
        return result;
    }
    auto const& interfaces = implementation->serviceInterfaces;

    std::set<std::string> mappedExplicitly;
    auto const mappings = implementation->serviceMappings.get<1>().equal_range(servicePublisherID);
    for (auto mapping = mappings.first; mapping != mappings.second; ++mapping) {
        mappedExplicitly.insert(mapping->serviceID);
    }

    auto const mappedToAll = interfaces.get<1>().equal_range(true);
    for (auto entry = mappedToAll.first; entry != mappedToAll.second; ++entry) {
        result.push_back(entry->configuration);
        mappedExplicitly.erase(entry->configuration.uniqueID);
    }

    for (auto const& serviceID : mappedExplicitly) {
        auto const found = interfaces.find(serviceID);
        if (found != interfaces.end()) {
            result.push_back(found->configuration);
        }
    }
    return result;
}

SPFConfigurationBuilder SPFConfiguration::modify() {
    auto content = std::make_unique<SPFConfigurationBuilderImpl>(std::string());
    if (implementation) {
        content->name = std::exchange(implementation->name, {});
        content->modificationCount = implementation->modificationCount;
        content->holdsPublishedConfiguration = true;
        content->serviceInterfaces.swap(implementation->serviceInterfaces);
        content->servicePublishers.swap(implementation->servicePublishers);
        content->serviceMappings.swap(implementation->serviceMappings);
    }
    return SPFConfigurationBuilder(std::move(content));
}

bool SPFConfiguration::waitForAllEndpoints(std::chrono::milliseconds const& timeout,
                                           std::string const& servicePublisherID) {
    auto const tracker = trackerOf(implementation);
    return tracker && tracker->waitForAllEndpoints(timeout, servicePublisherID);
}

bool SPFConfiguration::waitForAllServices(std::chrono::milliseconds const& timeout,
                                          std::string const& servicePublisherID) {
    auto const tracker = trackerOf(implementation);
    return tracker && tracker->waitForAllServices(timeout, servicePublisherID);
}

std::pair<std::vector<Any>, std::vector<Any>>
SPFConfiguration::listOutstandingEndpoints(std::string const& servicePublisherID) {
    auto const tracker = trackerOf(implementation);
    if (!tracker) {
        return {};
    }
    return tracker->listOutstandingEndpoints(servicePublisherID);
}

bool SPFConfiguration::waitForAllServicesToBeUnpublished(std::chrono::milliseconds const& timeout,
                                                         std::string const& servicePublisherID) {
    auto const tracker = trackerOf(implementation);
    if (!tracker) {
        return false;
    }
    // Registering and withdrawing run foreign code, which may reset this handle or assign to it. What was
    // held is withdrawn then, and what is held instead is none of this call's business.
    auto const isStillHeld = [&] { return trackerOf(implementation) == tracker; };
    tracker->registerListenerForUnpublishing(); // before the withdrawal, or its events would be missed
    try {
        if (isStillHeld()) {
            removeFromConfigurationAdmin(std::string(implementation->name)); // a copy, for the same reason
        }
    } catch (...) {
        log(host::Severity::Failure, [](std::ostream& stream) {
            stream << "removeFromConfigurationAdmin() in waitForAllServicesToBeUnpublished() threw.";
        });
    }
    if (isStillHeld()) {
        implementation->name.clear(); // withdrawn, or past withdrawing: nobody tries again
    }
    return tracker->waitForAllServicesToBeUnpublished(timeout, servicePublisherID);
}

} // namespace agent::spf::frameworksetup
