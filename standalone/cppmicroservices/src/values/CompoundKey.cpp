// Following compound keys ("a.b.0") through nested maps and vectors.
#include "cppmicroservices/AnyMap.h"

#include <optional>
#include <stdexcept>
#include <string>
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

// Negative indices count from the end. std::stoi takes the leading number and throws if there is none.
Any const& elementAt(AnyVector const& vector, std::string const& name) {
    int const index = std::stoi(name);
    return vector.at(index < 0 ? vector.size() + static_cast<std::size_t>(index)
                               : static_cast<std::size_t>(index));
}

template <typename Container>
Any const& valueAt(Container const& container, std::string const& key);

Any const& descend(Any const& value, SplitKey const& key) {
    if (!key.tail) {
        return value;
    }
    if (auto const* map = any_cast<AnyMap>(&value)) {
        return valueAt(*map, *key.tail);
    }
    if (auto const* vector = any_cast<AnyVector>(&value)) {
        return valueAt(*vector, *key.tail);
    }
    throw std::invalid_argument("Unsupported Any type at '" + key.head + "' for dotted get");
}

template <typename Container>
Any const& valueAt(Container const& container, std::string const& key) {
    auto const parts = split(key);
    if constexpr (std::is_same_v<Container, AnyMap>) {
        return descend(container.at(parts.head), parts);
    } else {
        return descend(elementAt(container, parts.head), parts);
    }
}

} // namespace

AnyMap::mapped_type const& AnyMap::AtCompoundKey(key_type const& key) const {
    return valueAt(*this, key);
}

AnyMap::mapped_type AnyMap::AtCompoundKey(key_type const& key, mapped_type defaultValue) const noexcept {
    try {
        return AtCompoundKey(key);
    } catch (std::exception const&) {
        return defaultValue;
    }
}

} // namespace cppmicroservices
