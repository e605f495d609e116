// The property maps from which the listeners under test are made.
#ifndef TESTS_UNIT_TRACKING_CONFIGURATION_MAP_HPP
#define TESTS_UNIT_TRACKING_CONFIGURATION_MAP_HPP

#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "tracking/endpoints.hpp"

namespace agent::spf::frameworksetup::test {

inline cppmicroservices::AnyMap emptyMap() {
    return cppmicroservices::AnyMap(cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

// The entry of one publisher.
inline cppmicroservices::AnyMap publisherEntry(std::string const& uniqueID, Endpoints const& toBind = {},
                                               Endpoints const& toConnect = {},
                                               std::string const& name = "rpcservicepublisher") {
    auto config = emptyMap();
    config["endpointsToBindTo"] = toBind;
    config["endpointsToConnectTo"] = toConnect;
    auto entry = emptyMap();
    entry["uniqueID"] = uniqueID;
    entry["name"] = name;
    entry["config"] = config;
    return entry;
}

// A configuration with the count and the entries of publishers.
inline cppmicroservices::AnyMap configurationMap(int modificationCount,
                                                 std::vector<cppmicroservices::AnyMap> const& entries) {
    auto configuration = emptyMap();
    configuration["modificationCount"] = modificationCount;
    configuration["servicePublisherConfigurations"] =
        std::vector<cppmicroservices::Any>(entries.begin(), entries.end());
    return configuration;
}

} // namespace agent::spf::frameworksetup::test

#endif
