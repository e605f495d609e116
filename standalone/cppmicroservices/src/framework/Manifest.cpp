// A bundle's manifest: what its JSON text says.
#include "Manifest.hpp"

#include "cppmicroservices/Constants.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

namespace {

using Json = nlohmann::json;

constexpr std::size_t maximumDepth = 64;

AnyMap toMap(Json const& object, std::size_t depth);

Any toNumber(std::int64_t number) {
    bool const fits = number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
    return fits ? Any(static_cast<int>(number)) : Any(static_cast<long>(number));
}

Any toAny(Json const& value, std::size_t depth) {
    if (depth > maximumDepth) {
        throw std::runtime_error("the manifest is nested too deeply");
    }
    switch (value.type()) {
    case Json::value_t::object:
        return toMap(value, depth);
    case Json::value_t::array: {
        std::vector<Any> elements;
        for (auto const& element : value) {
            if (!element.is_null()) {
                elements.push_back(toAny(element, depth + 1));
            }
        }
        return elements;
    }
    case Json::value_t::string:
        return value.get<std::string>();
    case Json::value_t::boolean:
        return value.get<bool>();
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
        return toNumber(value.get<std::int64_t>());
    default:
        return value.get<double>();
    }
}

AnyMap toMap(Json const& object, std::size_t depth) {
    AnyMap map(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& [key, value] : object.items()) {
        if (value.is_null()) {
            continue;
        }
        if (!map.emplace(key, toAny(value, depth + 1)).second) {
            throw std::runtime_error("the manifest has the key \"" + key + "\" twice");
        }
    }
    return map;
}

void removeTranslationMarks(AnyMap& headers) {
    for (auto& [key, value] : headers) {
        auto* const text = any_cast<std::string>(&value);
        if (text && !text->empty() && text->front() == '%') {
            text->erase(0, 1);
        }
    }
}

/// The header's value; null if there is none. \throws std::runtime_error if it is of another type
std::string const* findText(AnyMap const& headers, std::string const& key) {
    auto const found = headers.find(key);
    if (found == headers.end()) {
        return nullptr;
    }
    auto const* const value = any_cast<std::string>(&found->second);
    if (!value) {
        throw std::runtime_error("its manifest's \"" + key + "\" must be a text");
    }
    return value;
}

BundleVersion versionOf(AnyMap const& headers) {
    auto const* const text = findText(headers, Constants::BUNDLE_VERSION);
    if (!text) {
        return BundleVersion::EmptyVersion();
    }
    try {
        return BundleVersion(*text);
    } catch (std::invalid_argument const& error) {
        throw std::runtime_error("its manifest's \"" + Constants::BUNDLE_VERSION +
                                 "\" is no version: " + error.what());
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
    auto headers = toMap(manifest, 0);
    removeTranslationMarks(headers);
    return headers;
}

Manifest interpretHeaders(AnyMap headers) {
    auto const* const name = findText(headers, Constants::BUNDLE_SYMBOLICNAME);
    if (!name || name->empty()) {
        throw std::runtime_error("its manifest has no \"" + Constants::BUNDLE_SYMBOLICNAME + "\"");
    }
    return {*name, versionOf(headers), hasActivator(headers), std::move(headers)};
}

} // namespace cppmicroservices::detail
