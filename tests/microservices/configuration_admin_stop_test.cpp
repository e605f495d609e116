// What happens to configurations and deliveries when Configuration Admin or the framework stops, and who is
// told.
#include "ConfigurationAdminFixture.hpp"

#include <atomic>
#include <thread>

namespace configuration_admin_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ConfigurationAdminStop : public ConfigurationAdminTest {};

TEST_F(ConfigurationAdminStop, UnregistersTheService) {
    bundle_.Stop();
    EXPECT_FALSE(findAdmin());
}

TEST_F(ConfigurationAdminStop, OfTheFrameworkWaitsForADeliveryThatRuns) {
    Gate gate;
    auto const returned = std::make_shared<std::atomic<bool>>(false);
    auto const service = registerService("pid", [gate, returned](AnyMap const&) {
        gate.pass();
        *returned = true;
    });
    auto const delivered = admin_->GetConfiguration("pid")->Update(numbered(1));
    ASSERT_TRUE(service->updates.reaches(1));
    framework_.Stop();
    gate.open();
    framework_.WaitForStop(std::chrono::milliseconds::zero());
    EXPECT_TRUE(becomesReady(delivered));
    EXPECT_TRUE(*returned);
}

TEST_F(ConfigurationAdminStop, LeavesHandlesThatCanBeRead) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    bundle_.Stop();
    EXPECT_EQ(configuration->GetPid(), "pid");
    EXPECT_EQ(configuration->GetProperties(), numbered(1));
}

TEST_F(ConfigurationAdminStop, ForgetsTheConfigurations) {
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    bundle_.Stop();
    bundle_.Start();
    auto const service = registerService("pid");
    auto const restarted = findAdmin();
    ASSERT_TRUE(restarted);
    EXPECT_THAT(restarted->ListConfigurations(), IsEmpty());
    restarted->GetConfiguration("pid")->Update(numbered(2)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(2));
}

// Nothing is removed by a stop: handles stay as they are. But services are told as if it were.
class ConfigurationAdminStopTells : public ConfigurationAdminTest {
protected:
    using Call = RecordingFactory::Call;
    static constexpr int none = -1; // the number in an empty map
    static constexpr int removed = RecordingFactory::removed;

    void update(std::string const& pid, int number) {
        admin_->GetConfiguration(pid)->Update(numbered(number)).get();
    }

    // The installed provider puts it off as long as somebody has the service.
    void stop() {
        admin_.reset();
        bundle_.Stop();
    }
};

TEST_F(ConfigurationAdminStopTells, AFactoryOfItsUpdatedConfigurationsInTheOrderOfTheirPids) {
    auto const factory = registerFactory("factory");
    update("factory~b", 1);
    update("factory~a", 2);
    update("factory~b", 3);
    update("factory~removed", 4);
    admin_->GetConfiguration("factory~removed")->Remove().get();
    admin_->GetConfiguration("factory~never updated");
    update("factory", 5);
    update("factory2~a", 6);
    stop();
    EXPECT_THAT(factory->calls.values(),
                ElementsAre(Call{"factory~b", 1}, Call{"factory~a", 2}, Call{"factory~b", 3},
                            Call{"factory~removed", 4}, Call{"factory~removed", removed},
                            Call{"factory~a", removed}, Call{"factory~b", removed}));
}

TEST_F(ConfigurationAdminStopTells, EveryFactoryOfThePid) {
    auto const first = registerFactory("factory");
    auto const other = registerFactory("other");
    auto const second = registerFactory("factory");
    update("factory~a", 1);
    update("other~b", 2);
    stop();
    EXPECT_THAT(first->calls.values(), ElementsAre(Call{"factory~a", 1}, Call{"factory~a", removed}));
    EXPECT_THAT(second->calls.values(), ElementsAre(Call{"factory~a", 1}, Call{"factory~a", removed}));
    EXPECT_THAT(other->calls.values(), ElementsAre(Call{"other~b", 2}, Call{"other~b", removed}));
}

TEST_F(ConfigurationAdminStopTells, AManagedServiceByAnEmptyMapIfItsConfigurationWasUpdated) {
    auto const service = registerService("pid");
    auto const instance = registerService("factory~a");
    auto const ofRemoved = registerService("removed");
    auto const ofNeverUpdated = registerService("never updated");
    auto const ofNone = registerService("none");
    update("pid", 1);
    update("factory~a", 2);
    update("removed", 3);
    admin_->GetConfiguration("removed")->Remove().get();
    admin_->GetConfiguration("never updated");
    stop();
    EXPECT_THAT(service->numbers(), ElementsAre(1, none));
    EXPECT_EQ(service->updates.values().back(), AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS});
    EXPECT_THAT(instance->numbers(), ElementsAre(2, none));
    EXPECT_THAT(ofRemoved->numbers(), ElementsAre(3, none));
    EXPECT_THAT(ofNeverUpdated->numbers(), IsEmpty());
    EXPECT_THAT(ofNone->numbers(), IsEmpty());
}

TEST_F(ConfigurationAdminStopTells, ManagedServicesBeforeFactories) {
    Record<std::string> order;
    registerFactory("factory", [&order](std::string const&) { order.append("factory"); });
    registerService("pid", [&order](AnyMap const&) { order.append("service"); });
    update("factory~a", 1);
    update("pid", 2);
    stop();
    EXPECT_THAT(order.values(), ElementsAre("factory", "service", "service", "factory"));
}

TEST_F(ConfigurationAdminStopTells, NoListener) {
    auto const listener = registerListener();
    update("factory~a", 1);
    stop();
    EXPECT_EQ(listener->events.values().size(), 1U);
}

TEST_F(ConfigurationAdminStopTells, NoServiceThatLeftOrWhoseBundleHasStopped) {
    auto bundle = context_.InstallBundles(SPF_TEST_BUNDLE_DIRECTORY "/test_manifest_only.so").at(0);
    bundle.Start();
    auto const ofBundle = std::make_shared<RecordingFactory>();
    auto const factory = std::make_shared<RecordingFactory>();
    auto const service = std::make_shared<RecordingService>();
    ServiceProperties const pid{{"service.pid", Any{std::string{"factory"}}}};
    bundle.GetBundleContext().RegisterService<ManagedServiceFactory>(ofBundle, pid);
    auto registration = registerFor<ManagedServiceFactory>("factory", factory);
    auto serviceRegistration = registerFor<ManagedService>("pid", service);
    update("factory~a", 1);
    update("pid", 2);
    bundle.Stop();
    registration.Unregister();
    serviceRegistration.Unregister();
    stop();
    EXPECT_THAT(ofBundle->calls.values(), ElementsAre(Call{"factory~a", 1}));
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~a", 1}));
    EXPECT_THAT(service->numbers(), ElementsAre(2));
}

TEST_F(ConfigurationAdminStopTells, NoServiceThatAppearsMeanwhile) {
    std::shared_ptr<RecordingService> service;
    std::shared_ptr<RecordingFactory> factory;
    bool stopping = false;
    registerService("pid", [&](AnyMap const&) {
        if (stopping) {
            service = registerService("pid");
            factory = registerFactory("factory");
        }
    });
    update("pid", 1);
    update("factory~a", 2);
    stopping = true;
    stop();
    ASSERT_TRUE(factory);
    EXPECT_THAT(service->numbers(), IsEmpty());
    EXPECT_THAT(factory->calls.values(), IsEmpty());
}

TEST_F(ConfigurationAdminStopTells, OnItsThreadAfterTheServiceIsUnregistered) {
    auto const configuration = admin_->GetConfiguration("factory~a");
    bool stopping = false;
    std::thread::id thread;
    registerFactory("factory", [&](std::string const&) {
        if (stopping) {
            thread = std::this_thread::get_id();
            EXPECT_FALSE(findAdmin());
            EXPECT_EQ(bundle_.GetState(), cppmicroservices::Bundle::STATE_STOPPING);
            EXPECT_EQ(configuration->GetProperties(), numbered(1));
        }
    });
    configuration->Update(numbered(1)).get();
    stopping = true;
    stop();
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(ConfigurationAdminStopTells, AllEvenIfOneThrows) {
    auto const first = registerFactory("factory", [](std::string const&) { throw 5; });
    auto const second = registerFactory("factory", [](std::string const&) { throw 5; });
    auto const service = registerService("pid", [](AnyMap const&) { throw std::runtime_error{"test"}; });
    update("factory~a", 1);
    update("factory~b", 2);
    update("pid", 3);
    EXPECT_NO_THROW(stop());
    for (auto const& factory : {first, second}) {
        EXPECT_THAT(factory->calls.values(),
                    ElementsAre(Call{"factory~a", 1}, Call{"factory~b", 2}, Call{"factory~a", removed},
                                Call{"factory~b", removed}));
    }
    EXPECT_THAT(service->numbers(), ElementsAre(3, none));
    EXPECT_EQ(bundle_.GetState(), cppmicroservices::Bundle::STATE_RESOLVED);
}

TEST_F(ConfigurationAdminStopTells, NobodyOfAnUpdateOrARemovalMeanwhile) {
    auto const updated = admin_->GetConfiguration("factory~a");
    auto const deleted = admin_->GetConfiguration("factory~b");
    auto const service = registerService("factory~a");
    bool stopping = false;
    auto const factory = registerFactory("factory", [&](std::string const& pid) {
        if (stopping && pid == "factory~a") {
            EXPECT_TRUE(becomesReady(updated->Update(numbered(3))));
            EXPECT_TRUE(becomesReady(deleted->Remove()));
        }
    });
    updated->Update(numbered(1)).get();
    deleted->Update(numbered(2)).get();
    stopping = true;
    stop();
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~a", 1}, Call{"factory~b", 2},
                                                     Call{"factory~a", removed}, Call{"factory~b", removed}));
    EXPECT_THAT(service->numbers(), ElementsAre(1, none));
    EXPECT_EQ(updated->GetProperties(), numbered(3));
    EXPECT_THROW(deleted->GetPid(), std::runtime_error);
}

TEST_F(ConfigurationAdminStopTells, WhenTheFrameworkStops) {
    auto const factory = registerFactory("factory");
    auto const service = registerService("pid");
    update("factory~a", 1);
    update("pid", 2);
    admin_.reset();
    framework_.Stop();
    framework_.WaitForStop(std::chrono::milliseconds::zero());
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~a", 1}, Call{"factory~a", removed}));
    EXPECT_THAT(service->numbers(), ElementsAre(2, none));
}

TEST_F(ConfigurationAdminStopTells, OfWhatThatRunUpdated) {
    auto const factory = registerFactory("factory");
    update("factory~a", 1);
    stop();
    bundle_.Start();
    admin_ = findAdmin();
    update("factory~b", 2);
    stop();
    EXPECT_THAT(factory->calls.values(), ElementsAre(Call{"factory~a", 1}, Call{"factory~a", removed},
                                                     Call{"factory~b", 2}, Call{"factory~b", removed}));
}

} // namespace configuration_admin_test
