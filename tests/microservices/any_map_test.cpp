// AnyMap: the rules that all three kinds share. What one kind alone does stands in any_map_kinds_test.cpp.
#include "cppmicroservices/AnyMap.h"

#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

std::vector<std::string> keysOf(AnyMap const& map) {
    std::vector<std::string> keys;
    for (auto const& entry : map) {
        keys.push_back(entry.first);
    }
    return keys;
}

std::set<std::string> keySetOf(AnyMap const& map) {
    auto const keys = keysOf(map);
    return {keys.begin(), keys.end()};
}

template <typename Function>
std::string outOfRangeMessage(Function function) {
    try {
        function();
    } catch (std::out_of_range const& error) {
        return error.what();
    }
    return "no exception";
}

class AnyMapOfEachKind : public testing::TestWithParam<AnyMap::map_type> {
protected:
    static bool ignoresCase() { return GetParam() == AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS; }

    AnyMap map{GetParam()};
};

std::string nameOfKind(testing::TestParamInfo<AnyMap::map_type> const& info) {
    switch (info.param) {
    case AnyMap::ORDERED_MAP:
        return "Ordered";
    case AnyMap::UNORDERED_MAP:
        return "Unordered";
    default:
        return "CaseInsensitive";
    }
}

INSTANTIATE_TEST_SUITE_P(AnyMap, AnyMapOfEachKind,
                         testing::Values(AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP,
                                         AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS),
                         nameOfKind);

TEST_P(AnyMapOfEachKind, IsEmptyAtFirst) {
    EXPECT_EQ(map.GetType(), GetParam());
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.size(), 0u);
    EXPECT_EQ(map.count("key"), 0u);
    EXPECT_TRUE(map.begin() == map.end());
    EXPECT_TRUE(map.find("key") == map.cend());
}

TEST_P(AnyMapOfEachKind, IndexAddsAnEmptyAny) {
    EXPECT_TRUE(map["key"].Empty());
    EXPECT_EQ(map.size(), 1u);
    map["key"] = 5;
    EXPECT_EQ(any_cast<int>(map["key"]), 5);
    EXPECT_EQ(map.size(), 1u);
}

TEST_P(AnyMapOfEachKind, IndexMovesAKeyIn) {
    std::string key(100, 'k');
    map[std::move(key)] = 1;
    EXPECT_EQ(any_cast<int>(map.at(std::string(100, 'k'))), 1);
}

TEST_P(AnyMapOfEachKind, KeysThatDifferInCaseAreOneKeyOnlyIfTheKindIgnoresCase) {
    map["Key"] = 1;
    map["KEY"] = 2;
    EXPECT_EQ(map.size(), ignoresCase() ? 1u : 2u);
    EXPECT_EQ(any_cast<int>(map.at("Key")), ignoresCase() ? 2 : 1);
    EXPECT_EQ(map.count("key"), ignoresCase() ? 1u : 0u);
    EXPECT_EQ(map.find("kEY") != map.cend(), ignoresCase());
    EXPECT_EQ(map.erase("kEy"), ignoresCase() ? 1u : 0u);
}

TEST_P(AnyMapOfEachKind, ReplacingAValueKeepsTheKeyThatCameFirst) {
    map["Key"] = 1;
    map["Key"] = 2;
    if (ignoresCase()) {
        map["KEY"] = 3;
    }
    EXPECT_EQ(keysOf(map), std::vector<std::string>{"Key"});
}

TEST_P(AnyMapOfEachKind, OnlyTheCaseOfAsciiLettersIsIgnored) {
    map["\xc3\x84[@"] = 1;
    EXPECT_EQ(map.count("\xc3\xa4[@"), 0u);
    EXPECT_EQ(map.count("\xc3\x84{`"), 0u);
    EXPECT_EQ(map.count("\xc3\x84[@"), 1u);
}

TEST_P(AnyMapOfEachKind, KeysMayBeOfAnyLengthAndHoldNulCharacters) {
    for (std::size_t length = 0; length < 40; ++length) {
        map[std::string(length, 'x')] = static_cast<int>(length);
    }
    map[std::string("x\0x", 3)] = 100;
    map[std::string("x\0y", 3)] = 101;
    EXPECT_EQ(map.size(), 42u);
    for (std::size_t length = 0; length < 40; ++length) {
        EXPECT_EQ(any_cast<int>(map.at(std::string(length, 'x'))), static_cast<int>(length));
        EXPECT_EQ(map.count(std::string(length, 'X')), ignoresCase() || length == 0 ? 1u : 0u);
    }
    EXPECT_EQ(any_cast<int>(map.at(std::string("x\0y", 3))), 101);
}

TEST_P(AnyMapOfEachKind, KeysAreToldApartByEachOfTheirCharacters) {
    for (std::size_t length = 1; length <= 40; ++length) {
        SCOPED_TRACE(length);
        AnyMap keys(GetParam());
        auto const keyWithout = [length](std::size_t position) {
            return std::string(length, 'k').replace(position, 1, "x");
        };
        keys[std::string(length, 'k')];
        for (std::size_t position = 0; position < length; ++position) {
            EXPECT_EQ(keys.count(keyWithout(position)), 0u) << position;
            keys[keyWithout(position)] = position;
        }
        EXPECT_EQ(keys.size(), length + 1);
        for (std::size_t position = 0; position < length; ++position) {
            EXPECT_EQ(keys.at(keyWithout(position)), position);
        }
    }
}

TEST_P(AnyMapOfEachKind, AtThrowsOutOfRangeForAMissingKey) {
    AnyMap const& constant = map;
    std::string const message = GetParam() == AnyMap::ORDERED_MAP ? "map::at" : "unordered_map::at";
    EXPECT_EQ(outOfRangeMessage([&] { map.at("key"); }), message);
    EXPECT_EQ(outOfRangeMessage([&] { constant.at("key"); }), message);
    map["other"] = 1;
    EXPECT_EQ(outOfRangeMessage([&] { map.at("key"); }), message);
}

TEST_P(AnyMapOfEachKind, AtGivesTheValueItself) {
    map["key"] = 1;
    map.at("key") = 2;
    AnyMap const& constant = map;
    EXPECT_EQ(any_cast<int>(constant.at("key")), 2);
}

TEST_P(AnyMapOfEachKind, InsertKeepsAnEntryThatIsThere) {
    auto const first = map.insert({"key", 1});
    EXPECT_TRUE(first.second);
    EXPECT_EQ(first.first->first, "key");
    auto const second = map.insert({"key", 2});
    EXPECT_FALSE(second.second);
    EXPECT_EQ(any_cast<int>(second.first->second), 1);
    EXPECT_TRUE(first.first == second.first);
}

TEST_P(AnyMapOfEachKind, EmplaceTakesWhatAPairIsConstructedFrom) {
    EXPECT_TRUE(map.emplace("a", 1).second);
    EXPECT_TRUE(map.emplace("b", Any(2)).second);
    EXPECT_TRUE(map.emplace(std::make_pair(std::string("c"), Any(3))).second);
    EXPECT_TRUE(
        map.emplace(std::piecewise_construct, std::forward_as_tuple("d"), std::forward_as_tuple(4)).second);
    auto const again = map.emplace("a", 5);
    EXPECT_FALSE(again.second);
    EXPECT_EQ(any_cast<int>(again.first->second), 1);
    EXPECT_EQ(map.size(), 4u);
}

TEST_P(AnyMapOfEachKind, EraseTellsHowManyEntriesItRemoved) {
    map["key"] = 1;
    map["other"] = 2;
    EXPECT_EQ(map.erase("none"), 0u);
    EXPECT_EQ(map.erase("key"), 1u);
    EXPECT_EQ(map.erase("key"), 0u);
    EXPECT_EQ(keysOf(map), std::vector<std::string>{"other"});
}

TEST_P(AnyMapOfEachKind, ValuesEndWhenTheyAreReplacedOrErasedOrClearedOrTheMapEnds) {
    auto const value = std::make_shared<int>(7);
    for (long const size : {3, 100}) {
        SCOPED_TRACE(size);
        {
            AnyMap values(GetParam());
            for (long i = 0; i < size; ++i) {
                values[std::to_string(i)] = value;
            }
            EXPECT_EQ(value.use_count(), 1 + size);
            values["0"] = 1;
            EXPECT_EQ(value.use_count(), size);
            values.erase("1");
            EXPECT_EQ(value.use_count(), size - 1);
            AnyMap cleared(values);
            cleared.clear();
            EXPECT_EQ(value.use_count(), size - 1);
        }
        EXPECT_EQ(value.use_count(), 1);
    }
}

TEST_P(AnyMapOfEachKind, ClearRemovesEverythingAndKeepsTheKind) {
    map["key"] = 1;
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.GetType(), GetParam());
    map["key"] = 2;
    EXPECT_EQ(map.size(), 1u);
}

TEST_P(AnyMapOfEachKind, FindGivesTheEntry) {
    map["key"] = 5;
    auto const entry = map.find("key");
    ASSERT_TRUE(entry != map.cend());
    EXPECT_EQ(entry->first, "key");
    EXPECT_EQ(any_cast<int>((*entry).second), 5);
}

TEST_P(AnyMapOfEachKind, IterationVisitsEveryEntryOnce) {
    std::set<std::string> expected;
    for (int i = 0; i < 1000; ++i) {
        map["key" + std::to_string(i)] = i;
        expected.insert("key" + std::to_string(i));
    }
    EXPECT_EQ(keysOf(map).size(), 1000u);
    EXPECT_EQ(keySetOf(map), expected);
}

TEST_P(AnyMapOfEachKind, ValuesCanBeChangedThroughIterators) {
    map["a"] = 1;
    map["b"] = 2;
    for (auto& entry : map) {
        entry.second = any_cast<int>(entry.second) * 10;
    }
    EXPECT_EQ(any_cast<int>(map.at("a")), 10);
    EXPECT_EQ(any_cast<int>(map.at("b")), 20);
}

TEST_P(AnyMapOfEachKind, IteratorsAreForwardIterators) {
    map["a"] = 1;
    map["b"] = 2;
    auto it = map.begin();
    auto const before = it++;
    EXPECT_TRUE(before == map.begin());
    EXPECT_TRUE(it != before);
    EXPECT_TRUE(++it == map.end());
    AnyMap::const_iterator const converted = map.begin();
    EXPECT_TRUE(converted == map.cbegin());
    EXPECT_EQ(std::distance(map.cbegin(), map.cend()), 2);
    static_assert(std::is_convertible_v<AnyMap::iterator, AnyMap::const_iterator>);
    static_assert(std::is_base_of_v<std::forward_iterator_tag,
                                    std::iterator_traits<AnyMap::iterator>::iterator_category>);
}

TEST_P(AnyMapOfEachKind, DefaultConstructedIteratorsBelongToNoMap) {
    EXPECT_TRUE(AnyMap::iterator() == AnyMap::iterator());
    EXPECT_FALSE(AnyMap::iterator() == map.end());
    EXPECT_FALSE(AnyMap::const_iterator() == map.cend());
    AnyMap::iterator it;
    EXPECT_THROW((void)*it, std::logic_error);
    EXPECT_THROW((void)it->second, std::logic_error);
    EXPECT_THROW(++it, std::logic_error);
    EXPECT_THROW(it++, std::logic_error);
}

TEST_P(AnyMapOfEachKind, ReferencesStayValidWhileOthersComeAndGo) {
    Any& value = map["kept"];
    value = 1;
    for (int i = 0; i < 1000; ++i) {
        map["key" + std::to_string(i)] = i;
    }
    for (int i = 0; i < 1000; ++i) {
        map.erase("key" + std::to_string(i));
    }
    EXPECT_EQ(&map["kept"], &value);
    EXPECT_EQ(any_cast<int>(value), 1);
}

TEST_P(AnyMapOfEachKind, SurvivesManyInsertionsAndErasures) {
    std::set<std::string> expected;
    unsigned random = 1;
    for (int step = 0; step < 20000; ++step) {
        random = random * 1664525u + 1013904223u;
        std::string const key = "k" + std::to_string((random >> 16) % 700);
        if (random & 0x8000u) {
            EXPECT_EQ(map.erase(key), expected.erase(key));
        } else {
            EXPECT_EQ(map.insert({key, step}).second, expected.insert(key).second);
        }
    }
    EXPECT_EQ(map.size(), expected.size());
    EXPECT_EQ(keySetOf(map), expected);
    for (auto const& key : expected) {
        EXPECT_EQ(map.count(key), 1u);
    }
}

TEST_P(AnyMapOfEachKind, CopiesKeepTheKindAndAreIndependent) {
    for (int i = 0; i < 100; ++i) {
        map["key" + std::to_string(i)] = i;
    }
    AnyMap copy(map);
    EXPECT_EQ(copy.GetType(), GetParam());
    EXPECT_TRUE(copy == map);
    copy["key5"] = 500;
    copy["new"] = 1;
    EXPECT_EQ(any_cast<int>(map.at("key5")), 5);
    EXPECT_EQ(map.size(), 100u);
    EXPECT_EQ(copy.count("KEY5"), ignoresCase() ? 1u : 0u);
}

TEST_P(AnyMapOfEachKind, CopiesOfSmallMapsOfEverySizeAreEqual) {
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(AnyMap(map) == map) << i;
        map["key" + std::to_string(i)] = i;
    }
}

TEST_P(AnyMapOfEachKind, CopiesOfLargeMapsFindTheirOwnEntries) {
    auto const keyOf = [](int i) { return "key" + std::to_string(i); };
    for (int const step : {1, 3, 2}) { // fills the map, then makes gaps and fills them in another order
        for (int i = 0; i < 300; i += step) {
            if (map.erase(keyOf(i)) == 0) {
                map[keyOf(i)] = i;
            }
        }
        AnyMap copy(map);
        for (auto const& [key, value] : map) {
            EXPECT_EQ(any_cast<int>(copy.at(key)), any_cast<int>(value));
            EXPECT_NE(&copy.at(key), &value);
        }
        for (int i = 0; i < 300; ++i) {
            EXPECT_EQ(copy.erase(keyOf(i)), map.count(keyOf(i)));
        }
        EXPECT_TRUE(copy.empty());
    }
}

TEST_P(AnyMapOfEachKind, AssignmentTakesOverTheKind) {
    map["key"] = 1;
    for (auto const kind :
         {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        AnyMap target(kind, {{"old", 1}});
        target = map;
        EXPECT_EQ(target.GetType(), GetParam());
        EXPECT_EQ(keysOf(target), std::vector<std::string>{"key"});
        AnyMap moveTarget(kind, {{"old", 1}});
        moveTarget = std::move(target);
        EXPECT_EQ(moveTarget.GetType(), GetParam());
        EXPECT_EQ(keysOf(moveTarget), std::vector<std::string>{"key"});
    }
}

TEST_P(AnyMapOfEachKind, SelfAssignmentKeepsTheEntries) {
    map["key"] = 1;
    AnyMap& alias = map;
    map = alias;
    EXPECT_EQ(keysOf(map), std::vector<std::string>{"key"});
}

TEST_P(AnyMapOfEachKind, MovingTakesTheEntriesOver) {
    map["key"] = 1;
    Any const* const value = &map.at("key");
    AnyMap const target(std::move(map));
    EXPECT_EQ(target.GetType(), GetParam());
    EXPECT_EQ(&target.at("key"), value);
    static_assert(std::is_nothrow_move_constructible_v<AnyMap> && std::is_nothrow_move_assignable_v<AnyMap>);
}

TEST_P(AnyMapOfEachKind, MovedFromCanBeAssigned) {
    map["key"] = 1;
    AnyMap target(std::move(map));
    map = target;
    EXPECT_EQ(keysOf(map), std::vector<std::string>{"key"});
    AnyMap other(std::move(map));
    map = std::move(target);
    EXPECT_EQ(keysOf(map), std::vector<std::string>{"key"});
}

TEST_P(AnyMapOfEachKind, EqualityComparesEntriesOfMapsOfOneKind) {
    map["a"] = 1;
    map["b"] = std::string("x");
    AnyMap same(GetParam());
    same["b"] = std::string("x");
    same["a"] = 1;
    EXPECT_TRUE(map == same);
    EXPECT_FALSE(map != same);
    same["b"] = std::string("y");
    EXPECT_FALSE(map == same);
    AnyMap larger(map);
    larger["c"] = 1;
    EXPECT_FALSE(map == larger);
    EXPECT_FALSE(larger == map);
    AnyMap otherKeys(GetParam(), {{"a", 1}, {"c", std::string("x")}});
    EXPECT_FALSE(map == otherKeys);
}

TEST_P(AnyMapOfEachKind, MapsOfDifferentKindsAreNeverEqual) {
    for (auto const kind :
         {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        EXPECT_EQ(map == AnyMap(kind), kind == GetParam());
    }
}

TEST_P(AnyMapOfEachKind, EqualityRespectsTheCaseOfKeys) {
    map["Key"] = 1;
    EXPECT_FALSE(map == AnyMap(GetParam(), {{"KEY", 1}}));
}

TEST_P(AnyMapOfEachKind, OfSeveralEqualKeysInAListTheFirstCounts) {
    AnyMap const made(GetParam(), {{"a", 1}, {"A", 2}, {"a", 3}});
    EXPECT_EQ(made.size(), ignoresCase() ? 1u : 2u);
    EXPECT_EQ(any_cast<int>(made.at("a")), 1);
    EXPECT_EQ(any_cast<int>(made.at("A")), ignoresCase() ? 1 : 2);
}

TEST_P(AnyMapOfEachKind, NestsByValue) {
    AnyMap inner(GetParam(), {{"x", 1}});
    map["inner"] = inner;
    inner["x"] = 2;
    EXPECT_EQ(any_cast<int>(cppmicroservices::ref_any_cast<AnyMap>(map.at("inner")).at("x")), 1);
}

} // namespace
