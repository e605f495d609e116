// AnyMap and any_map: what distinguishes the three kinds, and how maps are made of standard ones.
#include "cppmicroservices/AnyMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::any_cast;
using cppmicroservices::any_map;
using cppmicroservices::AnyMap;

std::vector<std::string> keysOf(AnyMap const& map) {
    std::vector<std::string> keys;
    for (auto const& entry : map) {
        keys.push_back(entry.first);
    }
    return keys;
}

TEST(AnyMap, IgnoresCaseByDefault) {
    EXPECT_EQ(AnyMap().GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ((AnyMap{{"a", 1}}).GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

TEST(AnyMap, OrderedKindIteratesInTheOrderOfTheKeys) {
    AnyMap map(AnyMap::ORDERED_MAP);
    std::vector<std::string> expected;
    for (int i = 0; i < 1000; ++i) {
        std::string const key = std::to_string((i * 617) % 1000);
        map[key] = i;
        expected.push_back(key);
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(keysOf(map), expected);
    EXPECT_EQ(keysOf(AnyMap(map)), expected);
}

TEST(AnyMap, OrderedKindComparesKeysBytewise) {
    AnyMap const map(AnyMap::ORDERED_MAP,
                     {{"b", 1}, {"\xc3\xa4", 1}, {"B", 1}, {"", 1}, {"ab", 1}, {"a", 1}});
    EXPECT_EQ(keysOf(map), (std::vector<std::string>{"", "B", "a", "ab", "b", "\xc3\xa4"}));
}

TEST(AnyMap, IsMadeOfStandardMapsOfTheCorrespondingKind) {
    AnyMap::ordered_any_map const ordered{{"a", 1}, {"A", 2}};
    AnyMap::unordered_any_map const unordered{{"a", 1}, {"A", 2}};
    AnyMap::unordered_any_cimap const caseInsensitive{{"a", 1}, {"A", 2}};
    EXPECT_EQ(AnyMap(ordered).GetType(), AnyMap::ORDERED_MAP);
    EXPECT_EQ(AnyMap(unordered).GetType(), AnyMap::UNORDERED_MAP);
    EXPECT_EQ(AnyMap(caseInsensitive).GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(AnyMap(ordered).size(), 2u);
    EXPECT_EQ(AnyMap(unordered).size(), 2u);
    EXPECT_EQ(AnyMap(caseInsensitive).size(), 1u);
    EXPECT_EQ(any_cast<int>(AnyMap(unordered).at("A")), 2);
}

TEST(AnyMap, TakesOverStandardMapsByMove) {
    AnyMap::ordered_any_map ordered{{"a", std::vector<int>{1}}};
    int const* const data = cppmicroservices::ref_any_cast<std::vector<int>>(ordered["a"]).data();
    AnyMap const map(std::move(ordered));
    EXPECT_EQ(cppmicroservices::ref_any_cast<std::vector<int>>(map.at("a")).data(), data);
    EXPECT_EQ(AnyMap(AnyMap::unordered_any_map{{"a", 1}}).size(), 1u);
    EXPECT_EQ(AnyMap(AnyMap::unordered_any_cimap{{"a", 1}}).size(), 1u);
}

TEST(AnyMap, RefusesAnUnknownKind) {
    EXPECT_THROW(AnyMap(static_cast<AnyMap::map_type>(7)), std::logic_error);
}

TEST(AnyMap, BaseCanBeUsedAlone) {
    any_map map(any_map::ORDERED_MAP, {{"a", 1}});
    map["b"] = 2;
    EXPECT_EQ(map.size(), 2u);
    EXPECT_TRUE(map == any_map(map));
}

TEST(AnyMap, KeyFunctorsIgnoreCase) {
    EXPECT_TRUE(cppmicroservices::detail::any_map_ciequal()("aB", "Ab"));
    EXPECT_FALSE(cppmicroservices::detail::any_map_ciequal()("aB", "AbC"));
    EXPECT_EQ(cppmicroservices::detail::any_map_cihash()("aB"),
              cppmicroservices::detail::any_map_cihash()("Ab"));
}

} // namespace
