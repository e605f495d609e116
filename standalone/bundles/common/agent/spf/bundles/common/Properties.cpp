#include "agent/spf/bundles/common/Properties.hpp"

#include <stdexcept>

namespace agent::spf::bundles {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

template <class T>
T const& valueAt(AnyMap const& map, std::string const& key, std::string const& where, char const* expected) {
    if (map.count(key) == 0) {
        throw std::runtime_error(where + ": \"" + key + "\" is missing, expected " + expected);
    }
    auto const& value = map.at(key);
    if (value.Type() != typeid(T)) {
        throw std::runtime_error(where + ": \"" + key + "\" is not " + expected);
    }
    return cppmicroservices::ref_any_cast<T>(value);
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
    if (value.Type() != typeid(AnyMap)) {
        throw std::runtime_error(where + " is not a map");
    }
    return cppmicroservices::ref_any_cast<AnyMap>(value);
}

std::string stringOr(AnyMap const& map, std::string const& key) {
    if (map.count(key) == 0 || map.at(key).Type() != typeid(std::string)) {
        return {};
    }
    return cppmicroservices::ref_any_cast<std::string>(map.at(key));
}

} // namespace agent::spf::bundles
