// Takes a published configuration apart into the configurations of its publishers.
#ifndef AGENT_SPF_BUNDLES_FRAMEWORK_PUBLISHER_ENTRIES_HPP
#define AGENT_SPF_BUNDLES_FRAMEWORK_PUBLISHER_ENTRIES_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::bundles::framework {

// What one publisher is to be configured with.
struct PublisherEntry {
    std::string factoryPID;
    std::string instanceName;
    std::string uniqueID;
    std::uint32_t modificationCount;
    cppmicroservices::AnyMap properties;
};

// Something that is wrong with a configuration, and the unique ID of the publisher that it is about, if it is
// about one.
struct ConfigurationError {
    std::optional<std::string> publisherID;
    std::string text;
};

struct PublisherEntries {
    std::uint32_t modificationCount = 0;
    std::vector<PublisherEntry> entries; // those that are in order
    std::vector<ConfigurationError> errors;
    bool isUnreadable = false; // as a whole: there are no entries
};

// `instance` is the instance name of the configuration. A map without any entry is a configuration that has
// been created but not yet filled: no entries, no errors.
PublisherEntries publisherEntries(std::string const& instance, cppmicroservices::AnyMap const& configuration);

// The instance name of a publisher's configuration. Different pairs give different names, whatever characters
// they hold.
std::string publisherInstanceName(std::string const& instance, std::string const& publisherID);

} // namespace agent::spf::bundles::framework

#endif
