// AnyMap::AtCompoundKey: reaching nested values.
#include "cppmicroservices/AnyMap.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using AnyVector = std::vector<Any>;

class CompoundKey : public testing::Test {
protected:
    AnyMap const map{AnyMap::ORDERED_MAP,
                     {{"one", 1},
                      {"three", AnyMap{{"a", std::string("anton")},
                                       {"b", AnyVector{3, 8, AnyVector{9}, AnyMap{{"q", 1}}}},
                                       {"", 4}}},
                      {"dot.ted", 1},
                      {"empty", Any()},
                      {"standardMap", std::map<std::string, Any>{{"a", 1}}},
                      {"standardVector", std::vector<int>{1}}}};

    Any at(std::string const& key) const { return map.AtCompoundKey(key); }

    std::string atOrDefault(std::string const& key) const {
        return map.AtCompoundKey(key, std::string("default")).ToStringNoExcept();
    }

    // The exception's kind and message.
    std::string failureAt(std::string const& key) const {
        try {
            map.AtCompoundKey(key);
        } catch (std::out_of_range const& error) {
            return std::string("out_of_range ") + error.what();
        } catch (std::invalid_argument const& error) {
            return std::string("invalid_argument ") + error.what();
        }
        return "none";
    }
};

TEST_F(CompoundKey, WithoutDotIsAPlainKey) {
    EXPECT_EQ(any_cast<int>(at("one")), 1);
    EXPECT_TRUE(at("empty").Empty());
}

TEST_F(CompoundKey, ReachesIntoMapsAndVectors) {
    EXPECT_EQ(at("three.a").ToString(), "anton");
    EXPECT_EQ(at("three.b.1").ToString(), "8");
    EXPECT_EQ(at("three.b.2.0").ToString(), "9");
    EXPECT_EQ(at("three.b.3.q").ToString(), "1");
    EXPECT_EQ(at("three.").ToString(), "4");
    EXPECT_EQ(atOrDefault("three.b.3.q"), "1");
}

TEST_F(CompoundKey, GivesTheValueItself) {
    EXPECT_EQ(&map.AtCompoundKey("one"), &map.at("one"));
}

TEST_F(CompoundKey, FollowsTheKindOfEachMap) {
    EXPECT_EQ(at("three.A").ToString(), "anton");
    EXPECT_EQ(failureAt("Three.a"), "out_of_range map::at");
}

TEST_F(CompoundKey, CountsNegativeIndicesFromTheEnd) {
    EXPECT_EQ(at("three.b.-3").ToString(), "8");
    EXPECT_EQ(at("three.b.-4").ToString(), "3");
    EXPECT_EQ(atOrDefault("three.b.-3"), "8");
}

TEST_F(CompoundKey, TakesTheLeadingNumberAsIndex) {
    EXPECT_EQ(at("three.b.1x").ToString(), "8");
    EXPECT_EQ(at("three.b. +01").ToString(), "8");
    EXPECT_EQ(atOrDefault("three.b. +01x"), "8");
}

TEST_F(CompoundKey, DoesNotFindAKeyThatHoldsADot) {
    EXPECT_EQ(failureAt("dot.ted"), "out_of_range map::at");
}

TEST_F(CompoundKey, MissingKeysAreOutOfRange) {
    EXPECT_EQ(failureAt("none"), "out_of_range map::at");
    EXPECT_EQ(failureAt("none.x.y"), "out_of_range map::at");
    EXPECT_EQ(failureAt("three.none"), "out_of_range unordered_map::at");
    EXPECT_EQ(failureAt(""), "out_of_range map::at");
}

TEST_F(CompoundKey, MissingElementsAreOutOfRange) {
    EXPECT_EQ(failureAt("three.b.7").substr(0, 12), "out_of_range");
    EXPECT_EQ(failureAt("three.b.-5").substr(0, 12), "out_of_range");
    EXPECT_EQ(failureAt("three.b.99999999999"), "out_of_range stoi");
}

TEST_F(CompoundKey, IndicesThatAreNoNumbersAreInvalid) {
    EXPECT_EQ(failureAt("three.b.x"), "invalid_argument stoi");
    EXPECT_EQ(failureAt("three.b."), "invalid_argument stoi");
}

TEST_F(CompoundKey, OtherTypesAreInvalid) {
    EXPECT_EQ(failureAt("one.x"), "invalid_argument Unsupported Any type at 'one' for dotted get");
    EXPECT_EQ(failureAt("three.b.1.x"), "invalid_argument Unsupported Any type at '1' for dotted get");
    EXPECT_EQ(failureAt("empty.x"), "invalid_argument Unsupported Any type at 'empty' for dotted get");
    EXPECT_EQ(failureAt("standardMap.a"),
              "invalid_argument Unsupported Any type at 'standardMap' for dotted get");
    EXPECT_EQ(failureAt("standardVector.0"),
              "invalid_argument Unsupported Any type at 'standardVector' for dotted get");
}

TEST_F(CompoundKey, DefaultValueStandsInForWhateverFails) {
    for (auto const* const key :
         {"none", "none.x", "three.none", "three.b.7", "three.b.99999999999", "three.b.x", "three.b.",
          "one.x", "empty.x", "standardMap.a", "standardVector.0", "three.b.1.0", "three.b.-5", ""}) {
        EXPECT_EQ(atOrDefault(key), "default") << key;
    }
}

TEST_F(CompoundKey, DefaultValueIsNotUsedForAnEmptyValue) {
    EXPECT_EQ(atOrDefault("empty"), "");
}

TEST_F(CompoundKey, WithDefaultIgnoresADotBehindTheLastIndex) {
    EXPECT_EQ(atOrDefault("three.b.1."), "8");
    EXPECT_EQ(atOrDefault("three.b.2."), "[9]");
    EXPECT_EQ(failureAt("three.b.1."), "invalid_argument Unsupported Any type at '1' for dotted get");
}

TEST_F(CompoundKey, WithDefaultDoesNotKnowTheNegativeIndexOfTheFirstElement) {
    EXPECT_EQ(atOrDefault("three.b.-4"), "default");
}

} // namespace
