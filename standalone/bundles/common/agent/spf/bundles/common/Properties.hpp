// Reading of property maps, with errors that say which entry is wrong and what was expected.
#ifndef AGENT_SPF_BUNDLES_COMMON_PROPERTIES_HPP
#define AGENT_SPF_BUNDLES_COMMON_PROPERTIES_HPP

#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::bundles {

using AnyList = std::vector<cppmicroservices::Any>;

// An empty map of the type that every property map has.
cppmicroservices::AnyMap makeMap();

// The value under `key` of `map`, which `where` names in errors. Throw std::runtime_error when there is none
// or when it is of another type.
std::string const& stringAt(cppmicroservices::AnyMap const& map, std::string const& key,
                            std::string const& where);
int intAt(cppmicroservices::AnyMap const& map, std::string const& key, std::string const& where);
AnyList const& listAt(cppmicroservices::AnyMap const& map, std::string const& key, std::string const& where);
cppmicroservices::AnyMap const& mapAt(cppmicroservices::AnyMap const& map, std::string const& key,
                                      std::string const& where);

// `value` as a map, or std::runtime_error with `where`.
cppmicroservices::AnyMap const& asMap(cppmicroservices::Any const& value, std::string const& where);

// The string under `key`, or an empty one when there is none or it is of another type.
std::string stringOrEmpty(cppmicroservices::AnyMap const& map, std::string const& key);

} // namespace agent::spf::bundles

#endif
