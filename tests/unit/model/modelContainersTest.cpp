// The containers of the model: what is unique, in which order it is visited, and where a changed element
// goes.
#include "model/modelContainers.hpp"

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/container_hash/hash.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

std::string toString(ServiceMapping const& mapping) {
    return "(" + mapping.serviceID + ", " + mapping.publisherID + ")";
}

std::string toString(ServiceInterfaceEntry const& entry) {
    return entry.configuration.uniqueID + (entry.mappedToAllServicePublishers ? "*" : "");
}

std::string toString(SPFServicePublisherConfiguration const& publisher) {
    return publisher.uniqueID;
}

template <typename Range>
std::vector<std::string> visited(Range const& range) {
    std::vector<std::string> result;
    for (auto const& element : range) {
        result.push_back(toString(element));
    }
    return result;
}

template <typename Index, typename Key>
std::vector<std::string> visitedRange(Index const& index, Key const& key) {
    std::vector<std::string> result;
    auto const range = index.equal_range(key);
    for (auto element = range.first; element != range.second; ++element) {
        result.push_back(toString(*element));
    }
    return result;
}

ServiceMappings mappings(std::initializer_list<ServiceMapping> list) {
    return ServiceMappings(list.begin(), list.end());
}

ServiceInterfaceEntry entry(std::string uniqueID, bool mappedToAll, std::string name = {}) {
    return {{std::move(uniqueID), std::move(name), {}}, mappedToAll};
}

ServiceInterfaces interfaces(std::initializer_list<ServiceInterfaceEntry> list) {
    // One by one, as builders insert them: of a range each is put where a hint says, equal keys included.
    ServiceInterfaces container;
    for (auto const& interface : list) {
        container.insert(interface);
    }
    return container;
}

void setFlag(ServiceInterfaces& container, std::string const& uniqueID, bool flag) {
    container.modify(container.find(uniqueID),
                     [&](ServiceInterfaceEntry& found) { found.mappedToAllServicePublishers = flag; });
}

TEST(ServiceMappingsContainer, VisitsMappingsInAscendingOrderOfServiceThenPublisher) {
    EXPECT_THAT(visited(mappings({{"b", "p2"}, {"b", "p1"}, {"a", "p1"}})),
                ElementsAre("(a, p1)", "(b, p1)", "(b, p2)"));
}

TEST(ServiceMappingsContainer, ComparesIDsByBytesAShorterPrefixFirst) {
    EXPECT_THAT(visited(mappings({{"\xC3\xA9", "p"}, {"ab", "p"}, {"a", "p"}, {"B", "p"}, {"", "p"}})),
                ElementsAre("(, p)", "(B, p)", "(a, p)", "(ab, p)", "(\xC3\xA9, p)"));
}

TEST(ServiceMappingsContainer, HoldsAPairOnce) {
    auto container = mappings({{"a", "p"}});
    EXPECT_FALSE(container.insert({"a", "p"}).second);
    EXPECT_EQ(container.size(), 1U);
}

TEST(ServiceMappingsContainer, FindsTheMappingsOfAnInterfaceAsARange) {
    auto const container = mappings({{"b", "p1"}, {"a", "p1"}, {"b", "p2"}, {"ba", "p1"}});
    EXPECT_THAT(visitedRange(container.get<0>(), std::string("b")), ElementsAre("(b, p1)", "(b, p2)"));
}

TEST(ServiceMappingsContainer, FindsTheMappingsOfAPublisherAsARangeInTheOrderOfInsertion) {
    auto const container = mappings({{"b", "p1"}, {"c", "p2"}, {"a", "p1"}});
    EXPECT_THAT(visitedRange(container.get<1>(), std::string("p1")), ElementsAre("(b, p1)", "(a, p1)"));
}

TEST(ServiceMappingsContainer, VisitsPublishersInAscendingOrderByItsSecondIndex) {
    EXPECT_THAT(visited(mappings({{"a", "p2"}, {"b", "p1"}}).get<1>()), ElementsAre("(b, p1)", "(a, p2)"));
}

TEST(ServiceInterfacesContainer, HoldsAUniqueIDOnce) {
    auto container = interfaces({entry("i", false, "first")});
    EXPECT_FALSE(container.insert(entry("i", true, "second")).second);
    EXPECT_EQ(container.find("i")->configuration.name, "first");
}

TEST(ServiceInterfacesContainer, HoldsEqualNamesOfDifferentUniqueIDs) {
    EXPECT_EQ(interfaces({entry("1", false, "same"), entry("2", false, "same")}).size(), 2U);
}

TEST(ServiceInterfacesContainer, FindsAnEmptyUniqueID) {
    auto const container = interfaces({entry("", false, "name")});
    ASSERT_NE(container.find(""), container.end());
    EXPECT_EQ(container.find("")->configuration.name, "name");
}

TEST(ServiceInterfacesContainer, ComparesUniqueIDsByBytes) {
    auto const container = interfaces({entry("i", false), entry("I", false)});
    EXPECT_EQ(container.size(), 2U);
    EXPECT_EQ(container.find("i "), container.end());
}

TEST(ServiceInterfacesContainer, HashesUniqueIDsWithBoostHash) {
    using Hash = ServiceInterfaces::nth_index<0>::type::hasher;
    EXPECT_TRUE((std::is_same_v<Hash, boost::hash<std::string>>));
}

TEST(ServiceInterfacesContainer, VisitsUnmappedBeforeMappedByItsSecondIndexEachInTheOrderOfInsertion) {
    EXPECT_THAT(
        visited(
            interfaces({entry("d", true), entry("c", false), entry("b", true), entry("a", false)}).get<1>()),
        ElementsAre("c", "a", "d*", "b*"));
}

TEST(ServiceInterfacesContainer, PutsANewInterfaceAfterThoseWithTheSameFlag) {
    auto container = interfaces({entry("z", true), entry("y", false)});
    container.insert(entry("b", true));
    container.insert(entry("a", false));
    EXPECT_THAT(visited(container.get<1>()), ElementsAre("y", "a", "z*", "b*"));
}

TEST(ServiceInterfacesContainer, PutsANewlyMappedInterfaceThatIsOutOfOrderAfterThoseThatAreMapped) {
    auto container = interfaces({entry("z", false), entry("y", false), entry("b", true), entry("a", true)});
    setFlag(container, "z", true);
    EXPECT_THAT(visited(container.get<1>()), ElementsAre("y", "b*", "a*", "z*"));
}

TEST(ServiceInterfacesContainer, KeepsThePositionOfANewlyMappedInterfaceThatIsStillInOrder) {
    auto container = interfaces({entry("y", false), entry("z", false), entry("b", true), entry("a", true)});
    setFlag(container, "z", true);
    EXPECT_THAT(visited(container.get<1>()), ElementsAre("y", "z*", "b*", "a*"));
}

TEST(ServiceInterfacesContainer, PutsANewlyUnmappedInterfaceAfterThoseThatAreUnmapped) {
    auto container = interfaces({entry("z", true), entry("b", false), entry("a", false), entry("y", true)});
    setFlag(container, "z", false);
    EXPECT_THAT(visited(container.get<1>()), ElementsAre("b", "a", "z", "y*"));
}

TEST(ServiceInterfacesContainer, KeepsThePositionOfAnInterfaceWhoseFlagStays) {
    auto container = interfaces({entry("b", true), entry("a", true)});
    setFlag(container, "b", true);
    EXPECT_THAT(visited(container.get<1>()), ElementsAre("b*", "a*"));
}

TEST(ServiceInterfacesContainer, ErasesAnInterfaceWhoseModifierThrows) {
    auto container = interfaces({entry("a", false), entry("b", false)});
    EXPECT_THROW(container.modify(container.find("a"),
                                  [](ServiceInterfaceEntry&) { throw std::runtime_error("copying failed"); }),
                 std::runtime_error);
    EXPECT_THAT(visited(container), ElementsAre("b"));
}

TEST(ServicePublishersContainer, HoldsAUniqueIDOnce) {
    ServicePublishers container;
    SPFServicePublisherConfiguration publisher;
    publisher.uniqueID = "p";
    EXPECT_TRUE(container.insert(publisher).second);
    publisher.name = "another";
    EXPECT_FALSE(container.insert(publisher).second);
    publisher.uniqueID = "P";
    EXPECT_TRUE(container.insert(publisher).second);
    EXPECT_THAT(visited(container), UnorderedElementsAre("p", "P"));
}

TEST(ServicePublishersContainer, HashesUniqueIDsWithBoostHash) {
    using Hash = ServicePublishers::nth_index<0>::type::hasher;
    EXPECT_TRUE((std::is_same_v<Hash, boost::hash<std::string>>));
}

} // namespace
} // namespace agent::spf::frameworksetup::test
