// Finding entries and checking their types.
#include "agent/spf/bundles/common/Properties.hpp"

#include <stdexcept>

namespace agent::spf::bundles {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

template <class T>
T const& valueAt(AnyMap const& map, std::string const& key, std::string const& where, char const* expected) {
    auto const found = map.find(key);
    if (found == map.end()) {
        throw std::runtime_error(where + ": \"" + key + "\" is missing, expected " + expected);
    }
    auto const* const value = cppmicroservices::any_cast<T>(&found->second);
    if (!value) {
        throw std::runtime_error(where + ": \"" + key + "\" is not " + expected);
    }
    return *value;
}

} // namespace

AnyMap makeMap() {
    return AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

std::string const& stringAt(AnyMap const& map, std::string const& key, std::string const& where) {
    return valueAt<std::string>(map, key, where, "a string");
}

int intAt(AnyMap const& map, std::string const& key, std::string const& where) {
    return valueAt<int>(map, key, where, "an integer");
}

AnyList const& listAt(AnyMap const& map, std::string const& key, std::string const& where) {
    return valueAt<AnyList>(map, key, where, "a list");
}

AnyMap const& mapAt(AnyMap const& map, std::string const& key, std::string const& where) {
    return valueAt<AnyMap>(map, key, where, "a map");
}

AnyMap const& asMap(Any const& value, std::string const& where) {
    auto const* const map = cppmicroservices::any_cast<AnyMap>(&value);
    if (!map) {
        throw std::runtime_error(where + " is not a map");
    }
    return *map;
}

std::string stringOrEmpty(AnyMap const& map, std::string const& key) {
    auto const found = map.find(key);
    auto const* const text =
        found == map.end() ? nullptr : cppmicroservices::any_cast<std::string>(&found->second);
    return text ? *text : std::string();
}

} // namespace agent::spf::bundles
