// Where the standalone provider does something defined while the installed one crashes or leaves it open.
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/LDAPFilter.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

constexpr AnyMap::map_type kKinds[] = {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP,
                                       AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};

std::vector<std::string> keysOf(AnyMap const& map) {
    std::vector<std::string> keys;
    for (auto const& entry : map) {
        keys.push_back(entry.first);
    }
    return keys;
}

// The installed provider dereferences null when the right-hand side is empty.
TEST(EmptyAny, EqualsNothing) {
    Any const empty;
    Any const value(5);
    EXPECT_FALSE(value == empty);
    EXPECT_TRUE(value != empty);
    EXPECT_FALSE(empty == empty);
    EXPECT_TRUE(empty != Any());
}

TEST(EmptyAny, InContainersMakesThemUnequal) {
    EXPECT_FALSE(Any(std::vector<Any>{Any()}) == Any(std::vector<Any>{Any()}));
    for (auto const kind : kKinds) {
        AnyMap const map(kind, {{"key", Any()}});
        EXPECT_FALSE(map == AnyMap(map));
        EXPECT_FALSE(map == AnyMap(kind, {{"key", 1}}));
    }
}

// The installed provider's moved-from maps can only be assigned or destroyed.
TEST(MovedFromAnyMap, IsEmptyAndKeepsItsKind) {
    for (auto const kind : kKinds) {
        AnyMap source(kind, {{"key", 1}});
        AnyMap const target(std::move(source));
        EXPECT_EQ(source.GetType(), kind);
        EXPECT_TRUE(source.empty());
        EXPECT_TRUE(source.begin() == source.end());
        EXPECT_EQ(source.count("key"), 0u);
        EXPECT_EQ(source.erase("key"), 0u);
        EXPECT_TRUE(AnyMap(source) == AnyMap(kind));
        source.clear();
        source["new"] = 1;
        EXPECT_EQ(source.size(), 1u);
        EXPECT_EQ(target.size(), 1u);
    }
}

// The installed provider crashes.
TEST(AnyMap, SelfMoveKeepsTheEntries) {
    for (auto const kind : kKinds) {
        AnyMap map(kind, {{"key", 1}});
        AnyMap& alias = map;
        map = std::move(alias);
        EXPECT_EQ(map.size(), 1u);
    }
}

// The installed provider iterates in the order of its hash table.
TEST(AnyMap, HashedKindsIterateInTheOrderOfInsertion) {
    for (auto const kind : {AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        AnyMap map(kind);
        std::vector<std::string> expected;
        for (int i = 0; i < 100; ++i) {
            expected.push_back("key" + std::to_string((i * 37) % 100));
            map[expected.back()] = i;
        }
        EXPECT_EQ(keysOf(map), expected);
        EXPECT_EQ(keysOf(AnyMap(map)), expected);
    }
}

// With the installed provider this is undefined.
TEST(AnyMap, EndIteratorsThrowWhenUsed) {
    AnyMap map{{"key", 1}};
    EXPECT_THROW((void)*map.end(), std::logic_error);
    EXPECT_THROW(++map.end(), std::logic_error);
    EXPECT_THROW((void)map.find("none")->first, std::logic_error);
}

// The installed provider declares these two and does not define them.
TEST(Constants, OfLocalisationAreDefined) {
    EXPECT_EQ(cppmicroservices::Constants::BUNDLE_LOCALIZATION, "bundle.localization");
    EXPECT_EQ(cppmicroservices::Constants::BUNDLE_LOCALIZATION_DEFAULT_BASENAME, "US-INF/l10n/bundle");
}

// With the installed provider, a filter that is nested deeply enough overflows the stack.
TEST(LDAPFilter, MayBeNestedAThousandLevelsDeepAndNoDeeper) {
    auto const nested = [](int levels) {
        std::string filter;
        for (int i = 0; i < levels; ++i) {
            filter += "(!";
        }
        filter += "(a=b)";
        return filter.append(static_cast<std::size_t>(levels), ')');
    };
    EXPECT_TRUE(
        cppmicroservices::LDAPFilter(nested(1000)).Match(cppmicroservices::AnyMap{{"a", std::string("b")}}));
    for (int const levels : {1001, 1000000}) {
        EXPECT_THROW(cppmicroservices::LDAPFilter{nested(levels)}, std::invalid_argument) << levels;
    }
}

TEST(LDAPFilter, MayHaveThousandsOfOperandsSideBySide) {
    std::string filter = "(&";
    for (int i = 0; i < 2000; ++i) {
        filter += "(|(a=b))";
    }
    EXPECT_TRUE(
        cppmicroservices::LDAPFilter(filter + ")").Match(cppmicroservices::AnyMap{{"a", std::string("b")}}));
}

// What the speed of maps of many keys rests on; the installed provider makes no such promise.
TEST(AnyMap, KeysThatDifferInAnyPlaceHaveDifferentHashes) {
    cppmicroservices::detail::any_map_cihash const hash;
    for (std::size_t length = 1; length <= 40; ++length) {
        std::set<std::size_t> lowBits{hash(std::string(length, 'k')) % 4096};
        std::set<std::size_t> hashes{hash(std::string(length, 'k'))};
        for (std::size_t position = 0; position < length; ++position) {
            auto const key = std::string(length, 'k').replace(position, 1, "x");
            hashes.insert(hash(key));
            lowBits.insert(hash(key) % 4096);
        }
        EXPECT_EQ(hashes.size(), length + 1);
        EXPECT_GE(lowBits.size(), length + 1 - length / 10) << "these choose the place in a table";
    }
}

// The installed provider indents with zeros behind a control character.
TEST(AnyText, ControlCharactersLeaveTheIndentationAsItIs) {
    EXPECT_EQ(Any(std::vector<std::string>{"\x01", ""}).ToJSON(true), "[\n    \"\\u0001\",\n    \"\"\n]");
}

// With the installed provider, a vector of vectors has no text.
TEST(AnyText, SequencesNest) {
    EXPECT_EQ(Any(std::vector<std::vector<int>>{{1, 2}, {3}}).ToJSON(), "[[1,2],[3]]");
}

} // namespace
