// Where a client starts: collects a configuration and publishes it.
#ifndef AGENT_SPF_FRAMEWORKSETUP_SPF_CONFIGURATION_BUILDER_HPP
#define AGENT_SPF_FRAMEWORKSETUP_SPF_CONFIGURATION_BUILDER_HPP

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <cppmicroservices/Any.h>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"
#include "agent/spf/frameworksetup/export.hpp"

namespace agent::spf::frameworksetup {

class SPFConfigurationBuilderImpl;

// Collects service interfaces, service publishers and the mappings between them under a configuration ID;
// build() checks the mappings and publishes. Requires of the host: getFramework() and installAndStart().
//
// Content operations return the builder, so that calls chain. They accept any ID, known or not; only build()
// checks. They throw nothing but what allocating and copying throw; a record or mapping whose insertion
// failed is not there.
//
// Never empty: a moved-from builder is a new one with an empty ID. Not thread safe: one builder is used by
// one thread at a time; distinct builders are independent.
class AGENT_SPF_FRAMEWORKSETUP_EXPORT SPFConfigurationBuilder {
public:
    // `name` is the configuration ID. When it is empty, ConfigurationAdmin chooses an ID at build().
    explicit SPFConfigurationBuilder(std::string name);

    // Takes ownership; used by SPFConfiguration::modify().
    explicit SPFConfigurationBuilder(std::unique_ptr<SPFConfigurationBuilderImpl> content);

    // Throws std::bad_alloc when there is no memory for what the other is left with; both are as before then.
    SPFConfigurationBuilder(SPFConfigurationBuilder&& other);

    // What the builder held before is destroyed as by the destructor. Assigning a builder to itself does
    // nothing.
    SPFConfigurationBuilder& operator=(SPFConfigurationBuilder&& other) noexcept;

    // Withdraws the configuration when the builder came from SPFConfiguration::modify() and was not built
    // since. Failures of the withdrawal are dropped.
    ~SPFConfigurationBuilder();

    SPFConfigurationBuilder(SPFConfigurationBuilder const&) = delete;
    SPFConfigurationBuilder& operator=(SPFConfigurationBuilder const&) = delete;

    // Adds an interface, or replaces the one with the same unique ID. Whether a replaced one is mapped to all
    // publishers stays as it was. When copying the properties over a replaced one fails, the old one is gone,
    // too: a half-replaced interface is never kept.
    SPFConfigurationBuilder& addServiceInterface(SPFServiceInterfaceConfiguration configuration);
    SPFConfigurationBuilder& addServiceInterface(std::string uniqueID, std::string name,
                                                 boost::property_tree::ptree requestedProperties);

    // As addServiceInterface(), and maps the interface to one publisher.
    SPFConfigurationBuilder&
    addServiceInterfaceToServicePublisher(std::string const& publisherID,
                                          SPFServiceInterfaceConfiguration configuration);
    SPFConfigurationBuilder&
    addServiceInterfaceToServicePublisher(std::string const& publisherID, std::string uniqueID,
                                          std::string name, boost::property_tree::ptree requestedProperties);

    // As addServiceInterface(), and maps the interface to every publisher that the configuration holds when
    // it is built, those included that are added later.
    SPFConfigurationBuilder&
    addServiceInterfaceToAllServicePublishers(SPFServiceInterfaceConfiguration configuration);
    SPFConfigurationBuilder&
    addServiceInterfaceToAllServicePublishers(std::string uniqueID, std::string name,
                                              boost::property_tree::ptree requestedProperties);

    // Removes the interface and every mapping of that ID, even when there is no such interface.
    SPFConfigurationBuilder& removeServiceInterface(std::string const& uniqueID);

    // Adds a publisher, or replaces every member of the one with the same unique ID.
    SPFConfigurationBuilder& addServicePublisher(SPFServicePublisherConfiguration configuration);

    // As above, with the endpoints as strings, published in ascending order.
    SPFConfigurationBuilder& addServicePublisher(std::string uniqueID, std::string name,
                                                 std::set<std::string> endpointsToConnectTo,
                                                 std::set<std::string> endpointsToBindTo,
                                                 std::string importFilter, std::string exportFilter);

    // As above, with the endpoints as they are, order and duplicates kept. A text must be a std::string: a
    // character pointer is of another type, and equals no endpoint that is reported.
    SPFConfigurationBuilder& addServicePublisherAny(std::string uniqueID, std::string name,
                                                    std::vector<cppmicroservices::Any> endpointsToConnectTo,
                                                    std::vector<cppmicroservices::Any> endpointsToBindTo,
                                                    std::string importFilter, std::string exportFilter);

    // Removes the publisher and every mapping to that ID, even when there is no such publisher. Interfaces
    // mapped to all publishers stay so.
    SPFConfigurationBuilder& removeServicePublisher(std::string const& uniqueID);

    // Maps an interface to a publisher; a mapping that is there already is left as it is.
    SPFConfigurationBuilder& addServiceMapping(std::string const& serviceID, std::string const& publisherID);

    // Removes exactly this mapping. An interface mapped to all publishers stays so.
    SPFConfigurationBuilder& removeServiceMapping(std::string const& serviceID,
                                                  std::string const& publisherID);

    // Ends what addServiceInterfaceToAllServicePublishers() began; the interface and its own mappings stay.
    SPFConfigurationBuilder& undoMappingOfServiceInterfaceToAllServicePublishers(std::string const& uniqueID);

    // Checks that every mapping names an interface and a publisher of the configuration, installs and starts
    // the framework's bundles unless the framework has them, starts again those that were stopped, and
    // publishes. The builder is empty afterwards, but keeps its modification count, and may be used again.
    // May block while bundles are installed; does not wait until the framework acts on the configuration.
    //
    // Throws std::runtime_error for a mapping that names an unknown interface or publisher; the message ends
    // in the ID, the builder is unchanged and can be corrected. Throws what starting and publishing throw;
    // the content, the ID included, is lost then, and a version that was published before stays published.
    SPFConfiguration build();

private:
    std::unique_ptr<SPFConfigurationBuilderImpl> implementation; // never null
};

} // namespace agent::spf::frameworksetup

#endif
