// Reads a property map from JSON.
#ifndef AGENT_SPF_BUNDLES_JSON_JSON_READER_HPP
#define AGENT_SPF_BUNDLES_JSON_JSON_READER_HPP

#include <string_view>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::bundles::json {

// As Serialiser::parse.
cppmicroservices::AnyMap readJson(std::string_view text);

} // namespace agent::spf::bundles::json

#endif
