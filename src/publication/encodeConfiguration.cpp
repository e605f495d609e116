// The property map as which a configuration is published, entry by entry.
#include "publication/encodeConfiguration.hpp"

#include <string>
#include <utility>
#include <vector>

#include <boost/tuple/tuple.hpp>

#include "configurationKeys.hpp"
#include "model/propertyTreeToAnyMap.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

AnyMap emptyMap() {
    return AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

// Interfaces carry no version of their own; all are published as version 1.
AnyMap encodeVersion() {
    auto map = emptyMap();
    map[key::major] = 1;
    return map;
}

AnyMap encodeInterface(SPFServiceInterfaceConfiguration const& interface) {
    auto map = emptyMap();
    map[key::name] = interface.name;
    map[key::uniqueID] = interface.uniqueID;
    map[key::version] = encodeVersion();
    map[key::requestedProperties] = propertyTreeToAnyMap(interface.requestedProperties);
    return map;
}

AnyMap encodeEndpoints(SPFServicePublisherConfiguration const& publisher) {
    auto map = emptyMap();
    map[key::endpointsToConnectTo] = publisher.endpointsToConnectTo;
    map[key::endpointsToBindTo] = publisher.endpointsToBindTo;
    map[key::importFilter] = publisher.importFilter;
    map[key::exportFilter] = publisher.exportFilter;
    return map;
}

AnyMap encodePublisher(SPFServicePublisherConfiguration const& publisher) {
    auto const* const factoryPID =
        publisher.name == legacyPublisherName ? legacyPublisherFactoryPID : rpcPublisherFactoryPID;
    auto map = emptyMap();
    map[key::name] = publisher.name;
    map[key::uniqueID] = publisher.uniqueID;
    map[key::factoryPID] = std::string(factoryPID);
    map[key::config] = encodeEndpoints(publisher);
    return map;
}

AnyMap encodeMapping(std::string const& serviceID, std::string const& publisherID) {
    auto map = emptyMap();
    map[key::serviceID] = serviceID;
    map[key::publisherID] = publisherID;
    return map;
}

// Maps an interface to every publisher to which it is not mapped explicitly.
void appendImplicitMappings(std::vector<Any>& encoded, std::string const& serviceID,
                            ServicePublishers const& publishers, ServiceMappings const& explicitMappings) {
    for (auto const& publisher : publishers) {
        if (explicitMappings.find(boost::make_tuple(
                boost::cref(serviceID), boost::cref(publisher.uniqueID))) == explicitMappings.end()) {
            encoded.emplace_back(encodeMapping(serviceID, publisher.uniqueID));
        }
    }
}

} // namespace

AnyMap encodeConfiguration(ServiceInterfaces const& interfaces, ServicePublishers const& publishers,
                           ServiceMappings const& mappings, std::int32_t modificationCount) {
    std::vector<Any> encodedPublishers;
    encodedPublishers.reserve(publishers.size());
    for (auto const& publisher : publishers) {
        encodedPublishers.emplace_back(encodePublisher(publisher));
    }

    std::vector<Any> encodedInterfaces;
    encodedInterfaces.reserve(interfaces.size());
    std::vector<Any> encodedMappings;
    encodedMappings.reserve(interfaces.get<1>().count(true) * publishers.size() + mappings.size());
    for (auto const& entry : interfaces) {
        encodedInterfaces.emplace_back(encodeInterface(entry.configuration));
        if (entry.mappedToAllServicePublishers) {
            appendImplicitMappings(encodedMappings, entry.configuration.uniqueID, publishers, mappings);
        }
    }
    for (auto const& mapping : mappings) {
        encodedMappings.emplace_back(encodeMapping(mapping.serviceID, mapping.publisherID));
    }

    auto map = emptyMap();
    map[key::serviceConfigurations] = std::move(encodedInterfaces);
    map[key::servicePublisherConfigurations] = std::move(encodedPublishers);
    map[key::servicePublisherMappings] = std::move(encodedMappings);
    map[key::modificationCount] = static_cast<int>(modificationCount);
    return map;
}

} // namespace agent::spf::frameworksetup
