// A bundle's manifest: what its JSON text says.
#include "Manifest.hpp"

#include "cppmicroservices/Constants.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

namespace cppmicroservices::detail {

namespace {

using Json = nlohmann::json;

constexpr std::size_t maximumDepth = 64;

// Makes headers of the parser's events: a tree of JSON values in between would end the process when it is
// destroyed without memory.
class HeadersReader {
public:
    // What the text holds; empty before the end of the text and for null.
    Any& root() { return root_; }

    bool null() { return true; }
    bool boolean(bool value) { return add(value); }
    bool number_integer(std::int64_t value) { return value < lowestInt || add(static_cast<int>(value)); }
    bool number_unsigned(std::uint64_t value) { return value > highestInt || add(static_cast<int>(value)); }
    bool number_float(double value, std::string const&) { return add(value); }
    bool string(std::string& value) {
        auto const isMarkedForTranslation = !value.empty() && value.front() == '%';
        return add(value.substr(isMarkedForTranslation ? 1 : 0));
    }
    bool binary(Json::binary_t&) { return false; } // there is none in a text

    bool start_object(std::size_t) { return open(AnyMap(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS)); }
    bool key(std::string& name) {
        unfinished_.back().key = std::move(name);
        return true;
    }
    bool end_object() { return close(); }
    bool start_array(std::size_t) { return open(std::vector<Any>()); }
    bool end_array() { return close(); }

    bool parse_error(std::size_t, std::string const&, Json::exception const& error) {
        throw std::runtime_error(std::string("its manifest is no JSON: ") + error.what());
    }

private:
    static constexpr std::int64_t lowestInt = std::numeric_limits<int>::min();
    static constexpr std::uint64_t highestInt = std::numeric_limits<int>::max();

    struct Container {
        std::variant<AnyMap, std::vector<Any>> values;
        std::string key; // of the next value, in a map
    };

    bool open(std::variant<AnyMap, std::vector<Any>> values) {
        if (unfinished_.size() > maximumDepth) {
            throw std::runtime_error("the manifest is nested too deeply");
        }
        unfinished_.push_back({std::move(values), {}});
        return true;
    }

    bool close() {
        auto values = std::visit([](auto& held) { return Any(std::move(held)); }, unfinished_.back().values);
        unfinished_.pop_back();
        return add(std::move(values));
    }

    bool add(Any value) {
        if (unfinished_.empty()) {
            root_ = std::move(value);
        } else if (auto& [values, key] = unfinished_.back(); auto* const map = std::get_if<AnyMap>(&values)) {
            addTo(*map, key, std::move(value));
        } else {
            std::get<std::vector<Any>>(values).push_back(std::move(value));
        }
        return true;
    }

    static void addTo(AnyMap& map, std::string const& key, Any value) {
        auto const [entry, isNew] = map.emplace(key, std::move(value));
        if (!isNew && entry->first == key) {
            throw std::runtime_error("its manifest has the key \"" + key + "\" twice in one object");
        }
    }

    Any root_;
    std::vector<Container> unfinished_; // each within the one before
};

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

// Whatever is not true or false stands for false; who starts the bundle is warned.
bool hasActivator(AnyMap const& headers) {
    auto const found = headers.find(Constants::BUNDLE_ACTIVATOR);
    auto const* const value = found == headers.end() ? nullptr : any_cast<bool>(&found->second);
    return value != nullptr && *value;
}

} // namespace

AnyMap parseHeaders(std::string const& text) {
    HeadersReader reader;
    Json::sax_parse(text, &reader);
    auto* const headers = any_cast<AnyMap>(&reader.root());
    if (!headers) {
        throw std::runtime_error("its manifest is no JSON object");
    }
    return std::move(*headers);
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
