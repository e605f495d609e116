// The containers in which a configuration is held, from the builder to publication.
#ifndef MODEL_MODEL_CONTAINERS_HPP
#define MODEL_MODEL_CONTAINERS_HPP

#include <string>
#include <utility>

#include <boost/multi_index/composite_key.hpp>
#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index_container.hpp>

#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"

namespace agent::spf::frameworksetup {

// One interface goes out through one publisher. Both are named by unique ID; neither need exist before
// build().
struct ServiceMapping {
    std::string serviceID;
    std::string publisherID;
};

// An interface, and whether it goes out through every publisher that the configuration holds when it is
// published. No ServiceMapping stands for the latter.
struct ServiceInterfaceEntry {
    ServiceInterfaceEntry() = default;
    ServiceInterfaceEntry(SPFServiceInterfaceConfiguration const& record, bool mappedToAll)
        : configuration(record)
        , mappedToAllServicePublishers(mappedToAll) {}

    // Takes the record over. Boost's property tree can be swapped but has no move constructor: moving the
    // record as a whole would copy the tree.
    ServiceInterfaceEntry(SPFServiceInterfaceConfiguration&& record, bool mappedToAll)
        : configuration{std::move(record.uniqueID), std::move(record.name), {}}
        , mappedToAllServicePublishers(mappedToAll) {
        configuration.requestedProperties.swap(record.requestedProperties);
    }

    SPFServiceInterfaceConfiguration configuration;
    bool mappedToAllServicePublishers = false;
};

// Finds the unique ID of an entry's record.
struct UniqueIDOfEntry {
    using result_type = std::string;
    std::string const& operator()(ServiceInterfaceEntry const& entry) const {
        return entry.configuration.uniqueID;
    }
};

// Interfaces by unique ID, visited in no particular order; and by whether they are mapped to all publishers,
// unmapped before mapped, equal ones in the order in which they were inserted. One whose flag is changed
// keeps its place if it is still in order there, and otherwise goes after its new equals.
using ServiceInterfaces = boost::multi_index_container<
    ServiceInterfaceEntry,
    boost::multi_index::indexed_by<
        boost::multi_index::hashed_unique<UniqueIDOfEntry>,
        boost::multi_index::ordered_non_unique<boost::multi_index::member<
            ServiceInterfaceEntry, bool, &ServiceInterfaceEntry::mappedToAllServicePublishers>>>>;

// Publishers by unique ID, visited in no particular order.
using ServicePublishers = boost::multi_index_container<
    SPFServicePublisherConfiguration,
    boost::multi_index::indexed_by<boost::multi_index::hashed_unique<boost::multi_index::member<
        SPFServicePublisherConfiguration, std::string, &SPFServicePublisherConfiguration::uniqueID>>>>;

// Mappings by interface and publisher, visited in ascending order; and by publisher. A pair is held once.
using ServiceMappings = boost::multi_index_container<
    ServiceMapping,
    boost::multi_index::indexed_by<
        boost::multi_index::ordered_unique<boost::multi_index::composite_key<
            ServiceMapping,
            boost::multi_index::member<ServiceMapping, std::string, &ServiceMapping::serviceID>,
            boost::multi_index::member<ServiceMapping, std::string, &ServiceMapping::publisherID>>>,
        boost::multi_index::ordered_non_unique<
            boost::multi_index::member<ServiceMapping, std::string, &ServiceMapping::publisherID>>>>;

} // namespace agent::spf::frameworksetup

#endif
