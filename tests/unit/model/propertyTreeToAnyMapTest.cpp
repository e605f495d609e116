// Conversion of a property tree into a property map.
#include "model/propertyTreeToAnyMap.hpp"

#include <string>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS // the parser of Boost 1.74 uses them, and says so at every compilation
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using boost::property_tree::ptree;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

// A tree whose children are added without looking for separators in their names.
ptree treeOf(std::initializer_list<std::pair<std::string, ptree>> children) {
    ptree tree;
    for (auto const& child : children) {
        tree.push_back(child);
    }
    return tree;
}

std::string converted(ptree const& tree) {
    return describe(propertyTreeToAnyMap(tree));
}

std::string keyOf(std::string const& name) {
    auto const map = propertyTreeToAnyMap(treeOf({{name, ptree("value")}}));
    return map.size() == 1 ? map.begin()->first : "not one entry";
}

TEST(PropertyTreeToAnyMap, ConvertsAnEmptyTreeToAnEmptyMap) {
    EXPECT_EQ(converted(ptree()), "{}");
}

TEST(PropertyTreeToAnyMap, IgnoresTheDatumOfTheRoot) {
    EXPECT_EQ(converted(ptree("datum")), "{}");
    auto tree = treeOf({{"child", ptree("1")}});
    tree.data() = "datum";
    EXPECT_EQ(converted(tree), R"({child: "1"})");
}

TEST(PropertyTreeToAnyMap, ConvertsADatumToAString) {
    EXPECT_EQ(converted(treeOf({{"text", ptree("some text")}})), R"({text: "some text"})");
}

TEST(PropertyTreeToAnyMap, KeepsNumbersAndBooleansAsTexts) {
    ptree tree;
    tree.put("number", 42);
    tree.put("fraction", 0.5);
    tree.put("boolean", true);
    EXPECT_EQ(converted(tree), R"({boolean: "true", fraction: "0.5", number: "42"})");
}

TEST(PropertyTreeToAnyMap, ConvertsChildrenToANestedMap) {
    ptree tree;
    tree.put("outer.middle.inner", "deep");
    tree.put("outer.other", "shallow");
    EXPECT_EQ(converted(tree), R"({outer: {middle: {inner: "deep"}, other: "shallow"}})");
}

TEST(PropertyTreeToAnyMap, MakesMapsWithCaseInsensitiveKeysAtEveryLevel) {
    ptree tree;
    tree.put("Outer.Inner", "value");
    auto const map = propertyTreeToAnyMap(tree);
    EXPECT_EQ(map.GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    auto const nested = any_cast<AnyMap>(map.at("oUTER"));
    EXPECT_EQ(nested.GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(any_cast<std::string>(nested.at("iNNER")), "value");
}

TEST(PropertyTreeToAnyMap, PrefersADatumToChildrenWhichAreDropped) {
    auto both = treeOf({{"child", ptree("dropped")}});
    both.data() = "kept";
    EXPECT_EQ(converted(treeOf({{"both", both}})), R"({both: "kept"})");
}

TEST(PropertyTreeToAnyMap, ConvertsANodeWithoutDatumAndChildrenToAnEmptyString) {
    EXPECT_EQ(converted(treeOf({{"nothing", ptree()}})), R"({nothing: ""})");
}

TEST(PropertyTreeToAnyMap, ReplacesTheValueOfARepeatedName) {
    EXPECT_EQ(converted(treeOf({{"port", ptree("1")}, {"port", ptree("2")}})), R"({port: "2"})");
}

TEST(PropertyTreeToAnyMap, TakesTheKeyOfTheFirstAndTheValueOfTheLastOfNamesThatDifferInCase) {
    EXPECT_EQ(converted(treeOf({{"Port", ptree("1")}, {"other", ptree("x")}, {"port", ptree("2")}})),
              R"({Port: "2", other: "x"})");
}

TEST(PropertyTreeToAnyMap, ReplacesAMapByALaterString) {
    EXPECT_EQ(converted(treeOf({{"a", treeOf({{"b", ptree("1")}})}, {"A", ptree("2")}})), R"({a: "2"})");
}

TEST(PropertyTreeToAnyMap, KeepsTheLastElementOfAnArray) {
    EXPECT_EQ(converted(treeOf({{"array", treeOf({{"", ptree("1")}, {"", ptree("2")}, {"", ptree("3")}})}})),
              R"({array: {: "3"}})");
    EXPECT_EQ(converted(treeOf({{"", ptree("1")}, {"", ptree("2")}})), R"({: "2"})");
}

TEST(PropertyTreeToAnyMap, KeepsADotInAName) {
    EXPECT_EQ(keyOf("a.b"), "a.b");
}

TEST(PropertyTreeToAnyMap, EscapesQuoteBackslashAndSlashInAName) {
    EXPECT_EQ(keyOf("a\"b"), "a\\\"b");
    EXPECT_EQ(keyOf("a\\b"), "a\\\\b");
    EXPECT_EQ(keyOf("a/b"), "a\\/b");
}

TEST(PropertyTreeToAnyMap, EscapesControlCharactersInANameByTheirLetters) {
    EXPECT_EQ(keyOf("\b\f\n\r\t"), "\\b\\f\\n\\r\\t");
}

TEST(PropertyTreeToAnyMap, EscapesOtherControlCharactersInANameByFourUpperCaseDigits) {
    EXPECT_EQ(keyOf(std::string(1, '\0')), "\\u0000");
    EXPECT_EQ(keyOf("\x01"), "\\u0001");
    EXPECT_EQ(keyOf("\x0B"), "\\u000B");
    EXPECT_EQ(keyOf("\x1F"), "\\u001F");
}

TEST(PropertyTreeToAnyMap, PassesEveryOtherByteOfANameThrough) {
    for (auto byte = 0x20; byte <= 0xFF; ++byte) {
        if (byte != '"' && byte != '\\' && byte != '/') {
            auto const name = std::string(1, static_cast<char>(byte));
            EXPECT_EQ(keyOf(name), name) << "byte " << byte;
        }
    }
}

TEST(PropertyTreeToAnyMap, EscapesEveryCharacterOfANameAsBoostDoesInJSONText) {
    for (auto byte = 0x00; byte <= 0xFF; ++byte) {
        auto const name =
            std::string("before") + static_cast<char>(byte) + "/" + static_cast<char>(byte) + "after";
        EXPECT_EQ(keyOf(name), boost::property_tree::json_parser::create_escapes(name)) << "byte " << byte;
    }
}

TEST(PropertyTreeToAnyMap, EscapesNestedNames) {
    EXPECT_EQ(converted(treeOf({{"a", treeOf({{"b/c", ptree("1")}})}})), R"({a: {b\/c: "1"}})");
}

TEST(PropertyTreeToAnyMap, LeavesValuesUnescaped) {
    EXPECT_EQ(converted(treeOf({{"key", ptree("\t\"/\\\x01")}})), "{key: \"\t\"/\\\x01\"}");
}

TEST(PropertyTreeToAnyMap, ConvertsARequiredRuntimeProperty) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "timeout", "30");
    EXPECT_EQ(converted(tree), R"({spf::requiredServiceProperty::timeout: "30"})");
}

TEST(PropertyTreeToAnyMap, ConvertsARequiredRuntimePropertyWithADotToANestedMap) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "a.b", "1");
    EXPECT_EQ(converted(tree), R"({spf::requiredServiceProperty::a: {b: "1"}})");
}

TEST(PropertyTreeToAnyMap, DropsTheNestedMapOfARequiredRuntimePropertyThatHasAValueOfItsOwn) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "a.b", "1");
    addRequiredRuntimeServiceProperties(tree, "a", "2");
    EXPECT_EQ(converted(tree), R"({spf::requiredServiceProperty::a: "2"})");
}

TEST(PropertyTreeToAnyMap, EscapesTheSlashInARequiredRuntimeProperty) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "a/b", "1");
    EXPECT_EQ(converted(tree), R"({spf::requiredServiceProperty::a\/b: "1"})");
}

} // namespace
} // namespace agent::spf::frameworksetup::test
