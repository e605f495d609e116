// The property map as which a configuration is published.
#ifndef PUBLICATION_ENCODE_CONFIGURATION_HPP
#define PUBLICATION_ENCODE_CONFIGURATION_HPP

#include <cstdint>

#include <cppmicroservices/AnyMap.h>

#include "model/modelContainers.hpp"

namespace agent::spf::frameworksetup {

// Encodes a configuration: the interfaces, the publishers, and which goes out through which. Every map has
// case-insensitive keys, every list is a std::vector<Any>, every integer an int.
cppmicroservices::AnyMap encodeConfiguration(ServiceInterfaces const& interfaces,
                                             ServicePublishers const& publishers,
                                             ServiceMappings const& mappings, std::int32_t modificationCount);

} // namespace agent::spf::frameworksetup

#endif
