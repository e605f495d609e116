// From a configuration file to the library.
#include "run/publishing.hpp"

#include <stdexcept>
#include <string>
#include <vector>

#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

namespace agent::program {

using spf::frameworksetup::SPFConfiguration;
using spf::frameworksetup::SPFConfigurationBuilder;

namespace {

std::vector<cppmicroservices::Any> anys(std::vector<std::string> const& texts) {
    return std::vector<cppmicroservices::Any>(texts.begin(), texts.end());
}

void fill(SPFConfigurationBuilder& builder, ConfigurationFile const& configuration) {
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
}

// Without a Configuration Admin service the library publishes nothing, and says so by an empty ID only.
SPFConfiguration build(SPFConfigurationBuilder& builder) {
    auto published = builder.build();
    if (published.getConfigurationID().empty()) {
        throw std::runtime_error(
            "the configuration could not be published: the framework has no Configuration Admin service");
    }
    return published;
}

} // namespace

SPFConfiguration publish(ConfigurationFile const& configuration) {
    SPFConfigurationBuilder builder(configuration.configurationID);
    fill(builder, configuration);
    return build(builder);
}

SPFConfiguration publishNext(SPFConfiguration& published, ConfigurationFile const& configuration) {
    auto const interfaces = published.getServiceInterfaceConfigurations();
    auto const publishers = published.getServicePublisherConfigurations();
    auto builder = published.modify();
    for (auto const& entry : interfaces) {
        builder.removeServiceInterface(entry.uniqueID);
    }
    for (auto const& publisher : publishers) {
        builder.removeServicePublisher(publisher.uniqueID);
    }
    fill(builder, configuration);
    return build(builder);
}

} // namespace agent::program
