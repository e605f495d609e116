// Reading configuration files: what they say, and everything that can be wrong with them.
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "configuration/ConfigurationFile.hpp"
#include "configuration/JsonDocument.hpp"

namespace agent::program {

void PrintTo(Problem const& problem, std::ostream* out) {
    *out << problem.where << ": " << problem.what;
}

} // namespace agent::program

namespace {

using namespace agent::program;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

auto problem(std::string const& where, std::string const& what) {
    return AllOf(Field(&Problem::where, where), Field(&Problem::what, HasSubstr(what)));
}

auto problemAt(std::size_t line, std::size_t column, std::string const& what) {
    return AllOf(Field(&Problem::line, line), Field(&Problem::column, column),
                 Field(&Problem::what, HasSubstr(what)));
}

Problems problemsOf(std::string const& text) {
    return parseConfiguration(text).problems;
}

constexpr char const* complete = R"json({
    "$schema": "somewhere",
    "configurationID": "id",
    "serviceInterfaces": [
        {"uniqueID": "i1", "name": "One", "servicePublishers": "all",
         "requestedProperties": {"text": "t", "number": 1.5, "flag": true, "a.b": {"nested": 7}},
         "requiredRuntimeProperties": {"room": "kitchen", "floor": 2}},
        {"uniqueID": "i2", "name": "Two", "servicePublishers": ["p1"]},
        {"uniqueID": "i3", "name": "Three"}
    ],
    "servicePublishers": [
        {"uniqueID": "p1", "name": "rpcservicepublisher", "endpointsToBindTo": ["unix:b", "unix:a"],
         "endpointsToConnectTo": ["tcp:h:1"], "importFilter": "(a=b)", "exportFilter": "(c=d)"},
        {"uniqueID": "p2", "name": "legacyservicepublisher"}
    ]
})json";

TEST(ConfigurationFile, EveryMemberArrives) {
    auto const parsed = parseConfiguration(complete);

    ASSERT_THAT(parsed.problems, IsEmpty());
    auto const& configuration = parsed.configuration;
    EXPECT_EQ(configuration.configurationID, "id");
    ASSERT_THAT(configuration.publishers, SizeIs(2));
    auto const& publisher = configuration.publishers.front();
    EXPECT_EQ(publisher.uniqueID, "p1");
    EXPECT_EQ(publisher.name, "rpcservicepublisher");
    EXPECT_THAT(publisher.endpointsToBindTo, ElementsAre("unix:b", "unix:a"));
    EXPECT_THAT(publisher.endpointsToConnectTo, ElementsAre("tcp:h:1"));
    EXPECT_EQ(publisher.importFilter, "(a=b)");
    EXPECT_EQ(publisher.exportFilter, "(c=d)");
    ASSERT_THAT(configuration.interfaces, SizeIs(3));
    EXPECT_EQ(configuration.interfaces[0].uniqueID, "i1");
    EXPECT_EQ(configuration.interfaces[0].name, "One");
    EXPECT_TRUE(configuration.interfaces[0].mappedToAllPublishers);
    EXPECT_FALSE(configuration.interfaces[1].mappedToAllPublishers);
    EXPECT_THAT(configuration.interfaces[1].publishers, ElementsAre("p1"));
    EXPECT_THAT(configuration.interfaces[2].publishers, IsEmpty());
}

TEST(ConfigurationFile, PropertiesBecomeATreeOfTexts) {
    auto const parsed = parseConfiguration(complete);

    auto const& tree = parsed.configuration.interfaces.at(0).requestedProperties;
    using Path = boost::property_tree::ptree::path_type;
    EXPECT_EQ(tree.get<std::string>("text"), "t");
    EXPECT_EQ(tree.get<std::string>("number"), "1.5");
    EXPECT_EQ(tree.get<std::string>("flag"), "true");
    EXPECT_EQ(tree.get<std::string>(Path("a.b/nested", '/')), "7") << "a dot in a name does not nest";
}

TEST(ConfigurationFile, RequiredRuntimePropertiesAreMarkedInTheTree) {
    auto const parsed = parseConfiguration(complete);

    auto const& tree = parsed.configuration.interfaces.at(0).requestedProperties;
    EXPECT_EQ(tree.get<std::string>("spf::requiredServiceProperty::room"), "kitchen");
    EXPECT_EQ(tree.get<std::string>("spf::requiredServiceProperty::floor"), "2");
}

TEST(ConfigurationFile, AnIDIsEnough) {
    EXPECT_THAT(problemsOf(R"({"configurationID": "c"})"), IsEmpty());
}

TEST(ConfigurationFile, AnInterfaceThatIsMappedToNoPublisherIsNoted) {
    auto const parsed = parseConfiguration(R"({"configurationID": "c", "serviceInterfaces": [
        {"uniqueID": "a", "name": "A", "servicePublishers": "all"},
        {"uniqueID": "b", "name": "B", "servicePublishers": []},
        {"uniqueID": "c", "name": "C"}
    ], "servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher"}]})");

    EXPECT_THAT(parsed.problems, IsEmpty());
    EXPECT_THAT(parsed.notes, ElementsAre(problem("/serviceInterfaces/1", "note: offered to nobody"),
                                          problem("/serviceInterfaces/2", "note: offered to nobody")));
    EXPECT_THAT(parsed.notes, ElementsAre(Field(&Problem::line, 3U), Field(&Problem::line, 4U)));
}

TEST(ConfigurationFile, WithoutPublishersEveryInterfaceIsNoted) {
    for (std::string const publishers : {"", R"(, "servicePublishers": [])"}) {
        auto const parsed = parseConfiguration(R"({"configurationID": "c", "serviceInterfaces": [
            {"uniqueID": "a", "name": "A", "servicePublishers": "all"}])" +
                                               publishers + "}");

        EXPECT_THAT(parsed.notes, ElementsAre(problem("/serviceInterfaces/0", "the file has no publishers")));
    }
}

TEST(ConfigurationFile, SyntaxErrorsNameLineAndColumn) {
    EXPECT_THAT(problemsOf("{\n \"configurationID\" 1}"), ElementsAre(problemAt(2, 20, "expected ':'")));
    EXPECT_THAT(problemsOf("[\n\n1,"), ElementsAre(problemAt(3, 2, "unexpected end of input")));
    EXPECT_THAT(problemsOf("\xff"), ElementsAre(problemAt(1, 1, "invalid literal")));
    EXPECT_THAT(problemsOf("{\"a\xff\""), ElementsAre(problemAt(1, 4, "ill-formed UTF-8")));
    EXPECT_THAT(problemsOf(std::string("{\0}", 3)), ElementsAre(problemAt(1, 2, "found a NUL byte")));
    EXPECT_THAT(problemsOf(std::string("{}\n\0", 4)), ElementsAre(problemAt(2, 1, "found a NUL byte")));
    EXPECT_THAT(problemsOf("[1e999]"), ElementsAre(problemAt(1, 6, "number overflow parsing '1e999'")));
    EXPECT_THAT(problemsOf("{\"a\n\""), ElementsAre(problemAt(2, 1, "control character")));
    EXPECT_THAT(problemsOf("{} {}"), ElementsAre(problemAt(1, 4, "expected end of input")));
}

TEST(ConfigurationFile, AnEmptyFileSaysSo) {
    EXPECT_THAT(problemsOf(""), ElementsAre(problem("", "it is empty")));
    EXPECT_THAT(problemsOf(" \n\t"), ElementsAre(problem("", "it is empty")));
}

TEST(ConfigurationFile, ProblemsNameTheLineOfTheMemberOrElement) {
    auto const found = problemsOf("{\n\"x\":\n1,\n\"servicePublishers\": [\n3,\n4\n,\n\"five\",\n{\n}]}");

    std::vector<std::pair<std::size_t, std::string>> places;
    for (auto const& one : found) {
        places.emplace_back(one.line, one.where);
    }
    EXPECT_THAT(places,
                ElementsAre(std::pair(1, "/configurationID"), std::pair(2, "/x"),
                            std::pair(5, "/servicePublishers/0"), std::pair(6, "/servicePublishers/1"),
                            std::pair(8, "/servicePublishers/2"),
                            std::pair(9, "/servicePublishers/3/uniqueID"),
                            std::pair(9, "/servicePublishers/3/name")));
}

TEST(ConfigurationFile, WholeNumbersThatDoNotArriveExactlyAreRefused) {
    auto const withProperty = [](std::string const& number) {
        return R"({"configurationID": "c", "serviceInterfaces": [
            {"uniqueID": "i", "name": "n", "requestedProperties": {"a": )" +
               number + "}}]}";
    };
    EXPECT_THAT(problemsOf(withProperty("18446744073709551615")), IsEmpty());
    EXPECT_THAT(
        problemsOf(withProperty("18446744073709551616")),
        ElementsAre(problem("/serviceInterfaces/0/requestedProperties/a", "found 18446744073709551616")));
    EXPECT_THAT(problemsOf(withProperty("-9223372036854775809")),
                ElementsAre(problem("/serviceInterfaces/0/requestedProperties/a", "at most 64 bits")));
}

TEST(ConfigurationFile, TheCharacterZeroIsRefusedInTextsAndNames) {
    EXPECT_THAT(problemsOf(R"({"configurationID": "a\u0000b"})"),
                ElementsAre(problem("/configurationID", R"(found "a\u0000b"; expected a text without)")));
    EXPECT_THAT(problemsOf(R"({"configurationID": "c", "serviceInterfaces": [
                    {"uniqueID": "i", "name": "n", "requestedProperties": {"\u0000": 1}}]})"),
                ElementsAre(Field(&Problem::what, HasSubstr("U+0000"))));
}

TEST(ConfigurationFile, DuplicateMembersAreNamedAtAnyDepth) {
    EXPECT_THAT(problemsOf(R"({"configurationID": "c", "serviceInterfaces": [
                    {"uniqueID": "a", "name": "n"},
                    {"uniqueID": "b", "name": "n", "requestedProperties": {"x/y": 1, "x/y": 2}}]})"),
                ElementsAre(problem("/serviceInterfaces/1/requestedProperties/x~1y", "duplicate member")));
}

// The problems of a mapping to an unknown publisher where there are so many others, from "10" on.
Problems problemsOfUnknownAmong(int count) {
    std::string publishers;
    for (auto id = 10; id < 10 + count; ++id) {
        publishers += (publishers.empty() ? "" : ", ") + (R"({"uniqueID": ")" + std::to_string(id)) +
                      R"(", "name": "rpcservicepublisher"})";
    }
    return problemsOf(
        R"({"configurationID": "c", "serviceInterfaces": [{"uniqueID": "i", "name": "n", "servicePublishers": ["x"]}],
            "servicePublishers": [)" +
        publishers + "]}");
}

TEST(ConfigurationFile, OfManyPublishersAnUnknownOneIsToldSome) {
    EXPECT_THAT(problemsOfUnknownAmong(12), ElementsAre(problem("/serviceInterfaces/0/servicePublishers/0",
                                                                R"("18", "19" and 2 others)")));
}

TEST(ConfigurationFile, OfTenPublishersAnUnknownOneIsToldAll) {
    EXPECT_THAT(problemsOfUnknownAmong(10),
                ElementsAre(Field(&Problem::what, testing::EndsWith(R"("18", "19")"))));
}

// Comparing each with each would take minutes.
TEST(ConfigurationFile, AHundredThousandEndpointsAreReadAtOnce) {
    std::string endpoints;
    for (auto number = 0; number < 100000; ++number) {
        endpoints += (endpoints.empty() ? "\"e" : ", \"e") + std::to_string(number) + '"';
    }
    EXPECT_THAT(problemsOf(R"({"configurationID": "c", "servicePublishers": [
                    {"uniqueID": "p", "name": "rpcservicepublisher", "endpointsToBindTo": [)" +
                           endpoints + "]}]}"),
                IsEmpty());
}

TEST(ConfigurationFile, NestingIsLimited) {
    auto const nested = [](std::size_t levels) {
        return R"({"configurationID": "c", "serviceInterfaces": )" + std::string(levels - 1, '[') +
               std::string(levels - 1, ']') + "}";
    };
    EXPECT_THAT(problemsOf(nested(maximumNesting + 1)),
                ElementsAre(Field(&Problem::what, HasSubstr("nested deeper than the 64 levels"))));
    EXPECT_THAT(problemsOf(nested(maximumNesting)),
                ElementsAre(problem("/serviceInterfaces/0", "expected a service interface")));
}

std::string withRequiredProperty(std::string const& name) {
    return R"({"configurationID": "c", "serviceInterfaces": [{"uniqueID": "i", "name": "I",
              "requiredRuntimeProperties": {")" +
           name + R"(": "value"}}]})";
}

TEST(ConfigurationFile, NestingByDotsInTheNameOfARequiredPropertyIsLimited) {
    auto const withDots = [](std::size_t dots) {
        std::string name;
        for (std::size_t dot = 0; dot < dots; ++dot) {
            name += ".a";
        }
        return withRequiredProperty(name);
    };
    EXPECT_THAT(
        problemsOf(withDots(100'000)),
        ElementsAre(problem("/serviceInterfaces/0/requiredRuntimeProperties", "more than the 64 levels")));
    EXPECT_THAT(problemsOf(withDots(maximumNesting)), testing::SizeIs(1));
    EXPECT_THAT(problemsOf(withDots(maximumNesting - 1)), IsEmpty());
}

TEST(ConfigurationFile, TheNameOfARequiredPropertyMustNotEndInADot) {
    EXPECT_THAT(
        problemsOf(withRequiredProperty("a.")),
        ElementsAre(problem("/serviceInterfaces/0/requiredRuntimeProperties/a.", "does not end in a dot")));
}

TEST(ConfigurationFile, ANameThatEndsInADotHidesNoConflictOfTheOthers) {
    constexpr char const* properties = "/serviceInterfaces/0/requiredRuntimeProperties";
    EXPECT_THAT(
        problemsOf(withRequiredProperty(R"(a.": "1", "b": "2", "b.c)")),
        UnorderedElementsAre(problem(properties + std::string("/a."), "does not end in a dot"),
                             problem(properties + std::string("/b"), "before a dot in another name")));
}

TEST(ConfigurationFile, WhatIsFoundIsShownCutAndInAscii) {
    auto const found = problemsOf(R"({"configurationID": ["\u001b)" + std::string(100, 'x') + R"("]})");

    ASSERT_THAT(found, ElementsAre(problem("/configurationID", R"(found ["\u001bxxx)")));
    EXPECT_THAT(found.front().what, HasSubstr("xxx...; expected"));
}

struct Deviation {
    char const* name;
    char const* text;
    char const* where;
    char const* what;
};

void PrintTo(Deviation const& deviation, std::ostream* out) {
    *out << deviation.name;
}

class ConfigurationFileDeviation : public testing::TestWithParam<Deviation> {};

TEST_P(ConfigurationFileDeviation, IsTheOneProblemReported) {
    EXPECT_THAT(problemsOf(GetParam().text), ElementsAre(problem(GetParam().where, GetParam().what)));
}

INSTANTIATE_TEST_SUITE_P(
    Each, ConfigurationFileDeviation,
    testing::Values(
        Deviation{"NoObject", "[]", "", "found []; expected a configuration"},
        Deviation{"NoID", "{}", "/configurationID", "missing; expected the identity"},
        Deviation{"EmptyID", R"({"configurationID": ""})", "/configurationID", "found \"\""},
        Deviation{"UnknownMember", R"({"configurationID": "c", "serviceInterface": []})", "/serviceInterface",
                  "unknown member, found with []; expected one of"},
        Deviation{"ListExpected", R"({"configurationID": "c", "serviceInterfaces": {}})",
                  "/serviceInterfaces", "found {}; expected the interfaces"},
        Deviation{"NoName", R"({"configurationID": "c", "serviceInterfaces": [{"uniqueID": "i"}]})",
                  "/serviceInterfaces/0/name", "missing"},
        Deviation{"OtherWordThanAll",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "servicePublishers": "some"}]})",
                  "/serviceInterfaces/0/servicePublishers", "found \"some\"; expected"},
        Deviation{"ListAsProperty",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "requestedProperties": {"a": {"b": [1]}}}]})",
                  "/serviceInterfaces/0/requestedProperties/a/b", "found [1]; expected a text, a number"},
        Deviation{"NothingAsProperty",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "requestedProperties": {"a": null}}]})",
                  "/serviceInterfaces/0/requestedProperties/a", "found null"},
        Deviation{"EmptyObjectAsProperty",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "requestedProperties": {"a": {}}}]})",
                  "/serviceInterfaces/0/requestedProperties/a", "found {}"},
        Deviation{"ObjectAsRequiredProperty",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "requiredRuntimeProperties": {"a": {"b": 1}}}]})",
                  "/serviceInterfaces/0/requiredRuntimeProperties/a", "found {\"b\":1}"},
        Deviation{"UnknownKind",
                  R"({"configurationID": "c", "servicePublishers": [{"uniqueID": "p", "name": "rpc"}]})",
                  "/servicePublishers/0/name", "found \"rpc\"; expected the publisher's kind"},
        Deviation{"EndpointTwice",
                  R"({"configurationID": "c", "servicePublishers": [
                      {"uniqueID": "p", "name": "rpcservicepublisher", "endpointsToBindTo": ["a", "b", "a"]}]})",
                  "/servicePublishers/0/endpointsToBindTo/2",
                  R"(found "a", which is /servicePublishers/0/endpointsToBindTo/0, too)"},
        Deviation{"EndpointToConnectToTwice",
                  R"({"configurationID": "c", "servicePublishers": [
                      {"uniqueID": "p", "name": "rpcservicepublisher", "endpointsToConnectTo": ["a", "a"]}]})",
                  "/servicePublishers/0/endpointsToConnectTo/1", "expected each once"},
        Deviation{"PublisherOfAnInterfaceTwice",
                  R"({"configurationID": "c",
                      "serviceInterfaces": [{"uniqueID": "i", "name": "n", "servicePublishers": ["p", "p"]}],
                      "servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher"}]})",
                  "/serviceInterfaces/0/servicePublishers/1", "expected each once"},
        Deviation{"NoFilter",
                  R"({"configurationID": "c", "servicePublishers": [
                      {"uniqueID": "p", "name": "rpcservicepublisher", "exportFilter": "(a"}]})",
                  "/servicePublishers/0/exportFilter", "expected an LDAP filter"},
        Deviation{"SameInterfaceIDTwice",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n"}, {"uniqueID": "i", "name": "m"}]})",
                  "/serviceInterfaces/1/uniqueID", "taken by /serviceInterfaces/0"},
        Deviation{"SamePublisherIDTwice",
                  R"({"configurationID": "c", "servicePublishers": [
                      {"uniqueID": "p", "name": "rpcservicepublisher"},
                      {"uniqueID": "p", "name": "legacyservicepublisher"}]})",
                  "/servicePublishers/1/uniqueID", "taken by /servicePublishers/0"},
        Deviation{"UnknownPublisher",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "servicePublishers": ["p"]}]})",
                  "/serviceInterfaces/0/servicePublishers/0", "the file has no publishers"},
        Deviation{"PropertiesInTwoCases",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "requestedProperties": {"x": {"KEY": 1, "key": 2}}}]})",
                  "/serviceInterfaces/0/requestedProperties/x/key", "letter case only"},
        Deviation{"RequiredPropertyBeforeADotOfAnother",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "requiredRuntimeProperties": {"A": 1, "a.b": 2}}]})",
                  "/serviceInterfaces/0/requiredRuntimeProperties/A", "before a dot in another name"},
        Deviation{"LevelsOfRequiredPropertiesInTwoCases",
                  R"({"configurationID": "c", "serviceInterfaces": [
                      {"uniqueID": "i", "name": "n", "requiredRuntimeProperties": {"a.B.c.x": 1, "a.b.c.y": 2}}]})",
                  "/serviceInterfaces/0/requiredRuntimeProperties/a.b.c.y", "\"a.B\" in letter case only"}),
    [](auto const& deviation) { return deviation.param.name; });

TEST(ConfigurationFile, AllProblemsAreReported) {
    EXPECT_THAT(problemsOf(R"({"configurationID": 1, "x": 2, "servicePublishers": [{"name": "n"}, 3]})"),
                testing::UnorderedElementsAre(problem("/configurationID", "found 1"),
                                              problem("/x", "unknown"),
                                              problem("/servicePublishers/0/uniqueID", "missing"),
                                              problem("/servicePublishers/0/name", "found \"n\""),
                                              problem("/servicePublishers/1", "found 3")));
}

TEST(ConfigurationFile, ContentIsCheckedBesideWhatDisagreesWithTheSchema) {
    EXPECT_THAT(problemsOf(R"({"configurationID": 1, "servicePublishers": [
                    {"uniqueID": "p", "name": "rpcservicepublisher", "importFilter": "("}],
                    "serviceInterfaces": [{"uniqueID": "i", "name": "n", "servicePublishers": ["q"]}]})"),
                ElementsAre(problem("/configurationID", "found 1"),
                            problem("/servicePublishers/0/importFilter", "LDAP"),
                            problem("/serviceInterfaces/0/servicePublishers/0", "found \"q\"")));
}

TEST(ConfigurationFile, MappingsAreNotCheckedAgainstPublishersWhoseIdentityIsWrong) {
    EXPECT_THAT(problemsOf(R"({"configurationID": "c",
                    "servicePublishers": [{"uniqueID": 1, "name": "rpcservicepublisher"}],
                    "serviceInterfaces": [{"uniqueID": "i", "name": "n", "servicePublishers": ["q"]}]})"),
                ElementsAre(problem("/servicePublishers/0/uniqueID", "found 1")));
}

TEST(ReadConfigurationText, AFileThatIsNotThereSaysSo) {
    EXPECT_THROW(
        {
            try {
                readConfigurationText("no-such-file.json");
            } catch (std::runtime_error const& error) {
                EXPECT_STREQ(error.what(), "cannot open it: No such file or directory");
                throw;
            }
        },
        std::runtime_error);
}

TEST(ReadConfigurationText, AnEndlessFileIsRefused) {
    EXPECT_THROW(readConfigurationText("/dev/zero"), std::runtime_error);
}

} // namespace
