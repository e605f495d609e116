// What a ManagedServiceFactory is told.
#include "ConfigurationAdminFixture.hpp"

#include <stdexcept>

namespace configuration_admin_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

class ConfigurationAdminFactory : public ConfigurationAdminTest {
protected:
    using Call = RecordingFactory::Call;
    static constexpr int removed = RecordingFactory::removed;
};

TEST_F(ConfigurationAdminFactory, IsToldOfUpdatesOfItsConfigurationsWithTheirPids) {
    auto const factory = registerFactory("factory");
    auto const other = registerFactory("other");
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(1)).get();
    admin_->GetFactoryConfiguration("factory", "two")->Update(numbered(2)).get();
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(3)).get();
    EXPECT_THAT(factory->calls.values(),
                ElementsAre(Call{"factory~one", 1}, Call{"factory~two", 2}, Call{"factory~one", 3}));
    EXPECT_THAT(other->calls.values(), IsEmpty());
}

TEST_F(ConfigurationAdminFactory, GetsThePropertiesAsGivenWithNothingAdded) {
    struct Factory : ManagedServiceFactory {
        void Updated(std::string const&, AnyMap const& properties) override { seen.append(properties); }
        void Removed(std::string const&) override {}
        Record<AnyMap> seen;
    };
    auto const factory = std::make_shared<Factory>();
    registerFor<ManagedServiceFactory>("factory", factory);
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(1)).get();
    EXPECT_THAT(factory->seen.values(), ElementsAre(numbered(1)));
}

TEST_F(ConfigurationAdminFactory, IsToldOfCreatedConfigurationsWhenTheyAreUpdated) {
    auto const factory = registerFactory("factory");
    auto const configuration = admin_->CreateFactoryConfiguration("factory");
    configuration->Update(numbered(1)).get();
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{configuration->GetPid(), 1}));
}

TEST_F(ConfigurationAdminFactory, IsToldOfExistingConfigurationsWhenItAppears) {
    admin_->GetFactoryConfiguration("factory", "never updated");
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(1)).get();
    admin_->GetFactoryConfiguration("factory", "two")->Update(numbered(2)).get();
    admin_->GetFactoryConfiguration("factory", "removed")->Update(numbered(3)).get();
    admin_->GetFactoryConfiguration("factory", "removed")->Remove().get();
    admin_->GetFactoryConfiguration("factory2", "one")->Update(numbered(4)).get();
    auto const factory = registerFactory("factory");
    EXPECT_TRUE(factory->calls.reaches(2));
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(5)).get();
    admin_->GetFactoryConfiguration("factory", "two")->Update(numbered(6)).get();
    EXPECT_THAT(factory->calls.values(),
                UnorderedElementsAre(Call{"factory~one", 1}, Call{"factory~two", 2}, Call{"factory~one", 5},
                                     Call{"factory~two", 6}));
}

TEST_F(ConfigurationAdminFactory, IsToldOfExistingConfigurationsAgainWhenItIsRegisteredAgain) {
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(1)).get();
    auto const factory = std::make_shared<RecordingFactory>();
    auto registration = registerFor<ManagedServiceFactory>("factory", factory);
    EXPECT_TRUE(factory->calls.reaches(1));
    registration.Unregister();
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(2)).get();
    registration = registerFor<ManagedServiceFactory>("factory", factory);
    EXPECT_TRUE(factory->calls.reaches(2));
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~one", 1}, Call{"factory~one", 2}));
}

TEST_F(ConfigurationAdminFactory, IsToldOfRemoval) {
    auto const factory = registerFactory("factory");
    auto const configuration = admin_->GetFactoryConfiguration("factory", "one");
    configuration->Update(numbered(1)).get();
    configuration->Remove().get();
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~one", 1}, Call{"factory~one", removed}));
}

TEST_F(ConfigurationAdminFactory, IsNotToldOfTheRemovalOfAConfigurationThatWasNeverUpdated) {
    auto const factory = registerFactory("factory");
    admin_->GetFactoryConfiguration("factory", "one")->Remove().get();
    admin_->GetFactoryConfiguration("factory", "two")->Update(numbered(2)).get();
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~two", 2}));
}

TEST_F(ConfigurationAdminFactory, ExceptionReachesNeitherTheFutureNorAnotherFactory) {
    registerFactory("factory", [](std::string const&) { throw std::runtime_error{"test"}; });
    auto const factory = registerFactory("factory");
    auto const configuration = admin_->GetFactoryConfiguration("factory", "one");
    EXPECT_NO_THROW(configuration->Update(numbered(1)).get());
    EXPECT_NO_THROW(configuration->Remove().get());
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~one", 1}, Call{"factory~one", removed}));
}

TEST_F(ConfigurationAdminFactory, ManagedServiceOfAnInstancePidIsToldAsWell) {
    auto const factory = registerFactory("factory");
    auto const instance = registerService("factory~one");
    auto const wholeFactory = registerService("factory");
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(1)).get();
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~one", 1}));
    EXPECT_THAT(instance->numbers(), ElementsAre(1));
    EXPECT_THAT(wholeFactory->numbers(), IsEmpty());
}

TEST_F(ConfigurationAdminFactory, IsNotToldOfAConfigurationOfItsOwnPid) {
    auto const factory = registerFactory("factory");
    admin_->GetConfiguration("factory")->Update(numbered(1)).get();
    EXPECT_THAT(factory->calls.values(), IsEmpty());
}

TEST_F(ConfigurationAdminFactory, MayPublishOtherFactoryConfigurationsInsideUpdated) {
    auto const inner = registerFactory("inner");
    registerFactory("outer", [this](std::string const&) {
        admin_->GetFactoryConfiguration("inner", "one")->Update(numbered(2));
    });
    admin_->GetFactoryConfiguration("outer", "one")->Update(numbered(1)).get();
    EXPECT_TRUE(inner->calls.reaches(1));
    EXPECT_THAT(inner->calls.values(), ElementsAre(Call{"inner~one", 2}));
}

// The PID of such a configuration reads as one of another factory.
TEST_F(ConfigurationAdminFactory, WhosePidHoldsTheSeparatorIsThatOfTheConfigurationsCreatedForIt) {
    auto const created = admin_->CreateFactoryConfiguration("a~b");
    auto const pid = created->GetPid();
    EXPECT_THAT(pid, StartsWith("a~b~"));
    EXPECT_EQ(created->GetFactoryPid(), "a~b");
    EXPECT_EQ(admin_->GetConfiguration(pid)->GetFactoryPid(), "a~b");
    EXPECT_EQ(admin_->GetFactoryConfiguration("a~b", "named")->GetFactoryPid(), "a");
    created->Remove().get();
    EXPECT_EQ(admin_->GetConfiguration(pid)->GetFactoryPid(), "a");
}

TEST_F(ConfigurationAdminFactory, WhosePidHoldsTheSeparatorIsToldOfThoseThatItFindsAndTheOtherOfChanges) {
    auto const created = admin_->CreateFactoryConfiguration("a~b");
    auto const pid = created->GetPid();
    created->Update(numbered(1)).get();
    auto const outer = registerFactory("a");
    auto const inner = registerFactory("a~b");
    ASSERT_TRUE(inner->calls.reaches(1));
    created->Update(numbered(2)).get();
    created->Remove().get();
    EXPECT_THAT(inner->calls.values(), ElementsAre(Call{pid, 1}));
    EXPECT_THAT(outer->calls.values(), ElementsAre(Call{pid, 2}, Call{pid, removed}));
}

} // namespace configuration_admin_test
