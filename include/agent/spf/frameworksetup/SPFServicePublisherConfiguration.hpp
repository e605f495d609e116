// The record that describes one service publisher of a configuration.
#ifndef AGENT_SPF_FRAMEWORKSETUP_SPF_SERVICE_PUBLISHER_CONFIGURATION_HPP
#define AGENT_SPF_FRAMEWORKSETUP_SPF_SERVICE_PUBLISHER_CONFIGURATION_HPP

#include <string>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

// A service publisher, through which interfaces are offered. A plain record: nothing is validated, every
// member may be empty. Aggregate initialisation takes the members in this order.
struct SPFServicePublisherConfiguration {
    // Identity of the record inside one configuration; mappings, waits and events refer to it. Events do not
    // say which configuration they are about, so within a process one configuration at a time has it.
    std::string uniqueID{};
    // The publisher's kind: "legacyservicepublisher", in exactly these letters, selects the legacy publisher;
    // any other name the rpc publisher. Endpoints are tracked for the name "rpcservicepublisher" only.
    std::string name{};
    // Endpoints to connect to and to bind to, normally strings, in the order in which they are published.
    std::vector<cppmicroservices::Any> endpointsToConnectTo{};
    std::vector<cppmicroservices::Any> endpointsToBindTo{};
    // Filters over what the publisher imports and exports; passed on as they are, not parsed here.
    std::string importFilter{};
    std::string exportFilter{};
};

} // namespace agent::spf::frameworksetup

#endif
