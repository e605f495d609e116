// Writes a property map as JSON.
#ifndef AGENT_SPF_BUNDLES_JSON_JSON_WRITER_HPP
#define AGENT_SPF_BUNDLES_JSON_JSON_WRITER_HPP

#include <string>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::bundles::json {

// As Serialiser::serialise.
std::string writeJson(cppmicroservices::AnyMap const& map);

} // namespace agent::spf::bundles::json

#endif
