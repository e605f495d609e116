#include "transcript.hpp"

#include "values.hpp"

#include <boost/core/demangle.hpp>

#include <typeinfo>

namespace randomised {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

std::string inQuotes(std::string_view text) {
    constexpr char const* digits = "0123456789abcdef";
    std::string result = "\"";
    for (char const c : text) {
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            auto const byte = static_cast<unsigned char>(c);
            result += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
        }
    }
    return result + '"';
}

std::string textOf(std::exception const& error) {
    return boost::core::demangle(typeid(error).name()) + ": " + inQuotes(error.what());
}

std::string textOf(Any const& value) {
    if (auto const* map = cppmicroservices::any_cast<AnyMap>(&value)) {
        return textOf(*map);
    }
    return typeName(value) + " " + inQuotes(value.ToJSON());
}

std::string textOf(AnyMap const& map) {
    std::string result = "kind " + std::to_string(map.GetType()) + " {";
    for (auto const& key : sortedKeys(map)) {
        result += (result.back() == '{' ? "" : ", ") + inQuotes(key) + ": " + textOf(map.at(key));
    }
    return result + "}";
}

} // namespace randomised
