// A bundle's manifest: what its JSON text says.
#include "Manifest.hpp"

#include "cppmicroservices/Constants.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t maximumDepth = 64;

AnyMap toMap(Json const& object, std::size_t depth);

std::string withoutTranslationMark(std::string text) {
    if (!text.empty() && text.front() == '%') {
        text.erase(0, 1);
    }
    return text;
}

bool fitsInt(Json const& number) {
    if (number.is_number_unsigned()) {
        return number.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    }
    return number.get<std::int64_t>() >= std::numeric_limits<int>::min();
}

/// Empty for what is left out.
Any toAny(Json const& value, std::size_t depth) {
    if (depth > maximumDepth) {
        throw std::runtime_error("the manifest is nested too deeply");
    }
    switch (value.type()) {
    case Json::value_t::null:
        return {};
    case Json::value_t::object:
        return toMap(value, depth);
    case Json::value_t::array: {
        std::vector<Any> elements;
        for (auto const& element : value) {
            if (auto any = toAny(element, depth + 1); !any.Empty()) {
                elements.push_back(std::move(any));
            }
        }
        return elements;
    }
    case Json::value_t::string:
        return withoutTranslationMark(value.get<std::string>());
    case Json::value_t::boolean:
        return value.get<bool>();
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
        return fitsInt(value) ? Any(value.get<int>()) : Any();
    default:
        return value.get<double>();
    }
}

AnyMap toMap(Json const& object, std::size_t depth) {
    AnyMap map(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& [key, value] : object.items()) {
        if (auto any = toAny(value, depth + 1); !any.Empty()) {
            map.emplace(key, std::move(any));
        }
    }
    return map;
}

BundleVersion readVersion(Any const& header) {
    if (header.Empty()) {
        throw std::invalid_argument("The version identifier is invalid: empty any");
    }
    auto const* const text = any_cast<std::string>(&header);
    if (!text) {
        throw std::invalid_argument("The version identifier must be a string");
    }
    try {
        return BundleVersion(*text);
    } catch (std::invalid_argument const& error) {
        throw std::invalid_argument(std::string("The version identifier is invalid: ") + error.what());
    }
}

BundleVersion versionOf(AnyMap const& headers, std::string const& name, std::string const& location) {
    auto const found = headers.find(Constants::BUNDLE_VERSION);
    if (found == headers.end()) {
        return BundleVersion::EmptyVersion();
    }
    try {
        return readVersion(found->second);
    } catch (std::invalid_argument const& error) {
        throw std::runtime_error("The Json value for " + Constants::BUNDLE_VERSION + " for bundle " + name +
                                 " (location=" + location + ") is not valid: " + error.what());
    }
}

void requireName(AnyMap const& headers, std::string const& name, std::string const& location) {
    auto const found = headers.find(Constants::BUNDLE_SYMBOLICNAME);
    if (found == headers.end()) {
        throw std::runtime_error(Constants::BUNDLE_SYMBOLICNAME +
                                 " is not defined in the bundle manifest for bundle " + name +
                                 " (location=" + location + ").");
    }
    auto const* const text = any_cast<std::string>(&found->second);
    if (found->second.Empty() || (text && text->empty())) {
        throw std::runtime_error(Constants::BUNDLE_SYMBOLICNAME +
                                 " is empty in the bundle manifest for bundle " + name +
                                 "(location=" + location + ").");
    }
}

/// Whatever is not true or false stands for false; who starts the bundle is warned.
bool hasActivator(AnyMap const& headers) {
    auto const found = headers.find(Constants::BUNDLE_ACTIVATOR);
    auto const* const value = found == headers.end() ? nullptr : any_cast<bool>(&found->second);
    return value != nullptr && *value;
}

} // namespace

AnyMap parseHeaders(std::string const& text) {
    Json manifest;
    try {
        manifest = Json::parse(text);
    } catch (Json::exception const& error) {
        throw std::runtime_error(std::string("its manifest is no JSON: ") + error.what());
    }
    if (!manifest.is_object()) {
        throw std::runtime_error("its manifest is no JSON object");
    }
    return toMap(manifest, 0);
}

std::string nameIn(AnyMap const& headers) {
    auto const found = headers.find(Constants::BUNDLE_SYMBOLICNAME);
    auto const* const name = found == headers.end() ? nullptr : any_cast<std::string>(&found->second);
    if (!name || name->empty()) {
        throw std::runtime_error("its manifest has no \"" + Constants::BUNDLE_SYMBOLICNAME + "\"");
    }
    return *name;
}

Manifest interpretHeaders(std::string name, std::string const& location, AnyMap headers) {
    auto const version = versionOf(headers, name, location);
    requireName(headers, name, location);
    return {std::move(name), version, hasActivator(headers), std::move(headers)};
}

} // namespace cppmicroservices::detail
