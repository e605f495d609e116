// Configurations: their PIDs, properties and counts, what is left after removal, and how they are listed.
#include "ConfigurationAdminFixture.hpp"

#include <cppmicroservices/cm/ConfigurationException.hpp>

#include <set>
#include <stdexcept>

namespace configuration_admin_test {

using cppmicroservices::service::cm::ConfigurationException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::ThrowsMessage;
using ::testing::UnorderedElementsAre;

class ConfigurationAdminConfiguration : public ConfigurationAdminTest {};

TEST_F(ConfigurationAdminConfiguration, NewOneIsEmptyAndNeverChanged) {
    auto const configuration = admin_->GetConfiguration("pid");
    EXPECT_EQ(configuration->GetPid(), "pid");
    EXPECT_EQ(configuration->GetFactoryPid(), "");
    EXPECT_TRUE(configuration->GetProperties().empty());
    EXPECT_EQ(configuration->GetProperties().GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(configuration->GetChangeCount(), 0U);
}

TEST_F(ConfigurationAdminConfiguration, IsTheSameObjectWheneverItIsAskedFor) {
    EXPECT_EQ(admin_->GetConfiguration("pid"), admin_->GetConfiguration("pid"));
    EXPECT_EQ(admin_->GetFactoryConfiguration("factory", "one"), admin_->GetConfiguration("factory~one"));
}

TEST_F(ConfigurationAdminConfiguration, LivesWithoutAHandle) {
    admin_->GetConfiguration("pid")->Update(numbered(7)).wait();
    EXPECT_EQ(numberIn(admin_->GetConfiguration("pid")->GetProperties()), 7);
}

TEST_F(ConfigurationAdminConfiguration, OfAFactoryIsNamedAfterFactoryAndInstance) {
    auto const configuration = admin_->GetFactoryConfiguration("factory", "one");
    EXPECT_EQ(configuration->GetPid(), "factory~one");
    EXPECT_EQ(configuration->GetFactoryPid(), "factory");
}

TEST_F(ConfigurationAdminConfiguration, FactoryPidEndsAtTheFirstTilde) {
    EXPECT_EQ(admin_->GetConfiguration("a~b~c")->GetFactoryPid(), "a");
    EXPECT_EQ(admin_->GetFactoryConfiguration("a~b", "c")->GetFactoryPid(), "a");
    EXPECT_EQ(admin_->GetConfiguration("a~")->GetFactoryPid(), "a");
    EXPECT_EQ(admin_->GetConfiguration("~a")->GetFactoryPid(), "");
}

TEST_F(ConfigurationAdminConfiguration, CreatedForAFactoryHasANameOfItsOwnOfSixLettersAndDigits) {
    std::set<std::string> pids;
    std::set<char> characters;
    for (int i = 0; i < 1000; ++i) {
        auto const configuration = admin_->CreateFactoryConfiguration("factory");
        EXPECT_EQ(configuration->GetFactoryPid(), "factory");
        auto const pid = configuration->GetPid();
        EXPECT_THAT(pid, MatchesRegex("factory~[0-9A-Za-z]{6}"));
        pids.insert(pid);
        auto const name = pid.substr(pid.find('~') + 1);
        characters.insert(name.begin(), name.end());
    }
    EXPECT_EQ(pids.size(), 1000U);
    EXPECT_EQ(characters.size(), 62U); // that one is missing by chance is next to impossible
}

TEST_F(ConfigurationAdminConfiguration, UpdateReplacesThePropertiesAndCounts) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(AnyMap{AnyMap::ORDERED_MAP, {{"old", Any{1}}}}).get();
    EXPECT_EQ(configuration->GetProperties().GetType(), AnyMap::ORDERED_MAP);
    configuration->Update(numbered(1)).get();
    EXPECT_EQ(configuration->GetProperties(), numbered(1));
    EXPECT_EQ(configuration->GetChangeCount(), 2U);
}

TEST_F(ConfigurationAdminConfiguration, UpdateTakesEffectBeforeItReturns) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto const delivered = configuration->Update(numbered(1));
    EXPECT_EQ(configuration->GetProperties(), numbered(1));
    EXPECT_EQ(configuration->GetChangeCount(), 1U);
    EXPECT_TRUE(becomesReady(delivered));
}

TEST_F(ConfigurationAdminConfiguration, UpdateWithEqualPropertiesCounts) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    configuration->Update(numbered(1)).get();
    EXPECT_EQ(configuration->GetChangeCount(), 2U);
}

TEST_F(ConfigurationAdminConfiguration, UpdateWithoutPropertiesEmptiesIt) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    configuration->Update().get();
    EXPECT_TRUE(configuration->GetProperties().empty());
    EXPECT_EQ(configuration->GetChangeCount(), 2U);
}

TEST_F(ConfigurationAdminConfiguration, PropertiesAreStoredAsGiven) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto properties = numbered(1);
    properties["service.pid"] = std::string{"something else"};
    configuration->Update(properties).get();
    EXPECT_EQ(configuration->GetProperties(), properties);
}

TEST_F(ConfigurationAdminConfiguration, GetPropertiesReturnsACopy) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    auto copy = configuration->GetProperties();
    copy["number"] = 2;
    EXPECT_EQ(configuration->GetProperties(), numbered(1));
}

TEST_F(ConfigurationAdminConfiguration, UpdateIfDifferentDoesNothingForEqualProperties) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    auto const [updated, delivered] = configuration->UpdateIfDifferent(numbered(1));
    EXPECT_FALSE(updated);
    EXPECT_TRUE(isReady(delivered));
    EXPECT_EQ(configuration->GetChangeCount(), 1U);
}

TEST_F(ConfigurationAdminConfiguration, UpdateIfDifferentOfANewOneWithNothingDoesNothing) {
    auto const configuration = admin_->GetConfiguration("pid");
    EXPECT_FALSE(configuration->UpdateIfDifferent().first);
    EXPECT_EQ(configuration->GetChangeCount(), 0U);
    EXPECT_THAT(admin_->ListConfigurations(), IsEmpty());
}

TEST_F(ConfigurationAdminConfiguration, UpdateIfDifferentSeesAnotherValueTypeKeyCaseAndMapType) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto const mapType = AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS;
    configuration->Update(AnyMap{mapType, {{"key", Any{1}}}}).get();
    EXPECT_TRUE(configuration->UpdateIfDifferent(AnyMap{mapType, {{"key", Any{2}}}}).first);
    EXPECT_TRUE(configuration->UpdateIfDifferent(AnyMap{mapType, {{"key", Any{2L}}}}).first);
    EXPECT_TRUE(configuration->UpdateIfDifferent(AnyMap{mapType, {{"Key", Any{2L}}}}).first);
    EXPECT_TRUE(configuration->UpdateIfDifferent(AnyMap{AnyMap::ORDERED_MAP, {{"Key", Any{2L}}}}).first);
    EXPECT_EQ(configuration->GetChangeCount(), 5U);
}

TEST_F(ConfigurationAdminConfiguration, RemovedOneThrowsFromEveryMember) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    configuration->Remove().get();
    auto const throwsRemoved = ThrowsMessage<std::runtime_error>("This Configuration has been Removed");
    EXPECT_THAT([&] { configuration->GetPid(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->GetFactoryPid(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->GetProperties(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->GetChangeCount(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->Update(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->UpdateIfDifferent(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->Remove(); }, throwsRemoved);
}

TEST_F(ConfigurationAdminConfiguration, AfterRemovalANewOneStartsAfresh) {
    auto const removed = admin_->GetConfiguration("pid");
    removed->Update(numbered(1)).get();
    removed->Remove().get();
    auto const created = admin_->GetConfiguration("pid");
    EXPECT_NE(created, removed);
    EXPECT_EQ(created->GetChangeCount(), 0U);
    EXPECT_TRUE(created->GetProperties().empty());
}

class ConfigurationAdminList : public ConfigurationAdminTest {
protected:
    void SetUp() override {
        ConfigurationAdminTest::SetUp();
        admin_->GetConfiguration("plain")->Update(numbered(1)).get();
        auto properties = numbered(2);
        properties["Name"] = std::string{"second"};
        admin_->GetFactoryConfiguration("factory", "one")->Update(properties).get();
        admin_->GetConfiguration("empty")->Update().get();
    }

    std::vector<std::string> listed(std::string const& filter = {}) {
        std::vector<std::string> pids;
        for (auto const& configuration : admin_->ListConfigurations(filter)) {
            pids.push_back(configuration->GetPid());
        }
        return pids;
    }
};

TEST_F(ConfigurationAdminList, HasAllThatWereEverUpdated) {
    admin_->GetConfiguration("never updated");
    EXPECT_THAT(listed(), UnorderedElementsAre("empty", "factory~one", "plain"));
}

TEST_F(ConfigurationAdminList, HasNoneThatWereRemoved) {
    admin_->GetConfiguration("plain")->Remove();
    EXPECT_THAT(listed(), UnorderedElementsAre("empty", "factory~one"));
}

TEST_F(ConfigurationAdminList, HasTheObjectsThatClientsHold) {
    auto const list = admin_->ListConfigurations("(pid=plain)");
    EXPECT_THAT(list, ElementsAre(admin_->GetConfiguration("plain")));
}

TEST_F(ConfigurationAdminList, FilterMatchesPropertiesWhateverTheCaseOfTheirKeys) {
    EXPECT_THAT(listed("(number=1)"), ElementsAre("plain"));
    EXPECT_THAT(listed("(NAME=second)"), ElementsAre("factory~one"));
    EXPECT_THAT(listed("(number=*)"), UnorderedElementsAre("factory~one", "plain"));
    EXPECT_THAT(listed("(&(number>=1)(!(name=second)))"), ElementsAre("plain"));
    EXPECT_THAT(listed("(unknown=1)"), IsEmpty());
}

TEST_F(ConfigurationAdminList, FilterMatchesThePid) {
    EXPECT_THAT(listed("(pid=plain)"), ElementsAre("plain"));
    EXPECT_THAT(listed("(PID=factory~*)"), ElementsAre("factory~one"));
}

TEST_F(ConfigurationAdminList, FilterRefusesPropertiesWithCaseVariantsOfAKey) {
    AnyMap variants{AnyMap::ORDERED_MAP};
    variants["A1"] = 1;
    variants["a1"] = 2;
    admin_->GetConfiguration("variants")->Update(variants).get();
    EXPECT_THAT([&] { listed("(number=1)"); },
                ThrowsMessage<std::runtime_error>("Properties contain case variants of the key: A1"));
}

TEST_F(ConfigurationAdminList, MalformedFilterThrows) {
    EXPECT_THAT([&] { listed("(("); }, ThrowsMessage<std::invalid_argument>("Malformed query: ("));
    EXPECT_THROW(listed("(number=1"), std::invalid_argument);
}

TEST(ConfigurationAdminException, NamesReasonAndProperty) {
    ConfigurationException const whole{"a reason", "a.property"};
    EXPECT_STREQ(whole.what(), "ConfigurationException due to a reason (with property: a.property)");
    EXPECT_EQ(whole.GetReason(), "a reason");
    EXPECT_EQ(whole.GetProperty(), "a.property");
    EXPECT_STREQ(ConfigurationException{"a reason"}.what(), "ConfigurationException due to a reason");
    EXPECT_EQ(ConfigurationException{"a reason"}.GetProperty(), "");
}

} // namespace configuration_admin_test
