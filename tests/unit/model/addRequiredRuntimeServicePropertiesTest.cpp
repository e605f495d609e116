// Marking the properties that a service must carry at run time.
#include "agent/spf/frameworksetup/frameworksetup.hpp"

#include <string>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace agent::spf::frameworksetup::test {
namespace {

using boost::property_tree::ptree;
using ::testing::ElementsAre;

std::string const prefix = "spf::requiredServiceProperty::";

std::vector<std::string> namesOf(ptree const& tree) {
    std::vector<std::string> names;
    for (auto const& child : tree) {
        names.push_back(child.first);
    }
    return names;
}

TEST(AddRequiredRuntimeServiceProperties, AddsAChildNamedByPrefixAndName) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "timeout", "30");
    EXPECT_THAT(namesOf(tree), ElementsAre(prefix + "timeout"));
    EXPECT_EQ(tree.front().second, ptree("30"));
}

TEST(AddRequiredRuntimeServiceProperties, AppendsAfterTheChildrenThatAreThere) {
    ptree tree;
    tree.put("zebra", "");
    tree.put("ant", "");
    addRequiredRuntimeServiceProperties(tree, "b", "1");
    addRequiredRuntimeServiceProperties(tree, "a", "1");
    EXPECT_THAT(namesOf(tree), ElementsAre("zebra", "ant", prefix + "b", prefix + "a"));
}

TEST(AddRequiredRuntimeServiceProperties, ReplacesTheValueOfAPropertyAndKeepsItsPosition) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "first", "1");
    addRequiredRuntimeServiceProperties(tree, "second", "2");
    addRequiredRuntimeServiceProperties(tree, "first", "3");
    EXPECT_THAT(namesOf(tree), ElementsAre(prefix + "first", prefix + "second"));
    EXPECT_EQ(tree.front().second.data(), "3");
    EXPECT_EQ(tree.back().second.data(), "2");
}

TEST(AddRequiredRuntimeServiceProperties, KeepsTheChildrenOfAPropertyWhoseValueIsReplaced) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "a.b", "inner");
    addRequiredRuntimeServiceProperties(tree, "a", "outer");
    ASSERT_THAT(namesOf(tree), ElementsAre(prefix + "a"));
    EXPECT_EQ(tree.front().second.data(), "outer");
    EXPECT_THAT(namesOf(tree.front().second), ElementsAre("b"));
    EXPECT_EQ(tree.front().second.front().second, ptree("inner"));
}

TEST(AddRequiredRuntimeServiceProperties, MakesLevelsOfANameWithDots) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "a.b.c", "1");
    ASSERT_THAT(namesOf(tree), ElementsAre(prefix + "a"));
    EXPECT_EQ(tree.front().second.data(), "");
    EXPECT_EQ(tree.front().second.get<std::string>("b.c"), "1");
}

TEST(AddRequiredRuntimeServiceProperties, TakesAnEmptyName) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "", "1");
    EXPECT_THAT(namesOf(tree), ElementsAre(prefix));
    EXPECT_EQ(tree.front().second.data(), "1");
}

TEST(AddRequiredRuntimeServiceProperties, NeitherTrimsNorChecksTheName) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, " a/b\t", "1");
    EXPECT_THAT(namesOf(tree), ElementsAre(prefix + " a/b\t"));
}

TEST(AddRequiredRuntimeServiceProperties, TakesAnEmptyValue) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, "a", "");
    EXPECT_THAT(namesOf(tree), ElementsAre(prefix + "a"));
    EXPECT_EQ(tree.front().second, ptree());
}

} // namespace
} // namespace agent::spf::frameworksetup::test
