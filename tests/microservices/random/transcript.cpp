// The lines of a transcript.
#include "transcript.hpp"

#include "values.hpp"

#include <cppmicroservices/ServiceException.h>

#include <boost/core/demangle.hpp>

#include <typeinfo>
#include <vector>

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
    // It may hold the exception that it comes from, and is of a class derived from both then.
    bool const isOfService = dynamic_cast<cppmicroservices::ServiceException const*>(&error) != nullptr;
    auto const& type = isOfService ? typeid(cppmicroservices::ServiceException) : typeid(error);
    return boost::core::demangle(type.name()) + ": " + inQuotes(error.what());
}

std::string textOf(Any const& value) {
    if (auto const* map = cppmicroservices::any_cast<AnyMap>(&value)) {
        return textOf(*map);
    }
    if (hasManyTexts(value)) {
        std::string result = typeName(value) + " [";
        for (auto const& element : cppmicroservices::ref_any_cast<std::vector<Any>>(value)) {
            result += (result.back() == '[' ? "" : ", ") + textOf(element);
        }
        return result + "]";
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
