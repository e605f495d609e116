// The text forms of AnyMap.
#include "cppmicroservices/AnyMap.h"

#include <ostream>

namespace cppmicroservices {

namespace {

char const* nameOf(any_map::map_type type) {
    switch (type) {
    case any_map::ORDERED_MAP:
        return "ORDERED_MAP";
    case any_map::UNORDERED_MAP:
        return "UNORDERED_MAP";
    case any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS:
        break;
    }
    return "UNORDERED_MAP_CASEINSENSITIVE_KEYS";
}

} // namespace

template <>
std::ostream& any_value_to_string(std::ostream& os, AnyMap const& val) {
    return detail::mapToString(os, val, [&os](Any const& value) { any_value_to_string(os, value); });
}

template <>
std::ostream& any_value_to_json(std::ostream& os, AnyMap const& val, std::uint8_t const increment,
                                std::int32_t const indent) {
    return detail::mapToJson(os, val, increment, indent, [&](Any const& value) {
        any_value_to_json(os, value, increment, indent + increment);
    });
}

// Indents its entries by one level more than other containers do.
template <>
std::ostream& any_value_to_cpp(std::ostream& os, AnyMap const& val, std::uint8_t const increment,
                               std::int32_t const indent) {
    os << "AnyMap { " << nameOf(val.GetType()) << ", {";
    if (!val.empty()) {
        std::int32_t const entryIndent = indent + increment;
        detail::printSeparated(os, val.begin(), val.end(), ", ", [&](auto const& entry) {
            newline_and_indent(os, increment, entryIndent);
            os << "{\"" << entry.first << "\" , ";
            any_value_to_cpp(os, entry.second, increment, entryIndent + increment);
            os << "}";
        });
        newline_and_indent(os, increment, indent - increment);
    }
    return os << "}}";
}

} // namespace cppmicroservices
