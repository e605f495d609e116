// Publishes a configuration, waits for it and withdraws it.
#include "run/ConfigurationDriver.hpp"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "run/FrameworkWatch.hpp"

namespace agent::program {

using std::chrono::milliseconds;

namespace {

// How long one wait of the library may take before a request to withdraw is looked for.
constexpr milliseconds slice{50};

std::vector<cppmicroservices::Any> anys(std::vector<std::string> const& texts) {
    std::vector<cppmicroservices::Any> result;
    for (auto const& text : texts) {
        result.emplace_back(text);
    }
    return result;
}

spf::frameworksetup::SPFConfiguration publish(ConfigurationFile const& configuration) {
    spf::frameworksetup::SPFConfigurationBuilder builder(configuration.configurationID);
    for (auto const& publisher : configuration.publishers) {
        builder.addServicePublisherAny(
            publisher.uniqueID, publisher.name, anys(publisher.endpointsToConnectTo),
            anys(publisher.endpointsToBindTo), publisher.importFilter, publisher.exportFilter);
    }
    for (auto const& entry : configuration.interfaces) {
        if (entry.mappedToAllPublishers) {
            builder.addServiceInterfaceToAllServicePublishers(entry.uniqueID, entry.name,
                                                              entry.requestedProperties);
        } else {
            builder.addServiceInterface(entry.uniqueID, entry.name, entry.requestedProperties);
        }
        for (auto const& publisher : entry.publishers) {
            builder.addServiceMapping(entry.uniqueID, publisher);
        }
    }
    return builder.build();
}

std::vector<std::string> publisherIDs(ConfigurationFile const& configuration) {
    std::vector<std::string> ids;
    for (auto const& publisher : configuration.publishers) {
        ids.push_back(publisher.uniqueID);
    }
    return ids;
}

std::vector<std::string> texts(std::vector<cppmicroservices::Any> const& endpoints) {
    std::vector<std::string> result;
    for (auto const& endpoint : endpoints) {
        result.push_back(endpoint.ToString());
    }
    return result;
}

} // namespace

ConfigurationDriver::ConfigurationDriver(ConfigurationFile configuration, milliseconds removalTimeout,
                                         MessageBox& messages)
    : configuration_(std::move(configuration))
    , removalTimeout_(removalTimeout)
    , messages_(messages)
    , thread_([this] { run(); }) {}

ConfigurationDriver::~ConfigurationDriver() {
    finish();
    thread_.join();
}

void ConfigurationDriver::request(Request request) {
    {
        std::lock_guard const lock(mutex_);
        request_ = std::max(request_, request);
    }
    requestMade_.notify_all();
}

bool ConfigurationDriver::requested(Request request) {
    std::lock_guard const lock(mutex_);
    return request_ >= request;
}

void ConfigurationDriver::waitFor(Request request) {
    std::unique_lock lock(mutex_);
    requestMade_.wait(lock, [this, request] { return request_ >= request; });
}

void ConfigurationDriver::run() {
    try {
        drive();
    } catch (std::exception const& error) {
        messages_.put(ConfigurationFailed{error.what()});
    }
    host::standalone::stopFramework();
    messages_.put(FrameworkStopped{});
}

void ConfigurationDriver::drive() {
    auto const framework = host::getFramework();
    FrameworkWatch const watch(framework->GetBundleContext(), messages_);
    auto published = publish(configuration_);
    if (published.getConfigurationID().empty()) {
        throw std::runtime_error(
            "the configuration could not be published: the framework has no Configuration "
            "Admin service");
    }
    messages_.put(ConfigurationPublished{published.getConfigurationID()});
    awaitReadiness(published);
    waitFor(Request::Withdraw);
    withdraw(published);
    messages_.put(ConfigurationWithdrawn{});
    waitFor(Request::Finish);
}

void ConfigurationDriver::awaitReadiness(SPFConfiguration& published) {
    auto pending = publisherIDs(configuration_);
    try {
        while (!becameReady(published, pending)) {
            if (requested(Request::Withdraw)) {
                reportOutstanding(published);
                return;
            }
        }
        messages_.put(ConfigurationReady{});
    } catch (std::exception const& error) {
        messages_.put(ConfigurationFailed{error.what()});
    }
}

// Removes from `pending` the publishers that are ready; true if none is left. Throws the error of any that
// has failed, however long the others take.
bool ConfigurationDriver::becameReady(SPFConfiguration& published, std::vector<std::string>& pending) {
    auto const isReady = [&published](std::string const& publisher) {
        bool const endpoints = published.waitForAllEndpoints(milliseconds::zero(), publisher);
        return published.waitForAllServices(milliseconds::zero(), publisher) && endpoints;
    };
    pending.erase(std::remove_if(pending.begin(), pending.end(), isReady), pending.end());
    if (pending.empty()) {
        return true;
    }
    if (!published.waitForAllEndpoints(slice, pending.front())) {
        return false;
    }
    published.waitForAllServices(slice, pending.front());
    return false;
}

void ConfigurationDriver::reportOutstanding(SPFConfiguration& published) {
    OutstandingEndpoints outstanding;
    for (auto const& publisher : configuration_.publishers) {
        auto const [toConnect, toBind] = published.listOutstandingEndpoints(publisher.uniqueID);
        outstanding.publishers.push_back({publisher.uniqueID, texts(toConnect), texts(toBind)});
    }
    messages_.put(std::move(outstanding));
}

// The wait for one publisher withdraws the configuration of all. It ends the library's listening, too, and a
// publisher that has failed answers it with its error; that all are removed is therefore seen by the
// FrameworkWatch.
void ConfigurationDriver::withdraw(SPFConfiguration& published) {
    try {
        if (!configuration_.publishers.empty()) {
            published.waitForAllServicesToBeUnpublished(removalTimeout_,
                                                        configuration_.publishers.front().uniqueID);
        }
    } catch (std::exception const&) {
        // The error of the publisher, which was reported when it arrived.
    }
    published.reset();
}

} // namespace agent::program
