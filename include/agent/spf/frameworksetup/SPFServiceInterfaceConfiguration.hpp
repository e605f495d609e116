// The record that describes one service interface of a configuration.
#ifndef AGENT_SPF_FRAMEWORKSETUP_SPF_SERVICE_INTERFACE_CONFIGURATION_HPP
#define AGENT_SPF_FRAMEWORKSETUP_SPF_SERVICE_INTERFACE_CONFIGURATION_HPP

#include <string>

#include <boost/property_tree/ptree.hpp>

namespace agent::spf::frameworksetup {

// A service interface that the client wants to offer. A plain record: nothing is validated, every member may
// be empty. Aggregate initialisation takes the members in this order.
struct SPFServiceInterfaceConfiguration {
    // Identity of the record inside one configuration; mappings refer to it. An empty one is an ID like any
    // other.
    std::string uniqueID{};
    // The service interface's name; several records may share it.
    std::string name{};
    // What the client asks of the service. Kept as it is; converted to a property map when the configuration
    // is published. addRequiredRuntimeServiceProperties() adds properties that the service must carry at run
    // time.
    // The conversion recurses: a stack of 8 MiB is enough for a tree of 4,000 levels. A deeper one may
    // exhaust it, which ends the process.
    boost::property_tree::ptree requestedProperties{};
};

} // namespace agent::spf::frameworksetup

#endif
