// Property values as texts.
#include "support/describe.hpp"

#include <map>
#include <vector>

namespace agent::spf::frameworksetup::test {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

namespace {

std::string joined(std::string const& left, std::string const& right) {
    return left.empty() ? right : left + ", " + right;
}

std::string typeOf(AnyMap const& map) {
    switch (map.GetType()) {
    case AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS:
        return "";
    case AnyMap::UNORDERED_MAP:
        return "unordered";
    case AnyMap::ORDERED_MAP:
        return "ordered";
    }
    return "unknown";
}

} // namespace

std::string describe(Any const& value) {
    if (value.Empty()) {
        return "<empty>";
    }
    if (auto const* const text = any_cast<std::string>(&value)) {
        return '"' + *text + '"';
    }
    if (auto const* const number = any_cast<int>(&value)) {
        return std::to_string(*number);
    }
    if (auto const* const map = any_cast<AnyMap>(&value)) {
        return describe(*map);
    }
    if (auto const* const list = any_cast<std::vector<Any>>(&value)) {
        std::string elements;
        for (auto const& element : *list) {
            elements = joined(elements, describe(element));
        }
        return '[' + elements + ']';
    }
    return std::string("<") + value.Type().name() + '>';
}

std::string describe(AnyMap const& map) {
    std::map<std::string, std::string> sorted;
    for (auto const& [key, value] : map) {
        sorted[key] = describe(value);
    }
    std::string entries;
    for (auto const& [key, value] : sorted) {
        entries = joined(entries, key + ": " + value);
    }
    return typeOf(map) + '{' + entries + '}';
}

} // namespace agent::spf::frameworksetup::test
