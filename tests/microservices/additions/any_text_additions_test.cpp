// The text forms of Any: as string, as JSON and as a C++ expression.
#include "cppmicroservices/Any.h"
#include "cppmicroservices/AnyMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace printed {

struct Streamed {};

std::ostream& operator<<(std::ostream& os, Streamed const&) {
    return os << "streamed";
}

struct Specialised {};

struct Overloaded {};

std::ostream& operator<<(std::ostream& os, Overloaded const&) {
    return os << "streamed";
}

std::ostream& any_value_to_string(std::ostream& os, Overloaded const&) {
    return os << "overloaded";
}

} // namespace printed

namespace cppmicroservices {

template <>
std::ostream& any_value_to_string(std::ostream& os, printed::Specialised const&) {
    return os << "as string";
}

template <>
std::ostream& any_value_to_json(std::ostream& os, printed::Specialised const&, std::uint8_t const increment,
                                std::int32_t const indent) {
    return os << "\"as JSON " << int(increment) << ' ' << indent << '"';
}

template <>
std::ostream& any_value_to_cpp(std::ostream& os, printed::Specialised const&, std::uint8_t const,
                               std::int32_t const) {
    return os << "as C++";
}

} // namespace cppmicroservices

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

// Three forms of one value.
struct Forms {
    std::string string;
    std::string json;
    std::string cpp;

    friend bool operator==(Forms const& left, Forms const& right) {
        return left.string == right.string && left.json == right.json && left.cpp == right.cpp;
    }
    friend std::ostream& operator<<(std::ostream& os, Forms const& forms) {
        return os << "string " << forms.string << ", JSON " << forms.json << ", C++ " << forms.cpp;
    }
};

Forms formsOf(Any const& any) {
    return {any.ToString(), any.ToJSON(), any.ToCPP()};
}

Forms same(std::string const& text) {
    return {text, text, text};
}

AnyMap orderedMap(std::initializer_list<AnyMap::value_type> entries) {
    return {AnyMap::ORDERED_MAP, entries};
}

TEST(AnyTextAdditions, OfAnEmptyOne) {
    Any const empty;
    EXPECT_THROW(empty.ToString(), std::logic_error);
    EXPECT_EQ(empty.ToStringNoExcept(), "");
    EXPECT_EQ(empty.ToJSON(), "null");
    EXPECT_EQ(empty.ToJSON(true), "null");
    EXPECT_EQ(empty.ToCPP(), "null");
    EXPECT_EQ(empty.ToCPP(true), "null");
    try {
        empty.ToString();
    } catch (std::logic_error const& error) {
        EXPECT_STREQ(error.what(), "empty any");
    }
}

TEST(AnyTextAdditions, ToStringNoExceptIsToStringOfAValue) {
    EXPECT_EQ(Any(5).ToStringNoExcept(), "5");
}

TEST(AnyTextAdditions, OfIntegers) {
    EXPECT_EQ(formsOf(-5), same("-5"));
    EXPECT_EQ(formsOf(short(3)), same("3"));
    EXPECT_EQ(formsOf(std::numeric_limits<std::uint64_t>::max()), same("18446744073709551615"));
}

TEST(AnyTextAdditions, OfCharactersIsTheCharacterUnquoted) {
    EXPECT_EQ(formsOf('c'), same("c"));
    EXPECT_EQ(formsOf(static_cast<unsigned char>('A')), same("A"));
    EXPECT_EQ(formsOf(static_cast<signed char>('B')), same("B"));
}

TEST(AnyTextAdditions, OfBoolIsANumberAsStringAndAWordElsewhere) {
    EXPECT_EQ(formsOf(true), (Forms{"1", "true", "true"}));
    EXPECT_EQ(formsOf(false), (Forms{"0", "false", "false"}));
}

TEST(AnyTextAdditions, OfFloatingPointHasTwelveDigits) {
    EXPECT_EQ(formsOf(3.14159265358979), same("3.14159265359"));
    EXPECT_EQ(formsOf(1.0), same("1"));
    EXPECT_EQ(formsOf(1e300), same("1e+300"));
    EXPECT_EQ(formsOf(0.1f), same("0.10000000149"));
    EXPECT_EQ(formsOf(0.1L), same("0.1"));
    EXPECT_EQ(formsOf(std::numeric_limits<double>::infinity()), same("inf"));
    EXPECT_EQ(cppmicroservices::DOUBLE_PRECISION, 12);
}

TEST(AnyTextAdditions, OfFloatingPointLeavesTheStreamsPrecision) {
    std::ostringstream os;
    os.precision(3);
    cppmicroservices::any_value_to_string(os, 1.23456789);
    os << ' ' << 1.23456789;
    EXPECT_EQ(os.str(), "1.23456789 1.23");
}

TEST(AnyTextAdditions, OfStringsEscapesInJsonAndCpp) {
    Any const any(std::string("a\"b\\c/d\n\t\r\b\f\x01\x1f\x7f\xc3\xa4"));
    std::string const escaped = "\"a\\\"b\\\\c/d\\n\\t\\r\\b\\f\\u0001\\u001f\x7f\xc3\xa4\"";
    EXPECT_EQ(any.ToString(), "a\"b\\c/d\n\t\r\b\f\x01\x1f\x7f\xc3\xa4");
    EXPECT_EQ(any.ToJSON(), escaped);
    EXPECT_EQ(any.ToCPP(), "std::string(" + escaped + ")");
}

TEST(AnyTextAdditions, OfStringsKeepsNulCharacters) {
    Any const any(std::string("a\0b", 3));
    EXPECT_EQ(any.ToString(), std::string("a\0b", 3));
    EXPECT_EQ(any.ToJSON(), "\"a\\u0000b\"");
}

TEST(AnyTextAdditions, OfCharacterPointersIsUnquoted) {
    char const* const text = "text";
    EXPECT_EQ(formsOf(text), same("text"));
}

TEST(AnyTextAdditions, OfTypesWithStreamOperator) {
    EXPECT_EQ(formsOf(printed::Streamed()), same("streamed"));
}

TEST(AnyTextAdditions, OfTypesThatSpecialiseTheFunctions) {
    EXPECT_EQ(formsOf(printed::Specialised()), (Forms{"as string", "\"as JSON 0 0\"", "as C++"}));
    EXPECT_EQ(Any(printed::Specialised()).ToJSON(true), "\"as JSON 4 4\"");
    EXPECT_EQ(Any(std::vector<Any>{printed::Specialised()}).ToString(), "[as string]");
}

TEST(AnyTextAdditions, OfTypesThatOverloadTheFunctions) {
    EXPECT_EQ(Any(printed::Overloaded()).ToString(), "overloaded");
    EXPECT_EQ(Any(printed::Overloaded()).ToJSON(), "streamed");
}

TEST(AnyTextAdditions, OfSequences) {
    EXPECT_EQ(formsOf(std::vector<int>{1, 2, 3}), (Forms{"[1,2,3]", "[1,2,3]", "AnyVector {{1,2,3}}"}));
    EXPECT_EQ(formsOf(std::list<int>{1, 2}), (Forms{"[1,2]", "[1,2]", "AnyVector {{1,2}}"}));
    EXPECT_EQ(formsOf(std::set<std::string>{"q", "p"}),
              (Forms{"[p,q]", "[\"p\",\"q\"]", "AnyVector {{std::string(\"p\"),std::string(\"q\")}}"}));
    EXPECT_EQ(formsOf(std::vector<bool>{true, false}),
              (Forms{"[1,0]", "[true,false]", "AnyVector {{true,false}}"}));
    EXPECT_EQ(formsOf(std::vector<double>{1.0 / 3}),
              (Forms{"[0.333333333333]", "[0.333333333333]", "AnyVector {{0.333333333333}}"}));
    EXPECT_EQ(formsOf(std::vector<Any>{1, std::string("x"), true}),
              (Forms{"[1,x,1]", "[1,\"x\",true]", "AnyVector {{1,std::string(\"x\"),true}}"}));
}

TEST(AnyTextAdditions, OfEmptyContainers) {
    EXPECT_EQ(formsOf(std::vector<int>()), (Forms{"[]", "[]", "AnyVector {{}}"}));
    EXPECT_EQ(formsOf(std::map<std::string, Any>()), (Forms{"{}", "{}", "AnyMap { ORDERED_MAP, {}}"}));
    EXPECT_EQ(Any(std::vector<int>()).ToJSON(true), "[]");
    EXPECT_EQ(Any(AnyMap()).ToJSON(true), "{}");
}

TEST(AnyTextAdditions, OfMapsToAny) {
    EXPECT_EQ(formsOf(std::map<std::string, Any>{{"k", 1}, {"l", std::string("v")}}),
              (Forms{"{k : 1, l : v}", "{\"k\" : 1, \"l\" : \"v\"}",
                     "AnyMap { ORDERED_MAP, {{\"k\" , 1}, {\"l\" , std::string(\"v\")}}}"}));
}

TEST(AnyTextAdditions, OfMapsToOtherTypesStreamsTheValues) {
    EXPECT_EQ(formsOf(std::map<std::string, std::string>{{"k", "v"}, {"l", "w"}}),
              (Forms{"{k : v, l : w}", "{\"k\" : v, \"l\" : w}",
                     "AnyMap { ORDERED_MAP, {{\"k\" , v}, {\"l\" , w}}}"}));
    EXPECT_EQ(Any(std::map<int, double>{{1, 1.0 / 3}}).ToJSON(), "{\"1\" : 0.333333}");
}

TEST(AnyTextAdditions, OfAnyMapNamesItsKindInCpp) {
    EXPECT_EQ(formsOf(orderedMap({{"k", true}})),
              (Forms{"{k : 1}", "{\"k\" : true}", "AnyMap { ORDERED_MAP, {{\"k\" , true}}}"}));
    EXPECT_EQ(Any(AnyMap(AnyMap::UNORDERED_MAP)).ToCPP(), "AnyMap { UNORDERED_MAP, {}}");
    EXPECT_EQ(Any(AnyMap{{"K", 'c'}}).ToCPP(), "AnyMap { UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{\"K\" , c}}}");
}

TEST(AnyTextAdditions, DoesNotEscapeKeys) {
    EXPECT_EQ(Any(orderedMap({{"a\"b", 1}})).ToJSON(), "{\"a\"b\" : 1}");
}

TEST(AnyTextAdditions, OfContainersWithAnEmptyAny) {
    Any const vector(std::vector<Any>{Any()});
    Any const map(orderedMap({{"k", Any()}}));
    EXPECT_THROW(vector.ToString(), std::logic_error);
    EXPECT_THROW(map.ToString(), std::logic_error);
    EXPECT_THROW(vector.ToStringNoExcept(), std::logic_error);
    EXPECT_EQ(vector.ToJSON(), "[null]");
    EXPECT_EQ(map.ToJSON(), "{\"k\" : null}");
    EXPECT_EQ(vector.ToCPP(), "AnyVector {{null}}");
}

TEST(AnyTextAdditions, OfFunctionsIsEmpty) {
    std::ostringstream os;
    std::function<int(int)> const function = [](int i) { return i; };
    cppmicroservices::any_value_to_string(os, function);
    cppmicroservices::any_value_to_json(os, function, 0, 0);
    cppmicroservices::any_value_to_cpp(os, function, 0, 0);
    EXPECT_EQ(os.str(), "");
}

TEST(AnyTextAdditions, PrettyJsonHasOneElementALine) {
    Any const any(orderedMap({{"a", std::string("x")},
                              {"b", std::vector<Any>{1, orderedMap({{"z", 1.5}})}},
                              {"c", AnyMap()},
                              {"d", std::map<std::string, int>{{"e", 1}}}}));
    EXPECT_EQ(any.ToJSON(true), "{\n"
                                "    \"a\" : \"x\", \n"
                                "    \"b\" : [\n"
                                "        1,\n"
                                "        {\n"
                                "            \"z\" : 1.5\n"
                                "        }\n"
                                "    ], \n"
                                "    \"c\" : {}, \n"
                                "    \"d\" : {\n"
                                "        \"e\" : 1\n"
                                "    }\n"
                                "}");
}

TEST(AnyTextAdditions, JsonTakesIncrementAndIndent) {
    Any const any(std::vector<Any>{1, std::vector<Any>{2}});
    EXPECT_EQ(any.ToJSON(2, 2), "[\n  1,\n  [\n    2\n  ]\n]");
    EXPECT_EQ(any.ToJSON(3, 1), "[\n 1,\n [\n    2\n ]\n]");
    EXPECT_EQ(Any(orderedMap({{"k", 1}})).ToJSON(2, 0), "{\n\"k\" : 1\n}");
}

TEST(AnyTextAdditions, PrettyCpp) {
    Any const any(orderedMap({{"a", 1}, {"b", std::vector<Any>{1, orderedMap({{"z", 1.5}})}}}));
    EXPECT_EQ(any.ToCPP(true), "AnyMap { ORDERED_MAP, {\n"
                               "        {\"a\" , 1}, \n"
                               "        {\"b\" , AnyVector {{\n"
                               "            1,\n"
                               "            AnyMap { ORDERED_MAP, {\n"
                               "                    {\"z\" , 1.5}\n"
                               "            }}\n"
                               "        }}}\n"
                               "}}");
    EXPECT_EQ(Any(std::map<std::string, Any>{{"k", std::vector<Any>{1}}}).ToCPP(true),
              "AnyMap { ORDERED_MAP, {\n"
              "    {\"k\" , AnyVector {{\n"
              "        1\n"
              "    }}}\n"
              "}}");
}

TEST(AnyTextAdditions, FreeFunctionsPrintAnys) {
    std::ostringstream os;
    cppmicroservices::any_value_to_string(os, Any(1));
    cppmicroservices::any_value_to_json(os, Any(std::string("q")), 0, 0);
    cppmicroservices::any_value_to_cpp(os, Any(true), 0, 0);
    cppmicroservices::any_value_to_json(os, Any(), 0, 0);
    EXPECT_EQ(os.str(), "1\"q\"truenull");
    EXPECT_THROW(cppmicroservices::any_value_to_string(os, Any()), std::logic_error);
}

TEST(AnyTextAdditions, NewlineAndIndentDoesNothingWithoutIncrement) {
    std::ostringstream os;
    cppmicroservices::newline_and_indent(os, 0, 4) << "|";
    cppmicroservices::newline_and_indent(os, 2, 4) << "|";
    cppmicroservices::newline_and_indent(os, 2, -3) << "|";
    EXPECT_EQ(os.str(), "|\n    |\n|");
}

} // namespace
