// The property maps that the benchmarks of the value types work on.
#ifndef BENCH_MICROSERVICES_MAPS_HPP
#define BENCH_MICROSERVICES_MAPS_HPP

#include "cppmicroservices/AnyMap.h"

#include <cstddef>
#include <string>
#include <vector>

namespace valuesbench {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

inline constexpr AnyMap::map_type kOrdered = AnyMap::ORDERED_MAP;
inline constexpr AnyMap::map_type kHashed = AnyMap::UNORDERED_MAP;
inline constexpr AnyMap::map_type kCaseInsensitive = AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS;

// Neither sorted nor all short enough for a small-string buffer.
inline std::vector<std::string> makeKeys(std::size_t count) {
    std::vector<std::string> keys;
    keys.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto const number = std::to_string((i * 7919) % 1000003);
        keys.push_back(i % 4 == 0 ? "configuration.property." + number : "key." + number);
    }
    return keys;
}

inline Any makeValue(std::size_t i) {
    switch (i % 4) {
    case 0:
        return static_cast<int>(i);
    case 1:
        return std::string("short text");
    case 2:
        return std::string("a text that no small-string buffer can hold");
    default:
        return i % 8 == 3;
    }
}

inline AnyMap makeMap(AnyMap::map_type kind, std::vector<std::string> const& keys) {
    AnyMap map(kind);
    for (std::size_t i = 0; i < keys.size(); ++i) {
        map[keys[i]] = makeValue(i);
    }
    return map;
}

} // namespace valuesbench

#endif
