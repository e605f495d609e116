// How published configurations become publisher configurations, and how these come and go.
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/framework/PublisherConfigurations.hpp"

namespace {

using namespace agent::spf::bundles::framework;
using agent::spf::bundles::makeMap;
using bundles_test::ConfigurationMap;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
namespace keys = agent::spf::bundles::keys;

// Writes down what it is asked to do.
class RecordingEnvironment : public PublisherEnvironment {
public:
    void update(PublisherEntry const& entry) override {
        if (isOutOfMemory) {
            throw std::bad_alloc();
        }
        if (entry.uniqueID == refused) {
            throw std::runtime_error("refused");
        }
        calls.push_back("update " + entry.uniqueID + " " + std::to_string(entry.modificationCount));
    }
    bool remove(PublisherEntry const& entry) override {
        calls.push_back("remove " + entry.uniqueID);
        return hasPublisher;
    }
    void reportRemoved(std::string const& publisherID, std::uint32_t count) override {
        calls.push_back("removed " + publisherID + " " + std::to_string(count));
    }
    void reportError(std::string const& publisherID, std::uint32_t count, std::string const& text) override {
        if (isOutOfMemory) {
            throw std::bad_alloc();
        }
        calls.push_back("error " + publisherID + " " + std::to_string(count) + ": " + text);
    }

    std::vector<std::string> take() { return std::exchange(calls, {}); }

    std::vector<std::string> calls;
    bool hasPublisher = true;
    bool isOutOfMemory = false;
    std::string refused; // the unique ID of a publisher that cannot be configured
};

// The configuration with another first publisher.
template <class Change>
cppmicroservices::AnyMap withFirstPublisherChanged(cppmicroservices::AnyMap configuration, Change change) {
    auto publishers =
        agent::spf::bundles::listAt(configuration, keys::servicePublisherConfigurations, "configuration");
    auto publisher = agent::spf::bundles::asMap(publishers.at(0), "publisher");
    change(publisher);
    publishers[0] = publisher;
    configuration[keys::servicePublisherConfigurations] = publishers;
    return configuration;
}

class PublisherConfigurationsTest : public testing::Test {
protected:
    static std::string pid(std::string const& publisherID) {
        return std::string(agent::spf::bundles::pids::rpcPublisher) + "~" +
               publisherInstanceName("c", publisherID);
    }

    RecordingEnvironment environment_;
    PublisherConfigurations publishers_{environment_};
};

TEST_F(PublisherConfigurationsTest, AModificationUpdatesAddsAndRemoves) {
    publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).publisher("q", {}).build());
    EXPECT_THAT(environment_.take(), ElementsAre("update p 1", "update q 1"));

    publishers_.updated("c", ConfigurationMap(2).publisher("q", {}).publisher("r", {}).build());

    EXPECT_THAT(environment_.take(), ElementsAre("remove p", "update q 2", "update r 2"));
}

TEST_F(PublisherConfigurationsTest, AModificationThatRanOutOfMemoryStandsInTheWayOfNoOther) {
    environment_.isOutOfMemory = true;
    EXPECT_THROW(publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).publisher("q", {}).build()),
                 std::bad_alloc);
    environment_.isOutOfMemory = false;

    publishers_.updated("c", ConfigurationMap(2).publisher("q", {}).publisher("r", {}).build());

    EXPECT_THAT(environment_.take(), ElementsAre("remove p", "update q 2", "update r 2"));
}

TEST_F(PublisherConfigurationsTest, ARemovalAfterAModificationThatRanOutOfMemoryIsOfWhatThereIs) {
    environment_.isOutOfMemory = true;
    EXPECT_THROW(publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).publisher("q", {}).build()),
                 std::bad_alloc);

    publishers_.removed("c");

    EXPECT_THAT(environment_.take(), ElementsAre("remove p"));
}

TEST_F(PublisherConfigurationsTest, RemovalIsReportedOnceThePublisherHasWithdrawn) {
    publishers_.updated("c", ConfigurationMap(3).publisher("p", {}).build());
    publishers_.removed("c");
    EXPECT_THAT(environment_.take(), ElementsAre("update p 3", "remove p"));

    publishers_.withdrawn(pid("p"));
    publishers_.withdrawn(pid("p"));

    EXPECT_THAT(environment_.take(), ElementsAre("removed p 3"));
}

TEST_F(PublisherConfigurationsTest, RemovalIsReportedAtOnceWhenNobodyWillSay) {
    environment_.hasPublisher = false;
    publishers_.updated("c", ConfigurationMap(3).publisher("p", {}).build());

    publishers_.removed("c");

    EXPECT_THAT(environment_.take(), ElementsAre("update p 3", "remove p", "removed p 3"));
}

TEST_F(PublisherConfigurationsTest, RemovalIsReportedWhenThePublisherGoesAway) {
    publishers_.updated("c", ConfigurationMap(3).publisher("p", {}).build());
    publishers_.removed("c");
    environment_.take();

    publishers_.publishersGone(agent::spf::bundles::pids::legacyPublisher);
    EXPECT_THAT(environment_.take(), IsEmpty());
    publishers_.publishersGone(agent::spf::bundles::pids::rpcPublisher);
    EXPECT_THAT(environment_.take(), ElementsAre("removed p 3"));
}

TEST_F(PublisherConfigurationsTest, AConfigurationThatComesAgainWaitsForTheWithdrawal) {
    publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).build());
    publishers_.removed("c");
    environment_.take();

    publishers_.updated("c", ConfigurationMap(2).publisher("p", {}).build());
    publishers_.updated("c", ConfigurationMap(3).publisher("p", {}).build());
    EXPECT_THAT(environment_.take(), IsEmpty());

    publishers_.withdrawn(pid("p"));
    EXPECT_THAT(environment_.take(), ElementsAre("removed p 1", "update p 3"));
}

TEST_F(PublisherConfigurationsTest, ARemovalOfWhatWaitsIsReportedToo) {
    publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).build());
    publishers_.removed("c");
    publishers_.updated("c", ConfigurationMap(2).publisher("p", {}).build());
    publishers_.removed("c");
    environment_.take();

    publishers_.withdrawn(pid("p"));

    EXPECT_THAT(environment_.take(), ElementsAre("removed p 1", "removed p 2"));
}

TEST_F(PublisherConfigurationsTest, AWithdrawalThatNobodyAskedForMeansNothing) {
    publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).build());
    environment_.take();

    publishers_.withdrawn(pid("p"));
    publishers_.withdrawn("unknown");
    publishers_.removed("unknown");

    EXPECT_THAT(environment_.take(), IsEmpty());
}

TEST_F(PublisherConfigurationsTest, AWithdrawalThatCameBeforeTheRemovalIsNotWaitedFor) {
    publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).build());
    publishers_.withdrawn(pid("p"));
    environment_.take();

    publishers_.removed("c");

    EXPECT_THAT(environment_.take(), ElementsAre("remove p", "removed p 1"));
}

TEST_F(PublisherConfigurationsTest, AWithdrawalBeforeAnUpdateIsNotTakenForThatOfTheUpdate) {
    publishers_.updated("c", ConfigurationMap(1).publisher("p", {}).build());
    publishers_.withdrawn(pid("p"));
    publishers_.updated("c", ConfigurationMap(2).publisher("p", {}).build());
    environment_.take();

    publishers_.removed("c");

    EXPECT_THAT(environment_.take(), ElementsAre("remove p"));
}

TEST_F(PublisherConfigurationsTest, APublisherThatCannotBeConfiguredIsAnErrorAndTheOthersAre) {
    environment_.refused = "p";

    publishers_.updated("c", ConfigurationMap(3).publisher("p", {}).publisher("q", {}).build());

    EXPECT_THAT(environment_.take(), ElementsAre("error p 3: publisher \"p\": refused", "update q 3"));
}

TEST_F(PublisherConfigurationsTest, AConfigurationNotYetFilledIsNoError) {
    publishers_.updated("c", makeMap());

    EXPECT_THAT(environment_.take(), IsEmpty());
}

TEST_F(PublisherConfigurationsTest, ABadModificationIsAnErrorAndThePublisherGoesOn) {
    auto const good = ConfigurationMap(1).publisher("p", {}).build();
    publishers_.updated("c", good);
    environment_.take();
    auto bad = good;
    bad.erase(keys::serviceConfigurations);

    publishers_.updated("c", bad);

    EXPECT_THAT(environment_.take(),
                ElementsAre(AllOf(HasSubstr("error c 1"), HasSubstr("\"serviceConfigurations\""))));
    publishers_.removed("c");
    EXPECT_THAT(environment_.take(), ElementsAre("remove p"));
}

TEST_F(PublisherConfigurationsTest, APublisherThatIsCalledAsItsConfigurationGoesOnAlone) {
    publishers_.updated("c", ConfigurationMap(1).publisher("c", {}).publisher("q", {}).build());
    environment_.take();

    publishers_.updated("c", ConfigurationMap(2).publisher("c", {}).map("nothing", "c").build());

    EXPECT_THAT(environment_.take(), ElementsAre(HasSubstr("error c 2"), "remove q"));
}

TEST(PublisherEntries, APublisherGetsItsOwnAndTheInterfacesMappedToIt) {
    auto const read = publisherEntries("c", ConfigurationMap(4)
                                                .interface("i", "clock")
                                                .interface("j", "lamp")
                                                .publisher("p", {"unix:/a"})
                                                .map("j", "p")
                                                .build());

    ASSERT_THAT(read.errors, IsEmpty());
    ASSERT_EQ(read.entries.size(), 1U);
    auto const& properties = read.entries[0].properties;
    EXPECT_EQ(properties.at(keys::uniqueID), std::string("p"));
    EXPECT_EQ(properties.at(keys::name), std::string("rpcservicepublisher"));
    EXPECT_EQ(properties.at(keys::modificationCount), 4);
    auto const interfaces = agent::spf::bundles::listAt(properties, keys::serviceConfigurations, "");
    ASSERT_EQ(interfaces.size(), 1U);
    EXPECT_EQ(agent::spf::bundles::asMap(interfaces[0], "").at(keys::uniqueID), std::string("j"));
}

TEST(PublisherEntries, OneBadPublisherDoesNotSpoilTheOthers) {
    auto configuration = ConfigurationMap().publisher("p", {}).publisher("q", {}).map("nothing", "p").build();

    auto const read = publisherEntries("c", configuration);

    ASSERT_EQ(read.entries.size(), 1U);
    EXPECT_EQ(read.entries[0].uniqueID, "q");
    ASSERT_EQ(read.errors.size(), 1U);
    EXPECT_EQ(read.errors[0].publisherID, "p");
}

TEST(PublisherEntries, OneBadPublisherThatIsCalledAsTheConfigurationDoesNotSpoilTheOthers) {
    auto configuration = ConfigurationMap().publisher("c", {}).publisher("q", {}).map("nothing", "c").build();

    auto const read = publisherEntries("c", configuration);

    ASSERT_EQ(read.entries.size(), 1U);
    EXPECT_EQ(read.entries[0].uniqueID, "q");
    ASSERT_EQ(read.errors.size(), 1U);
    EXPECT_EQ(read.errors[0].publisherID, "c");
}

TEST(PublisherEntries, APublisherThatLacksSomethingIsAnErrorThatNamesItAndDoesNotSpoilTheOthers) {
    auto const configuration =
        withFirstPublisherChanged(ConfigurationMap().publisher("p", {}).publisher("q", {}).build(),
                                  [](auto& publisher) { publisher.erase(keys::name); });

    auto const read = publisherEntries("c", configuration);

    EXPECT_THAT(read.entries, ElementsAre(Field(&PublisherEntry::uniqueID, "q")));
    ASSERT_EQ(read.errors.size(), 1U);
    EXPECT_EQ(read.errors[0].publisherID, "p");
    EXPECT_EQ(read.errors[0].text,
              "configuration \"c\": publisher \"p\": \"name\" is missing, expected a string");
}

TEST(PublisherEntries, AnEmptyFactoryPIDIsAnError) {
    auto const configuration =
        withFirstPublisherChanged(ConfigurationMap().publisher("p", {}).build(),
                                  [](auto& publisher) { publisher[keys::factoryPID] = std::string(); });

    auto const read = publisherEntries("c", configuration);

    EXPECT_THAT(read.entries, IsEmpty());
    ASSERT_EQ(read.errors.size(), 1U);
    EXPECT_THAT(read.errors[0].text, HasSubstr("\"factoryPID\" is empty"));
}

TEST(PublisherEntries, AMappingToAnUnknownPublisherIsAnErrorThatNamesBoth) {
    auto const read =
        publisherEntries("c", ConfigurationMap().interface("i", "clock").map("i", "nobody").build());

    ASSERT_EQ(read.errors.size(), 1U);
    EXPECT_THAT(read.errors[0].text, AllOf(HasSubstr("\"i\""), HasSubstr("unknown publisher \"nobody\"")));
}

TEST(PublisherEntries, AUniqueIDThatStandsForTwoPublishersIsAnError) {
    auto const read = publisherEntries("c", ConfigurationMap().publisher("p", {}).publisher("p", {}).build());

    EXPECT_THAT(read.entries, IsEmpty());
    ASSERT_EQ(read.errors.size(), 1U);
    EXPECT_THAT(read.errors[0].text, HasSubstr("two publishers"));
}

TEST(PublisherEntries, WhatIsWrongWithTheWholeIsToldOfEachPublisherThatIsInOrder) {
    auto configuration = ConfigurationMap()
                             .publisher("b", {})
                             .publisher("b", {})
                             .publisher("c", {})
                             .publisher("q", {})
                             .build();
    configuration.erase(keys::servicePublisherMappings);

    auto const read = publisherEntries("c", configuration);

    EXPECT_TRUE(read.isUnreadable);
    EXPECT_THAT(read.entries, IsEmpty());
    auto const about = [](std::optional<std::string> const& publisherID, char const* text) {
        return AllOf(Field(&ConfigurationError::publisherID, publisherID),
                     Field(&ConfigurationError::text, HasSubstr(text)));
    };
    EXPECT_THAT(read.errors,
                ElementsAre(about("b", "two publishers"), about(std::nullopt, keys::servicePublisherMappings),
                            about("c", keys::servicePublisherMappings),
                            about("q", keys::servicePublisherMappings)));
}

TEST(PublisherEntries, InstanceNamesAreUnambiguous) {
    EXPECT_NE(publisherInstanceName("a", "b:c"), publisherInstanceName("a:b", "c"));
    EXPECT_NE(publisherInstanceName("", "1::a"), publisherInstanceName("1:", "a"));
}

} // namespace
