// Property maps that share their keys.
#ifndef PUBLICATION_MAP_TEMPLATE_HPP
#define PUBLICATION_MAP_TEMPLATE_HPP

#include <array>
#include <cstddef>
#include <utility>

#include <cppmicroservices/AnyMap.h>

#include "model/MapToFill.hpp"

namespace agent::spf::frameworksetup {

// A property map with N keys and without values. Maps with these keys are made by copying it and filling the
// values in, so that no key is hashed again. Constant after construction; thread safe.
template <std::size_t N>
class MapTemplate {
public:
    explicit MapTemplate(std::array<char const*, N> const& keys) {
        spareBuckets(map, N);
        for (auto const* key : keys) {
            map[key];
        }
        // A copy has the entries in the same order as every other copy, in libstdc++'s tables and in those of
        // the standalone provider.
        MapToFill const copy(map);
        std::size_t position = 0;
        for (auto const& entry : copy) {
            for (std::size_t key = 0; key < N; ++key) {
                if (entry.first == keys[key]) {
                    valueAt[position] = key;
                }
            }
            ++position;
        }
    }

    // The map with these values, in the order in which the keys were given.
    template <typename... Values>
    cppmicroservices::AnyMap with(Values&&... values) const {
        static_assert(sizeof...(Values) == N, "one value for each key");
        MapToFill filled(map);
        std::array<cppmicroservices::Any*, N> slots{};
        std::size_t position = 0;
        for (auto& entry : filled) {
            slots[valueAt[position++]] = &entry.second;
        }
        std::size_t next = 0;
        ((*slots[next++] = std::forward<Values>(values)), ...);
        return cppmicroservices::AnyMap(std::move(filled));
    }

private:
    MapToFill map;
    std::array<std::size_t, N> valueAt{}; // which of the given keys is at which position of a copy
};

} // namespace agent::spf::frameworksetup

#endif
