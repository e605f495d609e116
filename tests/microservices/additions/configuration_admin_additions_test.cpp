// The operations of configurations whose futures may be waited for inside a service, the count of instances,
// whose PID a filter asks for, and what a stop delivers.
#include "ConfigurationAdminFixture.hpp"

#include <future>

namespace configuration_admin_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

class ConfigurationAdminAdditions : public ConfigurationAdminTest {};

TEST_F(ConfigurationAdminAdditions, SafeFormsDoTheSame) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto const delivered = configuration->SafeUpdate(numbered(1));
    delivered->get();
    EXPECT_EQ(delivered->wait_for(0), std::future_status::ready);
    auto const [updated, deliveredAgain] = configuration->SafeUpdateIfDifferent(numbered(2));
    EXPECT_TRUE(updated);
    deliveredAgain->wait();
    EXPECT_EQ(configuration->GetProperties(), numbered(2));
    configuration->SafeRemove()->get();
    EXPECT_THAT(admin_->ListConfigurations(), IsEmpty());
}

TEST_F(ConfigurationAdminAdditions, SafeUpdateIfDifferentDoesNothingForEqualProperties) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    auto const [updated, delivered] = configuration->SafeUpdateIfDifferent(numbered(1));
    EXPECT_FALSE(updated);
    ASSERT_TRUE(delivered);
    delivered->get();
    EXPECT_EQ(configuration->GetChangeCount(), 1U);
}

TEST_F(ConfigurationAdminAdditions, SafeFormsOfARemovedOneThrow) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    configuration->Remove().get();
    auto const throwsRemoved = ThrowsMessage<std::runtime_error>("This Configuration has been Removed");
    EXPECT_THAT([&] { configuration->SafeUpdate(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->SafeUpdateIfDifferent(); }, throwsRemoved);
    EXPECT_THAT([&] { configuration->SafeRemove(); }, throwsRemoved);
}

TEST_F(ConfigurationAdminAdditions, DroppingASafeFutureDoesNotWait) {
    Gate gate;
    auto const service = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    auto const configuration = admin_->GetConfiguration("pid");
    { configuration->SafeUpdate(numbered(1)); }
    ASSERT_TRUE(service->updates.reaches(1)); // and hangs at the gate
    { configuration->SafeUpdate(numbered(2)); }
    gate.open();
    EXPECT_TRUE(service->updates.reaches(2));
}

TEST_F(ConfigurationAdminAdditions, ExceptionOfUpdatedDoesNotReachTheSafeFuture) {
    auto const service = registerService("pid", [](AnyMap const&) { throw 5; });
    EXPECT_NO_THROW(admin_->GetConfiguration("pid")->SafeUpdate(numbered(1))->get());
    EXPECT_THAT(service->numbers(), ElementsAre(1));
}

TEST_F(ConfigurationAdminAdditions, SafeUpdateInsideUpdatedMayBeWaitedFor) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto const service = registerService("pid", [&](AnyMap const& properties) {
        if (numberIn(properties) == 1) {
            configuration->SafeUpdate(numbered(2))->get();
        }
    });
    auto const delivered = configuration->Update(numbered(1));
    EXPECT_TRUE(becomesReady(delivered));
    EXPECT_THAT(service->numbers(), ElementsAre(1, 2));
}

TEST_F(ConfigurationAdminAdditions, InstanceCountGrowsWhenARemovedConfigurationIsMadeAnew) {
    auto const removed = admin_->GetConfiguration("pid");
    EXPECT_EQ(removed->GetInstanceCount(), 1U);
    removed->Update(numbered(1)).get();
    removed->Remove().get();
    EXPECT_EQ(removed->GetInstanceCount(), 1U);
    EXPECT_EQ(admin_->GetConfiguration("pid")->GetInstanceCount(), 2U);
}

TEST_F(ConfigurationAdminAdditions, PropertyThatIsCalledPidDoesNotHideThePid) {
    auto properties = numbered(1);
    properties["pid"] = std::string{"a property"};
    auto const configuration = admin_->GetConfiguration("plain");
    configuration->Update(properties).get();
    EXPECT_THAT(admin_->ListConfigurations("(pid=plain)"), ElementsAre(configuration));
    EXPECT_THAT(admin_->ListConfigurations("(pid=a property)"), IsEmpty());
}

TEST_F(ConfigurationAdminAdditions, FilterRefusesAPropertyThatIsACaseVariantOfThePid) {
    AnyMap variants{AnyMap::ORDERED_MAP};
    variants["PID"] = std::string{"another"};
    admin_->GetConfiguration("variants")->Update(variants).get();
    EXPECT_THAT([&] { admin_->ListConfigurations("(number=1)"); },
                ThrowsMessage<std::runtime_error>("Properties contain case variants of the key: PID"));
}

TEST_F(ConfigurationAdminAdditions, ComponentNameIsThePidOfAServiceWithAnEmptyOne) {
    auto const service = std::make_shared<RecordingService>();
    context_.RegisterService<ManagedService>(
        service,
        ServiceProperties{{"service.pid", Any{std::string{}}}, {"component.name", Any{std::string{"pid"}}}});
    admin_->GetConfiguration("")->Update(numbered(1)).get();
    admin_->GetConfiguration("pid")->Update(numbered(2)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(2));
}

// 3.8.0 now and then completes an update at the stop without delivering it.
TEST_F(ConfigurationAdminAdditions, AStopDeliversWhatWasAcceptedAndThenTellsThatItIsGone) {
    constexpr int none = -1; // the number in an empty map
    Gate gate;
    auto const service = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    auto const configuration = admin_->GetConfiguration("pid");
    auto const first = configuration->Update(numbered(1));
    ASSERT_TRUE(service->updates.reaches(1));
    auto const second = configuration->Update(numbered(2));
    admin_.reset();
    auto stopped = std::async(std::launch::async, [this] { bundle_.Stop(); });
    gate.open();
    ASSERT_TRUE(becomesReady(stopped));
    EXPECT_TRUE(becomesReady(first));
    EXPECT_TRUE(becomesReady(second));
    EXPECT_THAT(service->numbers(), ElementsAre(1, 2, none));
}

TEST_F(ConfigurationAdminAdditions, AStopTellsThatWhatManifestsBroughtIsRemoved) {
    auto const listener = registerListener();
    auto const service = registerService("brought");
    context_.InstallBundles(SPF_TEST_BUNDLE_DIRECTORY "/test_brings_configurations.so").at(0).Start();
    ASSERT_TRUE(service->updates.reaches(1));
    ASSERT_TRUE(listener->events.reaches(2));
    admin_.reset();
    bundle_.Stop();
    ASSERT_TRUE(listener->events.reaches(4));
    auto const events = listener->events.values();
    EXPECT_EQ(events.at(2).getType(), ConfigurationEventType::CM_DELETED);
    EXPECT_EQ(events.at(3).getType(), ConfigurationEventType::CM_DELETED);
    EXPECT_THAT(service->numbers(), ElementsAre(7, -1));
}

} // namespace configuration_admin_test
