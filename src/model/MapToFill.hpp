// What a property map is filled as.
#ifndef MODEL_MAP_TO_FILL_HPP
#define MODEL_MAP_TO_FILL_HPP

#include <cstddef>
#include <type_traits>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksetup {

// An empty map, to be filled and then moved into an AnyMap, which ignores the case of its keys. It is an
// AnyMap itself where that costs least. Where an iterator of an AnyMap is more than a pointer, the map
// allocates one for each walk along its entries, and a standard map is faster.
using MapToFill = std::conditional_t<std::is_trivially_copyable_v<cppmicroservices::AnyMap::iterator>,
                                     cppmicroservices::AnyMap, cppmicroservices::AnyMap::unordered_any_cimap>;

// Prepares for that many entries.
inline void reserve(cppmicroservices::AnyMap::unordered_any_cimap& map, std::size_t entries) {
    map.reserve(entries);
}
inline void reserve(cppmicroservices::AnyMap& /*map*/, std::size_t /*entries*/) {
    // It needs no preparation.
}

// Makes copies of a map of that many entries cheaper: so few need no table of buckets.
inline void spareBuckets(cppmicroservices::AnyMap::unordered_any_cimap& map, std::size_t entries) {
    map.max_load_factor(static_cast<float>(4 * entries + 11));
}
inline void spareBuckets(cppmicroservices::AnyMap& /*map*/, std::size_t /*entries*/) {
    // It has none.
}

} // namespace agent::spf::frameworksetup

#endif
