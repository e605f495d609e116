// Property maps as JSON.
#include <cstdint>
#include <limits>
#include <set>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/json/JsonSerialiser.hpp"

namespace {

using agent::spf::bundles::AnyList;
using agent::spf::bundles::makeMap;
using agent::spf::bundles::json::JsonSerialiser;
using agent::spf::bundles::json::maximumDepth;
using agent::spf::bundles::json::maximumMembers;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

JsonSerialiser const serialiser;

AnyMap mapOf(char const* key, Any const& value) {
    auto map = makeMap();
    map[key] = value;
    return map;
}

TEST(JsonSerialiser, WritesEveryTypeOfValue) {
    auto map = makeMap();
    map["bool"] = true;
    map["double"] = 1.5;
    map["empty"] = Any();
    map["int"] = -7;
    map["list"] = AnyList{Any(1), Any(std::string("two"))};
    map["long"] = std::numeric_limits<std::int64_t>::min();
    map["map"] = mapOf("inner", Any(std::string("value")));
    map["string"] = std::string("a \"quote\"\n\xc3\xa9");
    map["unsigned"] = std::numeric_limits<std::uint64_t>::max();

    EXPECT_EQ(
        serialiser.serialise(map),
        R"({"bool":true,"double":1.5,"empty":null,"int":-7,"list":[1,"two"],"long":-9223372036854775808,)"
        "\"map\":{\"inner\":\"value\"},\"string\":\"a \\\"quote\\\"\\n\xc3\xa9\","
        "\"unsigned\":18446744073709551615}");
}

TEST(JsonSerialiser, ReadsWhatItWrites) {
    auto map = makeMap();
    map["b"] = false;
    map["d"] = 0.1;
    map["i"] = 2147483647;
    map["l"] = AnyList{Any(mapOf("x", Any(1))), Any(AnyList{})};
    map["n"] = std::int64_t{2147483648};
    map["s"] = std::string("text");

    auto const read = serialiser.parse(serialiser.serialise(map));

    EXPECT_EQ(read.size(), map.size());
    for (auto const& [key, value] : map) {
        EXPECT_EQ(read.at(key), value) << key;
    }
}

TEST(JsonSerialiser, EveryMapIsCaseInsensitive) {
    auto const map = serialiser.parse(R"({"Outer":{"Inner":1}})");

    EXPECT_EQ(map.GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(any_cast<int>(any_cast<AnyMap>(map.at("OUTER")).at("inner")), 1);
}

TEST(JsonSerialiser, IntegersArriveInTheSmallestTypeThatHoldsThem) {
    auto const map = serialiser.parse(R"({"a":-2147483648,"b":2147483648,"c":18446744073709551615,"d":1.0})");

    EXPECT_EQ(map.at("a").Type(), typeid(int));
    EXPECT_EQ(map.at("b").Type(), typeid(std::int64_t));
    EXPECT_EQ(map.at("c").Type(), typeid(std::uint64_t));
    EXPECT_EQ(map.at("d").Type(), typeid(double));
}

struct BadText {
    char const* name; // of the test
    std::string text;
    char const* complaint;
};

// An object with that many members.
std::string objectOf(std::size_t members) {
    std::string text;
    for (std::size_t i = 0; i < members; ++i) {
        text += (i == 0 ? "{\"" : ",\"") + std::to_string(i) + "\":0";
    }
    return text + "}";
}

class BadJson : public testing::TestWithParam<BadText> {};

TEST_P(BadJson, IsRefusedWithWhatAndWhere) {
    EXPECT_THAT([] { serialiser.parse(GetParam().text); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(GetParam().complaint)));
}

INSTANTIATE_TEST_SUITE_P(
    Bundles, BadJson,
    testing::Values(BadText{"Empty", "", "JSON text: parse error at line 1, column 1: "},
                    BadText{"Unfinished", "{", "line 1, column 2"},
                    BadText{"NoValue", "{\n\"a\": ?}", "line 2, column 6"},
                    BadText{"Array", "[1]", "an array where an object"},
                    BadText{"Number", "7", "a single value where an object"},
                    BadText{"TextAfterTheEnd", "{} x", "line 1, column 4"},
                    BadText{"KeysThatDifferInCase", R"({"a":1,"A":2})", "\"A\" appears twice in the object"},
                    BadText{"EqualKeysWithin", R"({"m":[{"a":1,"a":2}]})",
                            "\"a\" appears twice in the object/m/[]"},
                    BadText{"NotUTF8", "{\"a\":\"\xff\"}", "UTF-8"},
                    BadText{"TooManyMembers", R"({"m":)" + objectOf(maximumMembers + 1) + "}",
                            "more than 4096 members in the object/m"},
                    BadText{"TooDeep", R"({"a":)" + std::string(100000, '['), "nested deeper than 64"}),
    [](auto const& tested) { return std::string(tested.param.name); });

TEST(JsonSerialiser, AnObjectMayHaveAsManyMembersAsTheLimitSays) {
    auto const text = objectOf(maximumMembers);

    EXPECT_EQ(serialiser.parse(serialiser.serialise(serialiser.parse(text))).size(), maximumMembers);
}

// Lists in a map, together that deep.
AnyMap nested(std::size_t depth) {
    Any value(AnyList{});
    for (std::size_t i = 2; i < depth; ++i) {
        value = Any(AnyList{value});
    }
    return mapOf("a", value);
}

TEST(JsonSerialiser, AValueMayBeNestedAsDeepAsTheLimitSays) {
    auto const text = serialiser.serialise(nested(maximumDepth));

    EXPECT_EQ(serialiser.serialise(serialiser.parse(text)), text);
}

TEST(JsonSerialiser, AValueThatIsNestedTooDeepIsRefusedBothWays) {
    auto const tooDeep = HasSubstr("nested deeper than 64 levels");
    auto text = serialiser.serialise(nested(maximumDepth));
    text.replace(text.find("[]"), 2, "[[]]");

    EXPECT_THAT([&] { serialiser.parse(text); }, ThrowsMessage<std::invalid_argument>(tooDeep));
    EXPECT_THAT([] { serialiser.serialise(nested(maximumDepth + 1)); },
                ThrowsMessage<std::invalid_argument>(tooDeep));
}

TEST(JsonSerialiser, ValuesSideBySideAreNotNested) {
    auto const pair = Any(AnyList{Any(makeMap()), Any(AnyList{})});
    auto const map = mapOf("a", Any(AnyList(maximumDepth, pair)));

    auto const text = serialiser.serialise(map);

    EXPECT_EQ(serialiser.serialise(serialiser.parse(text)), text);
}

TEST(JsonSerialiser, AMapOfTooManyMembersIsNamed) {
    auto map = serialiser.parse(objectOf(maximumMembers));
    map["one more"] = 0;

    EXPECT_THAT([&] { serialiser.serialise(map); },
                ThrowsMessage<std::invalid_argument>("the map has more than 4096 members"));
    EXPECT_THAT([&] { serialiser.serialise(mapOf("m", Any(map))); },
                ThrowsMessage<std::invalid_argument>("property /m has more than 4096 members"));
}

TEST(JsonSerialiser, AValueThatCannotBeExpressedIsNamed) {
    auto const bad = mapOf("outer", Any(AnyList{Any(1), Any(mapOf("inner", Any(std::set<int>{1})))}));

    EXPECT_THAT([&] { serialiser.serialise(bad); },
                ThrowsMessage<std::invalid_argument>(AllOf(HasSubstr("/outer/1/inner"), HasSubstr("type"))));
    EXPECT_THAT([] { serialiser.serialise(mapOf("n", Any(std::numeric_limits<double>::infinity()))); },
                ThrowsMessage<std::invalid_argument>(AllOf(HasSubstr("/n"), HasSubstr("finite"))));
    EXPECT_THAT([] { serialiser.serialise(mapOf("s", Any(std::string("\xff")))); },
                ThrowsMessage<std::invalid_argument>(AllOf(HasSubstr("/s"), HasSubstr("UTF-8"))));
}

} // namespace
