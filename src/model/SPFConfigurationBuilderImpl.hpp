// What a builder holds: a configuration while it is being put together.
#ifndef MODEL_SPF_CONFIGURATION_BUILDER_IMPL_HPP
#define MODEL_SPF_CONFIGURATION_BUILDER_IMPL_HPP

#include <cstdint>
#include <string>

#include "model/modelContainers.hpp"

namespace agent::spf::frameworksetup {

// The operations keep the model's rules: one interface and one publisher per unique ID, one mapping per pair.
// An operation that throws leaves no partial entry. Not thread safe.
class SPFConfigurationBuilderImpl {
public:
    explicit SPFConfigurationBuilderImpl(std::string configurationID);
    SPFConfigurationBuilderImpl(SPFConfigurationBuilderImpl const&) = delete;
    SPFConfigurationBuilderImpl& operator=(SPFConfigurationBuilderImpl const&) = delete;

    // Withdraws the configuration if `holdsPublishedConfiguration` is set; a failure is dropped.
    ~SPFConfigurationBuilderImpl();

    // Makes it as new, with an empty name. What it held goes as with the destructor.
    void clear() noexcept;

    // What putting an interface does to the flag `mappedToAllServicePublishers`.
    enum class FlagRule {
        KeepOrClear, // a replaced entry keeps its flag, a new one starts with false
        Set,         // true for a replaced and for a new entry
    };

    // Takes the interface over: inserts it or replaces name and properties of the one with the same ID. When
    // copying the properties over a replaced one throws, its entry is erased.
    void putInterface(SPFServiceInterfaceConfiguration&& configuration, FlagRule flagRule);
    void putPublisher(SPFServicePublisherConfiguration configuration);
    void putMapping(std::string const& serviceID, std::string const& publisherID);

    // Erase what is there; nothing happens when there is none.
    void eraseInterface(std::string const& uniqueID);
    void eraseMappingsOfInterface(std::string const& uniqueID);
    void erasePublisher(std::string const& uniqueID);
    void eraseMappingsOfPublisher(std::string const& uniqueID);
    void eraseMapping(std::string const& serviceID, std::string const& publisherID);
    void clearFlag(std::string const& uniqueID);

    // Throws std::runtime_error for the first mapping, in ascending order, that names an unknown interface or
    // publisher.
    void checkMappings() const;

    std::string name;                   // the configuration ID
    std::int32_t modificationCount = 0; // how often this configuration has been built before
    bool holdsPublishedConfiguration = false;
    ServiceInterfaces serviceInterfaces;
    ServicePublishers servicePublishers;
    ServiceMappings serviceMappings;

private:
    void withdraw() const noexcept;
    void throwForFirstUnknownID() const;
};

} // namespace agent::spf::frameworksetup

#endif
