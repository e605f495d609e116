// A publisher configuration as the publisher understands it.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_CONFIGURATION_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_CONFIGURATION_HPP

#include <cstdint>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include "agent/spf/bundles/RemoteOffers.hpp"

namespace agent::spf::bundles::publisher {

struct PublisherConfiguration {
    std::string uniqueID;
    std::uint32_t modificationCount = 0;
    std::vector<std::string> endpointsToBindTo;    // each once
    std::vector<std::string> endpointsToConnectTo; // each once
    cppmicroservices::LDAPFilter importFilter;
    cppmicroservices::LDAPFilter exportFilter;
    std::vector<RemoteOffer> interfaces;
};

// Throws std::runtime_error that says what is missing or wrong and where.
PublisherConfiguration readPublisherConfiguration(cppmicroservices::AnyMap const& properties);

} // namespace agent::spf::bundles::publisher

#endif
