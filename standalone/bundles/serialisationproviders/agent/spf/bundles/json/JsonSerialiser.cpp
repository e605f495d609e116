// Passes on to the reader and the writer.
#include "agent/spf/bundles/json/JsonSerialiser.hpp"

#include "agent/spf/bundles/json/JsonReader.hpp"
#include "agent/spf/bundles/json/JsonWriter.hpp"

namespace agent::spf::bundles::json {

std::string JsonSerialiser::serialise(cppmicroservices::AnyMap const& map) const {
    return writeJson(map);
}

cppmicroservices::AnyMap JsonSerialiser::parse(std::string_view text) const {
    return readJson(text);
}

} // namespace agent::spf::bundles::json
