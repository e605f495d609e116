// AnyMap and any_map: what distinguishes the three kinds, and how maps are made of standard ones.
#include "cppmicroservices/AnyMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <set>
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

// Keys of several families, some of which begin with all of another or with the least or greatest bytes, and
// last those of which all others have something in common.
std::vector<std::string> makeRelatedKeys() {
    std::string const shared = "com.example.";
    std::vector<std::string> keys;
    for (auto const& beginning : {std::string("\xff"), shared + "\xff", shared + "service.",
                                  shared + std::string(100, 'x'), shared + std::string(9, '\0')}) {
        for (int i = 0; i < 400; ++i) {
            keys.push_back(beginning + std::to_string(i * i));
        }
    }
    for (std::size_t length = 0; length <= shared.size(); ++length) {
        keys.push_back(shared.substr(0, length));
        keys.push_back(shared.substr(0, length) + '\0');
    }
    return keys;
}

class OrderedMapBesideASet : public testing::Test {
protected:
    void insert(std::string const& key) {
        ASSERT_EQ(map.insert({key, 1}).second, expected.insert(key).second) << key;
    }

    void erase(std::string const& key) { ASSERT_EQ(map.erase(key), expected.erase(key)) << key; }

    // Goes on with a copy, which must not need the original.
    void expectSameKeys() {
        std::vector<std::string> const inOrder(expected.begin(), expected.end());
        ASSERT_EQ(keysOf(map), inOrder);
        map = AnyMap(map);
        ASSERT_EQ(keysOf(map), inOrder);
        for (auto const& key : keys) {
            ASSERT_EQ(map.count(key), expected.count(key)) << key;
        }
    }

    std::vector<std::string> const keys = makeRelatedKeys();
    AnyMap map{AnyMap::ORDERED_MAP};
    std::set<std::string> expected;
};

TEST_F(OrderedMapBesideASet, KeepsOrderWhileKeysComeAndGo) {
    unsigned random = 1;
    for (unsigned const partToErase : {10u, 50u, 90u}) { // percent: the map grows, stays as large and shrinks
        for (int step = 0; step < 10000; ++step) {
            random = random * 1664525u + 1013904223u;
            auto const& key = keys[(random >> 8) % keys.size()];
            (random >> 4) % 100 < partToErase ? erase(key) : insert(key);
        }
        expectSameKeys();
    }
}

TEST_F(OrderedMapBesideASet, KeepsOrderWhenLaterKeysHaveLessInCommon) {
    for (auto const& key : keys) {
        insert(key);
    }
    expectSameKeys();
}

TEST_F(OrderedMapBesideASet, KeepsOrderOfKeysBehindAllThatHaveSomethingInCommon) {
    for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
        if (key->size() > 20) {
            insert(*key);
        }
    }
    insert("z");
    insert("");
    expectSameKeys();
}

TEST_F(OrderedMapBesideASet, CanBeFilledAgainAfterItsLastKeyWasErased) {
    for (int turn = 0; turn < 2; ++turn) {
        std::for_each(keys.begin(), keys.end(), [this](std::string const& key) { insert(key); });
        expectSameKeys();
        std::for_each(keys.rbegin(), keys.rend(), [this](std::string const& key) { erase(key); });
        expectSameKeys();
    }
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

template <typename Map>
void expectAllEntriesOfALargeMap() {
    constexpr int count = 5000;
    Map standard;
    for (int i = 0; i < count; ++i) {
        standard["key." + std::to_string(i)] = i;
    }
    AnyMap const copied(standard);
    AnyMap const moved(std::move(standard));
    EXPECT_TRUE(copied == moved);
    ASSERT_EQ(copied.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(any_cast<int>(copied.at("key." + std::to_string(i))), i);
    }
    EXPECT_EQ(copied.count("key." + std::to_string(count)), 0u);
}

TEST(AnyMap, FindsEveryEntryOfALargeStandardMap) {
    expectAllEntriesOfALargeMap<AnyMap::ordered_any_map>();
    expectAllEntriesOfALargeMap<AnyMap::unordered_any_map>();
    expectAllEntriesOfALargeMap<AnyMap::unordered_any_cimap>();
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
