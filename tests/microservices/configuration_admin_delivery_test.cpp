// Which managed services and listeners are told of what, when, and in which order.
#include "ConfigurationAdminFixture.hpp"

#include <cppmicroservices/cm/ConfigurationException.hpp>

#include <algorithm>
#include <atomic>

namespace configuration_admin_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ConfigurationAdminDelivery : public ConfigurationAdminTest {
protected:
    static constexpr int none = -1; // the number in an empty map
};

TEST_F(ConfigurationAdminDelivery, UpdateReachesTheServiceOfThePidWithThePropertiesAsGiven) {
    auto const service = registerService("pid");
    auto const other = registerService("other");
    auto properties = AnyMap{AnyMap::ORDERED_MAP, {{"key", Any{std::string{"value"}}}}};
    admin_->GetConfiguration("pid")->Update(properties).get();
    EXPECT_THAT(service->updates.values(), ElementsAre(properties));
    EXPECT_THAT(other->updates.values(), IsEmpty());
}

TEST_F(ConfigurationAdminDelivery, UpdateReachesEveryServiceOfThePid) {
    auto const first = registerService("pid");
    auto const second = registerService("pid");
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    EXPECT_THAT(first->numbers(), ElementsAre(1));
    EXPECT_THAT(second->numbers(), ElementsAre(1));
}

TEST_F(ConfigurationAdminDelivery, EmptyUpdateReachesTheService) {
    auto const service = registerService("pid");
    admin_->GetConfiguration("pid")->Update().get();
    EXPECT_THAT(service->numbers(), ElementsAre(none));
}

TEST_F(ConfigurationAdminDelivery, ServiceWithoutConfigurationIsToldNothingWhenItAppears) {
    auto const service = registerService("pid");
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(1));
}

TEST_F(ConfigurationAdminDelivery, ConfigurationThatWasNeverUpdatedIsNotDelivered) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto const service = registerService("pid");
    configuration->Update(numbered(1)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(1));
}

TEST_F(ConfigurationAdminDelivery, ExistingConfigurationIsDeliveredWhenTheServiceAppears) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    configuration->Update(numbered(2)).get();
    auto const service = registerService("pid");
    EXPECT_TRUE(service->updates.reaches(1));
    configuration->Update(numbered(3)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(2, 3));
}

TEST_F(ConfigurationAdminDelivery, ConfigurationUpdatedWithNothingIsDeliveredWhenTheServiceAppears) {
    admin_->GetConfiguration("pid")->Update().get();
    auto const service = registerService("pid");
    EXPECT_TRUE(service->updates.reaches(1));
    EXPECT_THAT(service->numbers(), ElementsAre(none));
}

TEST_F(ConfigurationAdminDelivery, ServiceThatLeftIsToldNothing) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto const service = std::make_shared<RecordingService>();
    auto registration = registerFor<ManagedService>("pid", service);
    configuration->Update(numbered(1)).get();
    registration.Unregister();
    configuration->Update(numbered(2)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(1));
}

TEST_F(ConfigurationAdminDelivery, ServiceThatLeavesDuringADeliveryIsNotToldTheNext) {
    Gate gate;
    auto const configuration = admin_->GetConfiguration("pid");
    auto const service = std::make_shared<RecordingService>();
    service->then = [gate](AnyMap const&) { gate.pass(); };
    auto registration = registerFor<ManagedService>("pid", service);
    auto const first = configuration->Update(numbered(1));
    ASSERT_TRUE(service->updates.reaches(1));
    auto const second = configuration->Update(numbered(2));
    registration.Unregister();
    gate.open();
    EXPECT_TRUE(becomesReady(first));
    EXPECT_TRUE(becomesReady(second));
    EXPECT_THAT(service->numbers(), ElementsAre(1));
}

TEST_F(ConfigurationAdminDelivery, ServiceThatIsRegisteredAgainGetsTheConfigurationAgain) {
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    auto const service = std::make_shared<RecordingService>();
    auto registration = registerFor<ManagedService>("pid", service);
    EXPECT_TRUE(service->updates.reaches(1));
    registration.Unregister();
    registration = registerFor<ManagedService>("pid", service);
    EXPECT_TRUE(service->updates.reaches(2));
    EXPECT_THAT(service->numbers(), ElementsAre(1, 1));
}

TEST_F(ConfigurationAdminDelivery, ServiceThatAppearsDuringADeliveryGetsTheLatestUpdateOnce) {
    Gate gate;
    auto const configuration = admin_->GetConfiguration("pid");
    auto const blocked = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    configuration->Update(numbered(1));
    ASSERT_TRUE(blocked->updates.reaches(1));
    auto const second = configuration->Update(numbered(2));
    auto const late = registerService("pid");
    gate.open();
    EXPECT_TRUE(becomesReady(second));
    EXPECT_TRUE(late->updates.reaches(1));
    configuration->Update(numbered(3)).get();
    EXPECT_THAT(late->numbers(), ElementsAre(2, 3));
}

TEST_F(ConfigurationAdminDelivery, RemoveReachesTheServiceAsAnEmptyMap) {
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    configuration->Remove().get();
    EXPECT_THAT(service->numbers(), ElementsAre(1, none));
    EXPECT_TRUE(service->updates.values().back().empty());
}

TEST_F(ConfigurationAdminDelivery, RemovalOfAConfigurationThatWasNeverUpdatedConcernsNobody) {
    auto const service = registerService("pid");
    auto const listener = registerListener();
    admin_->GetConfiguration("pid")->Remove().get();
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(1));
    EXPECT_EQ(listener->events.values().size(), 1U);
}

TEST_F(ConfigurationAdminDelivery, ServiceThatAppearsAfterRemovalIsToldNothing) {
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    admin_->GetConfiguration("pid")->Remove().get();
    auto const service = registerService("pid");
    admin_->GetConfiguration("pid")->Update(numbered(2)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(2));
}

TEST_F(ConfigurationAdminDelivery, ComponentNameIsThePidOfAServiceWithoutOneThatIsAString) {
    auto const named = std::make_shared<RecordingService>();
    auto const both = std::make_shared<RecordingService>();
    auto const numeric = std::make_shared<RecordingService>();
    auto const numericNamed = std::make_shared<RecordingService>();
    auto const severalNamed = std::make_shared<RecordingService>();
    auto const unnamed = std::make_shared<RecordingService>();
    Any const pid{std::string{"pid"}};
    Any const other{std::string{"other"}};
    context_.RegisterService<ManagedService>(named, ServiceProperties{{"component.name", pid}});
    context_.RegisterService<ManagedService>(
        both, ServiceProperties{{"service.pid", other}, {"component.name", pid}});
    context_.RegisterService<ManagedService>(numeric, ServiceProperties{{"service.pid", Any{5}}});
    context_.RegisterService<ManagedService>(
        numericNamed, ServiceProperties{{"service.pid", Any{5}}, {"component.name", pid}});
    Any const several{std::vector<std::string>{"other", "another"}};
    context_.RegisterService<ManagedService>(
        severalNamed, ServiceProperties{{"service.pid", several}, {"component.name", pid}});
    context_.RegisterService<ManagedService>(unnamed);
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    admin_->GetConfiguration("other")->Update(numbered(2)).get();
    EXPECT_THAT(named->numbers(), ElementsAre(1));
    EXPECT_THAT(numericNamed->numbers(), ElementsAre(1));
    EXPECT_THAT(severalNamed->numbers(), ElementsAre(1));
    EXPECT_THAT(both->numbers(), ElementsAre(2));
    EXPECT_THAT(numeric->numbers(), IsEmpty());
    EXPECT_THAT(unnamed->numbers(), IsEmpty());
}

TEST_F(ConfigurationAdminDelivery, EveryUpdateOfAPidIsDeliveredOnceAndNoneOvertakesAnother) {
    constexpr int updates = 200;
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    std::vector<std::shared_future<void>> delivered;
    for (int number = 1; number <= updates; ++number) {
        delivered.push_back(configuration->Update(numbered(number)));
    }
    for (auto const& future : delivered) {
        ASSERT_TRUE(becomesReady(future));
    }
    auto const numbers = service->numbers();
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(updates));
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_EQ(numbers.back(), updates);
}

TEST_F(ConfigurationAdminDelivery, FutureBecomesReadyAfterUpdatedHasReturned) {
    Gate gate;
    auto const service = registerService("pid", [gate](AnyMap const&) { gate.pass(); });
    auto const delivered = admin_->GetConfiguration("pid")->Update(numbered(1));
    ASSERT_TRUE(service->updates.reaches(1));
    EXPECT_FALSE(isReady(delivered));
    gate.open();
    EXPECT_TRUE(becomesReady(delivered));
}

TEST_F(ConfigurationAdminDelivery, NeitherUpdateNorRemoveNorDroppingAFutureWaits) {
    Gate gate;
    auto const returned = std::make_shared<std::atomic<bool>>(false);
    auto const service = registerService("pid", [gate, returned](AnyMap const&) {
        gate.pass();
        *returned = true;
    });
    auto const configuration = admin_->GetConfiguration("pid");
    { configuration->Update(numbered(1)); }
    ASSERT_TRUE(service->updates.reaches(1)); // and hangs at the gate
    { configuration->UpdateIfDifferent(numbered(3)); }
    { configuration->Remove(); }
    EXPECT_FALSE(*returned);
    gate.open();
    EXPECT_TRUE(service->updates.reaches(2));
}

TEST_F(ConfigurationAdminDelivery, ExceptionOfUpdatedReachesNeitherTheFutureNorAnotherService) {
    using cppmicroservices::service::cm::ConfigurationException;
    registerService("pid", [](AnyMap const&) { throw ConfigurationException{"test", "number"}; });
    registerService("pid", [](AnyMap const&) { throw 5; });
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    EXPECT_NO_THROW(configuration->Update(numbered(1)).get());
    EXPECT_NO_THROW(configuration->Remove().get());
    EXPECT_THAT(service->numbers(), ElementsAre(1, none));
}

TEST_F(ConfigurationAdminDelivery, UpdateInsideUpdatedIsDeliveredAfterIt) {
    auto const configuration = admin_->GetConfiguration("pid");
    std::atomic<bool> running{false};
    std::atomic<bool> nested{false};
    std::promise<std::shared_future<void>> second;
    auto const service = registerService("pid", [&](AnyMap const& properties) {
        nested = nested || running;
        running = true;
        if (numberIn(properties) == 1) {
            second.set_value(configuration->Update(numbered(2)));
            EXPECT_EQ(configuration->GetProperties(), numbered(2));
        }
        running = false;
    });
    configuration->Update(numbered(1)).get();
    EXPECT_TRUE(becomesReady(second.get_future().get()));
    EXPECT_THAT(service->numbers(), ElementsAre(1, 2));
    EXPECT_FALSE(nested);
}

TEST_F(ConfigurationAdminDelivery, UpdateOfAnotherPidInsideUpdatedIsDelivered) {
    auto const other = admin_->GetConfiguration("other");
    auto const service = registerService(
        "pid", [&](AnyMap const& properties) { other->Update(numbered(numberIn(properties) + 1)); });
    auto const otherService = registerService("other");
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    EXPECT_TRUE(otherService->updates.reaches(1));
    EXPECT_THAT(otherService->numbers(), ElementsAre(2));
}

TEST_F(ConfigurationAdminDelivery, RemoveInsideUpdatedIsDeliveredAfterIt) {
    auto const configuration = admin_->GetConfiguration("pid");
    auto const service = registerService("pid", [&](AnyMap const& properties) {
        if (!properties.empty()) {
            configuration->Remove();
        }
    });
    configuration->Update(numbered(1)).get();
    EXPECT_TRUE(service->updates.reaches(2));
    EXPECT_THAT(service->numbers(), ElementsAre(1, none));
}

class ConfigurationAdminEvents : public ConfigurationAdminTest {};

TEST_F(ConfigurationAdminEvents, TellOfUpdateAndRemovalOfEveryConfiguration) {
    auto const listener = registerListener();
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    configuration->UpdateIfDifferent(numbered(1)).second.get();
    configuration->Remove().get();
    auto const events = listener->events.values();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].getType(), ConfigurationEventType::CM_UPDATED);
    EXPECT_EQ(events[1].getType(), ConfigurationEventType::CM_DELETED);
    for (auto const& event : events) {
        EXPECT_EQ(event.getPid(), "pid");
        EXPECT_EQ(event.getFactoryPid(), "");
    }
}

TEST_F(ConfigurationAdminEvents, OfAFactoryConfigurationCarryItsPidAsFactoryPid) {
    auto const listener = registerListener();
    admin_->GetFactoryConfiguration("factory", "one")->Update(numbered(1)).get();
    auto const events = listener->events.values();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].getPid(), "");
    EXPECT_EQ(events[0].getFactoryPid(), "factory~one");
}

TEST_F(ConfigurationAdminEvents, OfAPidThatBeginsWithATildeCarryItAsFactoryPid) {
    auto const listener = registerListener();
    admin_->GetConfiguration("~one")->Update(numbered(1)).get();
    auto const events = listener->events.values();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].getPid(), "");
    EXPECT_EQ(events[0].getFactoryPid(), "~one");
}

TEST_F(ConfigurationAdminEvents, ReferToTheConfigurationAdminService) {
    auto const listener = registerListener();
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    auto const events = listener->events.values();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].getReference(), context_.GetServiceReference<ConfigurationAdmin>());
}

TEST_F(ConfigurationAdminEvents, ComeBeforeTheManagedServiceIsToldAndCountForTheFuture) {
    Record<std::string> order;
    auto const listener = registerListener([&order](ConfigurationEvent const&) { order.append("event"); });
    auto const service = registerService("pid", [&order](AnyMap const&) { order.append("service"); });
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    EXPECT_THAT(order.values(), ElementsAre("event", "service"));
}

TEST_F(ConfigurationAdminEvents, DoNotReachAListenerThatLeft) {
    auto const listener = std::make_shared<RecordingListener>();
    auto registration = context_.RegisterService<ConfigurationListener>(listener);
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    registration.Unregister();
    admin_->GetConfiguration("pid")->Update(numbered(2)).get();
    EXPECT_EQ(listener->events.values().size(), 1U);
}

TEST_F(ConfigurationAdminEvents, ThatHappenedBeforeAListenerAppearsDoNotReachIt) {
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    auto const listener = registerListener();
    admin_->GetConfiguration("other")->Update(numbered(2)).get();
    auto const events = listener->events.values();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].getPid(), "other");
}

} // namespace configuration_admin_test
