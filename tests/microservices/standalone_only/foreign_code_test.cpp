// While foreign code runs that the framework or Configuration Admin has called, no lock of theirs is held:
// another thread can do whatever they offer meanwhile, and the foreign code can wait for it.
#include "ConfigurationAdminFixture.hpp"
#include "FrameworkFixture.hpp"

#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceTracker.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>

using namespace cppmicroservices;
using configuration_admin_test::numbered;
using configuration_admin_test::RecordingFactory;
using configuration_admin_test::RecordingListener;
using configuration_admin_test::RecordingService;

namespace {

class ForeignCode : public testing::Test {
protected:
    ForeignCode() {
        framework_.Start();
        context_ = framework_.GetBundleContext();
        context_.InstallBundles(SPF_CONFIGURATION_ADMIN_BUNDLE).at(0).Start();
        admin_ = context_.GetService(context_.GetServiceReference<service::cm::ConfigurationAdmin>());
    }

    // Says whether the foreign code was called and another thread could work meanwhile.
    ~ForeignCode() override {
        EXPECT_TRUE(called_) << "no foreign code was called";
        if (others_.valid()) {
            others_.wait();
        }
        admin_.reset();
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero());
    }

    // What the foreign code does when it is first called; what the other thread does calls it again.
    void waitForOthers() {
        if (called_.exchange(true)) {
            return;
        }
        others_ = std::async(std::launch::async, [this] {
            useBundles();
            useServices();
            useListeners();
            useConfigurations();
        });
        EXPECT_EQ(others_.wait_for(failureTimeout), std::future_status::ready) << "a lock is held";
    }

    static std::string locationOf(std::string const& name) {
        return std::string(SPF_TEST_BUNDLE_DIRECTORY) + "/test_" + name + ".so";
    }

    ServiceRegistration<int> registerInt() { return context_.RegisterService<int>(std::make_shared<int>(1)); }

    std::atomic<bool> called_{false};
    std::future<void> others_;
    ServiceReferenceU leaving_;  // of the service whose foreign code waits, where it is no longer found
    std::string recordToWaitIn_; // what the activator says that is to wait; set before it is started
    Framework framework_ = FrameworkFactory().NewFramework(FrameworkConfiguration{
        {testbundles::recordProperty, testbundles::Record([this](std::string const& text) {
             if (text == recordToWaitIn_) {
                 waitForOthers();
             }
         })}});
    BundleContext context_;
    std::shared_ptr<service::cm::ConfigurationAdmin> admin_;

private:
    void useBundles() {
        auto bundle = context_.InstallBundles(locationOf("manifest_only")).at(0);
        bundle.Start();
        EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
        for (auto const& any : context_.GetBundles()) { // that of the foreign code, too
            EXPECT_FALSE(any.GetSymbolicName().empty());
            (void)any.GetLastModified();
            (void)any.GetRegisteredServices();
        }
        bundle.Stop();
        bundle.Uninstall();
    }

    void useServices() {
        auto registration = context_.RegisterService<long>(std::make_shared<long>(1), {{"x", 1}});
        ServiceTracker<long> tracker(context_);
        tracker.Open();
        EXPECT_EQ(context_.GetServiceReferences<long>("(x=1)").size(), 1U);
        EXPECT_NE(context_.GetService(registration.GetReference()), nullptr);
        for (auto const& reference : context_.GetServiceReferences("")) { // that of the foreign code, too
            EXPECT_FALSE(reference.GetPropertyKeys().empty());
            reference.GetUsingBundles();
        }
        leaving_.GetUsingBundles();
        registration.SetProperties({{"x", 2}});
        tracker.Close();
        registration.Unregister();
    }

    void useListeners() {
        context_.RemoveListener(context_.AddServiceListener([](ServiceEvent const&) {}));
        context_.RemoveListener(context_.AddBundleListener([](BundleEvent const&) {}));
        context_.RemoveListener(context_.AddFrameworkListener([](FrameworkEvent const&) {}));
    }

    void useConfigurations() {
        auto const configuration = admin_->GetConfiguration("another pid");
        configuration->Update(numbered(1)).get();
        EXPECT_FALSE(admin_->ListConfigurations().empty());
        configuration->Remove().get();
    }
};

// A customizer that waits in one of its calls.
class Customizer : public ServiceTrackerCustomizer<int> {
public:
    enum class Call { Adding, Modified, Removed };

    Customizer(Call call, std::function<void()> wait)
        : call_(call)
        , wait_(std::move(wait)) {}

    std::shared_ptr<int> AddingService(ServiceReference<int> const&) override {
        waitIn(Call::Adding);
        return std::make_shared<int>(1);
    }
    void ModifiedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {
        waitIn(Call::Modified);
    }
    void RemovedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {
        waitIn(Call::Removed);
    }

private:
    void waitIn(Call call) const {
        if (call == call_) {
            wait_();
        }
    }

    Call const call_;
    std::function<void()> const wait_;
};

class ForeignCustomizer : public ForeignCode, public testing::WithParamInterface<Customizer::Call> {};

// A factory that waits when it gives a service or takes one back.
class Factory : public ServiceFactory {
public:
    Factory(std::function<void()> get, std::function<void()> unget)
        : get_(std::move(get))
        , unget_(std::move(unget)) {}

    InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
        get_();
        return MakeInterfaceMap<int>(std::make_shared<int>(1));
    }
    void UngetService(Bundle const&, ServiceRegistrationBase const&, InterfaceMapConstPtr const&) override {
        unget_();
    }

private:
    std::function<void()> const get_;
    std::function<void()> const unget_;
};

} // namespace

TEST_F(ForeignCode, StartOfAnActivatorRunsUnlocked) {
    recordToWaitIn_ = "test_recorder start";
    context_.InstallBundles(locationOf("recorder")).at(0).Start();
}

TEST_F(ForeignCode, StopOfAnActivatorRunsUnlocked) {
    recordToWaitIn_ = "test_recorder stop";
    auto bundle = context_.InstallBundles(locationOf("recorder")).at(0);
    bundle.Start();
    bundle.Stop();
}

TEST_F(ForeignCode, BundleListenerRunsUnlocked) {
    context_.AddBundleListener([this](BundleEvent const&) { waitForOthers(); });
    context_.InstallBundles(locationOf("recorder"));
}

TEST_F(ForeignCode, FrameworkListenerRunsUnlocked) {
    context_.AddFrameworkListener([this](FrameworkEvent const&) { waitForOthers(); });
    context_.AddServiceListener([](ServiceEvent const&) { throw std::runtime_error("reported"); });
    registerInt();
}

TEST_F(ForeignCode, ServiceListenerRunsUnlocked) {
    context_.AddServiceListener([this](ServiceEvent const&) { waitForOthers(); });
    registerInt();
}

TEST_F(ForeignCode, FilteredServiceListenerRunsUnlocked) {
    context_.AddServiceListener([this](ServiceEvent const&) { waitForOthers(); },
                                "(&(objectclass=int)(service.scope=singleton))");
    registerInt().Unregister();
}

TEST_P(ForeignCustomizer, OfATrackerRunsUnlocked) {
    Customizer customizer(GetParam(), [this] { waitForOthers(); });
    ServiceTracker<int> tracker(context_, &customizer);
    tracker.Open();
    auto registration = registerInt();
    registration.SetProperties({{"x", 1}});
    registration.Unregister();
    tracker.Close();
}

INSTANTIATE_TEST_SUITE_P(Calls, ForeignCustomizer,
                         testing::Values(Customizer::Call::Adding, Customizer::Call::Modified,
                                         Customizer::Call::Removed));

TEST_F(ForeignCode, ServiceFactoryThatGivesAServiceRunsUnlocked) {
    auto const factory = std::make_shared<Factory>([this] { waitForOthers(); }, [] {});
    auto const registration = context_.RegisterService<int>(ToFactory(factory));
    EXPECT_NE(context_.GetService(registration.GetReference()), nullptr);
}

TEST_F(ForeignCode, ServiceFactoryThatTakesAServiceBackRunsUnlocked) {
    auto const factory = std::make_shared<Factory>([] {}, [this] { waitForOthers(); });
    auto const registration = context_.RegisterService<int>(ToFactory(factory));
    context_.GetService(registration.GetReference()).reset();
}

TEST_F(ForeignCode, ServiceFactoryWhoseServiceIsUnregisteredRunsUnlocked) {
    auto const factory = std::make_shared<Factory>([] {}, [this] { waitForOthers(); });
    auto registration = context_.RegisterService<int>(ToFactory(factory));
    leaving_ = registration.GetReference();
    auto const service = context_.GetService(registration.GetReference());
    registration.Unregister();
}

TEST_F(ForeignCode, ServiceFactoryWhoseServiceIsUnregisteredWhileItGivesRunsUnlocked) {
    ServiceRegistration<int> registration;
    auto const factory = std::make_shared<Factory>([&registration] { registration.Unregister(); },
                                                   [this] { waitForOthers(); });
    registration = context_.RegisterService<int>(ToFactory(factory));
    leaving_ = registration.GetReference();
    EXPECT_EQ(context_.GetService(registration.GetReference()), nullptr);
}

TEST_F(ForeignCode, FrameworkListenerThatIsToldOfAFactoryWithinItselfRunsUnlocked) {
    ServiceRegistration<int> registration;
    context_.AddFrameworkListener([this](FrameworkEvent const&) { waitForOthers(); });
    auto const factory = std::make_shared<Factory>(
        [&] { EXPECT_EQ(context_.GetService(registration.GetReference()), nullptr); }, [] {});
    registration = context_.RegisterService<int>(ToFactory(factory));
    EXPECT_NE(context_.GetService(registration.GetReference()), nullptr);
}

TEST_F(ForeignCode, DestructorOfAnUnregisteredServiceRunsUnlocked) {
    auto registration =
        context_.RegisterService<int>(std::shared_ptr<int>(new int(1), [this](int const* value) {
            delete value;
            waitForOthers();
        }));
    registration.Unregister();
}

TEST_F(ForeignCode, ManagedServiceRunsUnlocked) {
    auto const service = std::make_shared<RecordingService>();
    service->then = [this](AnyMap const&) { waitForOthers(); };
    auto registration =
        context_.RegisterService<service::cm::ManagedService>(service, {{"service.pid", std::string("pid")}});
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    registration.Unregister();
}

TEST_F(ForeignCode, ManagedServiceFactoryRunsUnlocked) {
    auto const factory = std::make_shared<RecordingFactory>();
    factory->then = [this](std::string const&) { waitForOthers(); };
    auto registration = context_.RegisterService<service::cm::ManagedServiceFactory>(
        factory, {{"service.pid", std::string("pid")}});
    admin_->GetFactoryConfiguration("pid", "one")->Update(numbered(1)).get();
    registration.Unregister();
}

TEST_F(ForeignCode, ConfigurationListenerRunsUnlocked) {
    auto const listener = std::make_shared<RecordingListener>();
    listener->then = [this](service::cm::ConfigurationEvent const&) { waitForOthers(); };
    auto registration = context_.RegisterService<service::cm::ConfigurationListener>(listener);
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    registration.Unregister();
}
