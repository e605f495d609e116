// Following compound keys ("a.b.0") through nested maps and vectors.
#include "cppmicroservices/AnyMap.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices {

namespace {

using AnyVector = std::vector<Any>;

struct SplitKey {
    std::string head;
    std::optional<std::string> tail; // none if this is the last name
};

SplitKey split(std::string const& key) {
    auto const dot = key.find('.');
    if (dot == std::string::npos) {
        return {key, std::nullopt};
    }
    return {key.substr(0, dot), key.substr(dot + 1)};
}

// AtCompoundKey() that throws.

Any const& valueAt(AnyMap const& map, std::string const& key);
Any const& valueAt(AnyVector const& vector, std::string const& key);

Any const& descend(Any const& value, SplitKey const& key) {
    if (!key.tail) {
        return value;
    }
    if (auto const* const map = any_cast<AnyMap>(&value)) {
        return valueAt(*map, *key.tail);
    }
    if (auto const* const vector = any_cast<AnyVector>(&value)) {
        return valueAt(*vector, *key.tail);
    }
    throw std::invalid_argument("Unsupported Any type at '" + key.head + "' for dotted get");
}

Any const& valueAt(AnyMap const& map, std::string const& key) {
    auto const parts = split(key);
    return descend(map.at(parts.head), parts);
}

// Negative indices count from the end. std::stoi takes the leading number and throws if there is none.
Any const& valueAt(AnyVector const& vector, std::string const& key) {
    auto const parts = split(key);
    int const index = std::stoi(parts.head);
    std::size_t const fromFront = (index < 0 ? vector.size() : 0) + static_cast<std::size_t>(index);
    return descend(vector.at(fromFront), parts);
}

// AtCompoundKey() with a default value: null where the other throws. It differs in vectors only: a dot behind
// the last index means nothing, and the negative index of the first element is not known.

Any const* findValue(AnyMap const& map, std::string const& key);
Any const* findValue(AnyVector const& vector, std::string const& key);

Any const* findBelow(Any const& value, std::string const& key) {
    if (auto const* const map = any_cast<AnyMap>(&value)) {
        return findValue(*map, key);
    }
    if (auto const* const vector = any_cast<AnyVector>(&value)) {
        return findValue(*vector, key);
    }
    return nullptr;
}

Any const* findValue(AnyMap const& map, std::string const& key) {
    auto const parts = split(key);
    auto const entry = map.find(parts.head);
    if (entry == map.end()) {
        return nullptr;
    }
    return parts.tail ? findBelow(entry->second, *parts.tail) : &entry->second;
}

std::optional<int> leadingInt(std::string const& text) {
    char* end = nullptr;
    int const errorBefore = std::exchange(errno, 0);
    long const number = std::strtol(text.c_str(), &end, 10);
    bool const overflows = std::exchange(errno, errorBefore) == ERANGE ||
                           number < std::numeric_limits<int>::min() ||
                           number > std::numeric_limits<int>::max();
    return overflows || end == text.c_str() ? std::nullopt : std::optional<int>(static_cast<int>(number));
}

Any const* findValue(AnyVector const& vector, std::string const& key) {
    auto const parts = split(key);
    auto const index = leadingInt(parts.head);
    auto const size = static_cast<std::ptrdiff_t>(vector.size());
    if (!index || *index >= size || *index <= -size) {
        return nullptr;
    }
    Any const& value = vector[static_cast<std::size_t>(*index < 0 ? size + *index : *index)];
    return parts.tail && !parts.tail->empty() ? findBelow(value, *parts.tail) : &value;
}

} // namespace

AnyMap::mapped_type const& AnyMap::AtCompoundKey(key_type const& key) const {
    return valueAt(*this, key);
}

AnyMap::mapped_type AnyMap::AtCompoundKey(key_type const& key, mapped_type defaultValue) const noexcept {
    try {
        if (Any const* const value = findValue(*this, key)) {
            return *value;
        }
    } catch (...) {
        // There is no memory to find or copy the value, or its type refuses to be copied.
    }
    return defaultValue;
}

} // namespace cppmicroservices
