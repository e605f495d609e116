// What is said about a changed file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "configuration/ConfigurationDifference.hpp"

namespace {

using namespace agent::program;
using testing::ElementsAre;
using testing::IsEmpty;

ConfigurationFile read(std::string const& lists) {
    auto parsed = parseConfiguration(R"({"configurationID": "c")" + lists + "}");
    EXPECT_THAT(parsed.problems, IsEmpty());
    return parsed.configuration;
}

std::vector<std::string> between(std::string const& before, std::string const& after) {
    return differences(read(before), read(after));
}

std::string publisher(std::string const& id, std::string const& members = {}) {
    return R"({"uniqueID": ")" + id + R"(", "name": "rpcservicepublisher")" + members + "}";
}

TEST(ConfigurationDifference, EntriesThatAreNewOrGoneAreNamed) {
    EXPECT_THAT(
        between(R"(, "servicePublishers": [)" + publisher("a") + "]",
                R"(, "servicePublishers": [)" + publisher("b") +
                    R"(], "serviceInterfaces": [{"uniqueID": "i", "name": "n"}])"),
        ElementsAre("- service publisher \"a\"", "+ service publisher \"b\"", "+ service interface \"i\""));
}

TEST(ConfigurationDifference, ChangedMembersAreShownBeforeAndAfter) {
    EXPECT_THAT(
        between(R"(, "servicePublishers": [)" + publisher("a", R"(, "endpointsToBindTo": ["unix:x"])") + "]",
                R"(, "servicePublishers": [)" + publisher("a", R"x(, "importFilter": "(a=b)")x") + "]"),
        ElementsAre("~ service publisher \"a\": \"endpointsToBindTo\": [\"unix:x\"] -> nothing",
                    "~ service publisher \"a\": \"importFilter\": nothing -> \"(a=b)\""));
}

TEST(ConfigurationDifference, OrderOfEntriesAndEmptyMembersMakeNone) {
    EXPECT_THAT(between(R"(, "servicePublishers": [)" + publisher("a") + "," + publisher("b") + "]",
                        R"(, "$schema": "s", "serviceInterfaces": [], "servicePublishers": [)" +
                            publisher("b", R"(, "importFilter": "", "endpointsToBindTo": [])") + "," +
                            publisher("a") + "]"),
                IsEmpty());
}

TEST(ConfigurationDifference, OrderOfEndpointsIsADifference) {
    EXPECT_THAT(
        between(R"(, "servicePublishers": [)" + publisher("a", R"(, "endpointsToBindTo": ["x", "y"])") + "]",
                R"(, "servicePublishers": [)" + publisher("a", R"(, "endpointsToBindTo": ["y", "x"])") + "]"),
        ElementsAre(testing::HasSubstr("endpointsToBindTo")));
}

} // namespace
