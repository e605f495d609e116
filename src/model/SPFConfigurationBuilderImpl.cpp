// The operations on a configuration that is being put together.
#include "model/SPFConfigurationBuilderImpl.hpp"

#include <stdexcept>

#include "model/removeFromConfigurationAdmin.hpp"

namespace agent::spf::frameworksetup {

namespace {

constexpr char const* unknownInterfaceMessage =
    "ServiceMapping references an unknown ServiceInterface Configuration ";
constexpr char const* unknownPublisherMessage =
    "ServiceMapping references an unknown ServicePublisher Configuration ";

template <typename Index, typename Key>
void eraseRange(Index& index, Key const& key) {
    auto const range = index.equal_range(key);
    index.erase(range.first, range.second);
}

// Whether the records hold every ID that the mappings name. The index must be ordered by that ID.
template <typename Index, typename Records>
bool haveOnlyKnownIDs(Index const& mappings, std::string ServiceMapping::*id, Records const& records) {
    for (auto mapping = mappings.begin(); mapping != mappings.end();
         mapping = mappings.upper_bound((*mapping).*id)) {
        if (records.find((*mapping).*id) == records.end()) {
            return false;
        }
    }
    return true;
}

} // namespace

SPFConfigurationBuilderImpl::SPFConfigurationBuilderImpl(std::string configurationID)
    : name(std::move(configurationID)) {}

SPFConfigurationBuilderImpl::~SPFConfigurationBuilderImpl() {
    withdraw();
}

void SPFConfigurationBuilderImpl::clear() noexcept {
    withdraw();
    name.clear();
    modificationCount = 0;
    holdsPublishedConfiguration = false;
    serviceInterfaces.clear();
    servicePublishers.clear();
    serviceMappings.clear();
}

void SPFConfigurationBuilderImpl::withdraw() const noexcept {
    if (!holdsPublishedConfiguration) {
        return;
    }
    try {
        removeFromConfigurationAdmin(name);
    } catch (...) {
        // Whoever destroys or clears has nobody to tell.
    }
}

void SPFConfigurationBuilderImpl::putInterface(SPFServiceInterfaceConfiguration&& configuration,
                                               FlagRule flagRule) {
    auto const set = flagRule == FlagRule::Set;
    auto const found = serviceInterfaces.find(configuration.uniqueID);
    if (found == serviceInterfaces.end()) {
        serviceInterfaces.emplace(std::move(configuration), set);
        return;
    }
    // The container erases the entry when the modifier throws: a half-replaced entry is never kept.
    serviceInterfaces.modify(found, [&](ServiceInterfaceEntry& entry) {
        entry.configuration.uniqueID = std::move(configuration.uniqueID);
        entry.configuration.name = std::move(configuration.name);
        entry.configuration.requestedProperties = configuration.requestedProperties;
        entry.mappedToAllServicePublishers = entry.mappedToAllServicePublishers || set;
    });
}

void SPFConfigurationBuilderImpl::putPublisher(SPFServicePublisherConfiguration configuration) {
    auto const found = servicePublishers.find(configuration.uniqueID);
    if (found == servicePublishers.end()) {
        servicePublishers.insert(std::move(configuration));
    } else {
        servicePublishers.modify(found, [&](SPFServicePublisherConfiguration& publisher) {
            publisher = std::move(configuration);
        });
    }
}

void SPFConfigurationBuilderImpl::putMapping(std::string const& serviceID, std::string const& publisherID) {
    serviceMappings.insert(ServiceMapping{serviceID, publisherID});
}

void SPFConfigurationBuilderImpl::eraseInterface(std::string const& uniqueID) {
    serviceInterfaces.erase(uniqueID);
}

void SPFConfigurationBuilderImpl::eraseMappingsOfInterface(std::string const& uniqueID) {
    eraseRange(serviceMappings.get<0>(), uniqueID);
}

void SPFConfigurationBuilderImpl::erasePublisher(std::string const& uniqueID) {
    servicePublishers.erase(uniqueID);
}

void SPFConfigurationBuilderImpl::eraseMappingsOfPublisher(std::string const& uniqueID) {
    eraseRange(serviceMappings.get<1>(), uniqueID);
}

void SPFConfigurationBuilderImpl::eraseMapping(std::string const& serviceID, std::string const& publisherID) {
    auto const found = serviceMappings.find(boost::make_tuple(serviceID, publisherID));
    if (found != serviceMappings.end()) {
        serviceMappings.erase(found);
    }
}

void SPFConfigurationBuilderImpl::clearFlag(std::string const& uniqueID) {
    auto const found = serviceInterfaces.find(uniqueID);
    if (found != serviceInterfaces.end()) {
        serviceInterfaces.modify(
            found, [](ServiceInterfaceEntry& entry) { entry.mappedToAllServicePublishers = false; });
    }
}

void SPFConfigurationBuilderImpl::checkMappings() const {
    // Mappings with the same ID follow one another in the index of that ID, so that each ID is looked up
    // once.
    auto const allKnown =
        haveOnlyKnownIDs(serviceMappings.get<0>(), &ServiceMapping::serviceID, serviceInterfaces) &&
        haveOnlyKnownIDs(serviceMappings.get<1>(), &ServiceMapping::publisherID, servicePublishers);
    if (!allKnown) {
        throwForFirstUnknownID();
    }
}

void SPFConfigurationBuilderImpl::throwForFirstUnknownID() const {
    for (auto const& mapping : serviceMappings) {
        if (serviceInterfaces.find(mapping.serviceID) == serviceInterfaces.end()) {
            throw std::runtime_error(unknownInterfaceMessage + mapping.serviceID);
        }
        if (servicePublishers.find(mapping.publisherID) == servicePublishers.end()) {
            throw std::runtime_error(unknownPublisherMessage + mapping.publisherID);
        }
    }
}

} // namespace agent::spf::frameworksetup
