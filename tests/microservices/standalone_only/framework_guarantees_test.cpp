// What the standalone provider promises where the installed one waits without end, crashes or leaves it open.
#include "FrameworkFixture.hpp"
#include "bundles/TestService.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceTracker.h>

#include <chrono>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class FrameworkGuarantees : public FrameworkTest {
protected:
    // Has the function called by the recorder's activator when it starts.
    void onStart(std::function<void(Bundle)> function) {
        other_ = FrameworkFactory().NewFramework(FrameworkConfiguration{
            {testbundles::recordProperty, testbundles::Record([this, function](std::string const& text) {
                 if (text == "test_recorder start") {
                     function(bundle_);
                 }
             })}});
        other_.Start();
        bundle_ = other_.GetBundleContext().InstallBundles(locationOf("recorder")).at(0);
    }

    Framework other_ = framework_;
    Bundle bundle_;
};

} // namespace

TEST_F(FrameworkGuarantees, ActivatorThatChangesItsOwnBundleGetsAnException) {
    std::vector<std::string> messages;
    onStart([&messages](Bundle bundle) {
        messages = {messageOf<std::logic_error>([&bundle] { bundle.Start(); }),
                    messageOf<std::logic_error>([&bundle] { bundle.Stop(); }),
                    messageOf<std::logic_error>([&bundle] { bundle.Uninstall(); })};
    });
    bundle_.Start();
    EXPECT_EQ(bundle_.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_EQ(messages,
              std::vector<std::string>(3, "Bundle test_recorder (location=" + bundle_.GetLocation() +
                                              ") tries to change its own state"));
}

TEST_F(FrameworkGuarantees, TokenOfOneFrameworkRemovesNoListenerOfAnother) {
    auto first = FrameworkFactory().NewFramework();
    auto second = FrameworkFactory().NewFramework();
    first.Start();
    second.Start();
    auto token = first.GetBundleContext().AddBundleListener([](BundleEvent const&) {});
    int events = 0;
    auto context = second.GetBundleContext();
    context.AddBundleListener([&events](BundleEvent const&) { ++events; });

    context.RemoveListener(std::move(token));

    context.InstallBundles(locationOf("recorder"));
    EXPECT_EQ(events, 1);
    for (auto* framework : {&first, &second}) {
        framework->Stop();
        framework->WaitForStop(std::chrono::milliseconds::zero());
    }
}

TEST_F(FrameworkGuarantees, ContextsRemoveNoListenersOfOthers) {
    auto const bundle = start("manifest_only");
    int calls = 0;
    auto const count = [&calls](auto const&) { ++calls; };
    auto const remove = [&bundle](ListenerToken token) {
        bundle.GetBundleContext().RemoveListener(std::move(token));
    };
    remove(context().AddServiceListener(count));
    remove(context().AddFrameworkListener(count));
    remove(context().AddBundleListener(count));
    context().AddBundleListener([](BundleEvent const&) { throw std::runtime_error("to be reported"); });
    context().RegisterService<int>(std::make_shared<int>());
    install("recorder");
    EXPECT_EQ(calls, 3);
    stopFramework(); // before what the listeners count with goes
}

TEST_F(FrameworkGuarantees, ListenerToBundlesThatAnotherRemovesDuringADeliveryHearsNothing) {
    int told = 0;
    ListenerToken first;
    ListenerToken second;
    first = context().AddBundleListener([&](BundleEvent const&) {
        ++told;
        context().RemoveListener(std::move(second));
    });
    second = context().AddBundleListener([&](BundleEvent const&) {
        ++told;
        context().RemoveListener(std::move(first));
    });
    install("recorder");
    EXPECT_EQ(told, 1);
    stopFramework(); // before what the listeners use goes
}

TEST_F(FrameworkGuarantees, UuidIsARandomOneInTheUsualForm) {
    EXPECT_THAT(context().GetProperty(Constants::FRAMEWORK_UUID).ToString(),
                testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
}

TEST_F(FrameworkGuarantees, ObjectWithAnEmptyInterfaceIsReportedAndNotGiven) {
    struct Empty : ServiceFactory {
        InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
            return std::make_shared<InterfaceMap const>(InterfaceMap{{"int", nullptr}});
        }
        void UngetService(Bundle const&, ServiceRegistrationBase const&,
                          InterfaceMapConstPtr const&) override {}
    };
    auto const reference =
        context().RegisterService<int>(ToFactory(std::make_shared<Empty>())).GetReference();
    recordFrameworkEvents();
    EXPECT_EQ(context().GetService(reference), nullptr);
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("WARNING system_bundle ServiceFactory produced an object that did not implement: "
                            "int: ServiceFactory produced an object that did not implement: int"));
}

TEST_F(FrameworkGuarantees, FilterMatchesNoInvalidReference) {
    EXPECT_FALSE(LDAPFilter("(x=1)").Match(ServiceReferenceU()));
    EXPECT_FALSE(LDAPFilter("(!(x=1))").Match(ServiceReferenceU()));
}

TEST_F(FrameworkGuarantees, InvalidReferenceAnswersWithNothing) {
    ServiceReference<int> const reference;
    EXPECT_TRUE(reference.GetProperty("x").Empty());
    EXPECT_THAT(reference.GetPropertyKeys(), IsEmpty());
    EXPECT_FALSE(reference.GetBundle());
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
    EXPECT_THROW(ServiceTracker<int>(context(), reference), std::invalid_argument);
}

TEST_F(FrameworkGuarantees, InvalidServiceEventHasNoType) {
    EXPECT_EQ(ServiceEvent().GetType(), ServiceEvent::Type());
}

TEST_F(FrameworkGuarantees, GivenValuesOfTheFrameworksPropertiesAreIgnored) {
    auto const registration = context().RegisterService<int>(
        std::make_shared<int>(),
        {{Constants::SERVICE_ID, 77}, {Constants::OBJECTCLASS, std::string("mine")}});
    EXPECT_THAT(
        any_cast<std::vector<std::string>>(registration.GetReference().GetProperty(Constants::OBJECTCLASS)),
        ElementsAre("int"));
    EXPECT_EQ(registration.GetReference().GetProperty(Constants::SERVICE_ID).Type(), typeid(long));
}

TEST_F(FrameworkGuarantees, RankingThatIsNoIntCountsAsZero) {
    auto const one = context().RegisterService<int>(std::make_shared<int>(),
                                                    {{Constants::SERVICE_RANKING, std::string("high")}});
    auto const two = context().RegisterService<int>(std::make_shared<int>());
    EXPECT_THAT(context().GetServiceReferences<int>(), ElementsAre(one.GetReference(), two.GetReference()));
}

TEST_F(FrameworkGuarantees, FactoryThatFailsLeavesTheServiceUnused) {
    struct Failing : ServiceFactory {
        InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
            throw std::logic_error("no service today");
        }
        void UngetService(Bundle const&, ServiceRegistrationBase const&,
                          InterfaceMapConstPtr const&) override {}
    };
    auto const reference =
        context().RegisterService<int>(ToFactory(std::make_shared<Failing>())).GetReference();
    std::exception_ptr reported;
    context().AddFrameworkListener(
        [&reported](FrameworkEvent const& event) { reported = event.GetThrowable(); });
    EXPECT_EQ(context().GetService(reference), nullptr);
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
    try {
        std::rethrow_exception(reported);
    } catch (ServiceException const& error) {
        EXPECT_THROW(std::rethrow_if_nested(error), std::logic_error);
    }
}

TEST_F(FrameworkGuarantees, CloseInsideACallOfTheCustomizerReturns) {
    struct Closing : ServiceTrackerCustomizer<int> {
        std::shared_ptr<int> AddingService(ServiceReference<int> const&) override {
            close();
            return std::make_shared<int>();
        }
        void ModifiedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {}
        void RemovedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override { ++removed; }
        std::function<void()> close;
        int removed = 0;
    } customizer;
    ServiceTracker<int> tracker(context(), &customizer);
    customizer.close = [&tracker] { tracker.Close(); };
    tracker.Open();
    auto const registration = context().RegisterService<int>(std::make_shared<int>());
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(customizer.removed, 1);
}

TEST_F(FrameworkGuarantees, ServiceThatIsUnregisteredWhileItIsAddedIsNotTracked) {
    struct Unregistering : ServiceTrackerCustomizer<int> {
        std::shared_ptr<int> AddingService(ServiceReference<int> const&) override {
            registration.Unregister();
            return std::make_shared<int>(1);
        }
        void ModifiedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {}
        void RemovedService(ServiceReference<int> const&, std::shared_ptr<int> const& object) override {
            removed.push_back(*object);
        }
        ServiceRegistration<int> registration;
        std::vector<int> removed;
    } customizer;
    customizer.registration = context().RegisterService<int>(std::make_shared<int>());
    ServiceTracker<int> tracker(context(), &customizer);
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_THAT(customizer.removed, ElementsAre(1));
}

// The installed one tracks it until the tracker is closed.
TEST_F(FrameworkGuarantees, ServiceThatIsModifiedWhileItIsUnregisteredIsNotTrackedAgain) {
    // A listener like that of a tracker, which is told after the tracker that is opened later.
    ServiceTracker<int> after(context());
    after.Open();
    ServiceTracker<int> before(context());
    ServiceRegistration<int> registration;
    context().AddServiceListener(
        [&](ServiceEvent const& event) {
            if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) {
                EXPECT_EQ(before.Size(), 0);
                registration.SetProperties({{"x", 1}});
            }
        },
        "(objectclass=int)");
    before.Open();
    registration = context().RegisterService<int>(std::make_shared<int>());
    EXPECT_EQ(before.Size(), 1);
    EXPECT_EQ(after.Size(), 1);
    registration.Unregister();
    EXPECT_EQ(before.Size(), 0);
    EXPECT_EQ(after.Size(), 0);
}

TEST_F(FrameworkGuarantees, RelativeLocationStartsFromTheWorkingDirectoryOfTheFramework) {
    auto framework = FrameworkFactory().NewFramework(
        FrameworkConfiguration{{Constants::FRAMEWORK_WORKING_DIR, std::string(SPF_TEST_BUNDLE_DIRECTORY)}});
    framework.Start();
    auto bundle = framework.GetBundleContext().InstallBundles("test_recorder.so").at(0);
    EXPECT_EQ(bundle.GetLocation(), "test_recorder.so");
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(FrameworkGuarantees, HeldServiceOfAnEarlierRunDoesNotCountInTheNext) {
    auto bundle = start("manifest_only");
    auto registration = context().RegisterService<int>(std::make_shared<int>(1));
    auto held = bundle.GetBundleContext().GetService(registration.GetReference());
    bundle.Stop();
    bundle.Start();
    auto const again = bundle.GetBundleContext().GetService(registration.GetReference());
    held.reset();
    EXPECT_THAT(registration.GetReference().GetUsingBundles(), ElementsAre(bundle));
}

TEST_F(FrameworkGuarantees, StopTakesBackWhatTheBundleGetsWhileItsObjectsAreTakenBack) {
    class Factory : public ServiceFactory {
    public:
        InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
            ++given;
            return MakeInterfaceMap<int>(std::make_shared<int>(1));
        }
        void UngetService(Bundle const&, ServiceRegistrationBase const&,
                          InterfaceMapConstPtr const&) override {
            ++returned;
            onUnget();
        }

        int given = 0;
        int returned = 0;
        std::function<void()> onUnget;
    };
    auto const factory = std::make_shared<Factory>();
    auto bundle = start("manifest_only");
    auto user = bundle.GetBundleContext();
    std::vector<std::shared_ptr<int>> held;
    auto const registerService = [&] {
        return context().RegisterService<int>(ToFactory(factory)).GetReference();
    };
    auto const reference = registerService();
    factory->onUnget = [&] {
        if (user) {
            held.push_back(user.GetService(reference));
            held.push_back(user.GetService(registerService()));
        }
    };
    held.push_back(user.GetService(reference));
    bundle.Stop();
    EXPECT_EQ(factory->given, 3);
    EXPECT_EQ(factory->returned, 3);
}

TEST_F(FrameworkGuarantees, FiltersOnSeveralInterfacesFindEachServiceThatMatchesOnce) {
    struct Both {
        int first = 1;
        long second = 2;
    };
    auto const both = std::make_shared<Both>();
    auto const interfaces =
        std::make_shared<InterfaceMap>(InterfaceMap{{"int", std::shared_ptr<void>(both, &both->first)},
                                                    {"long", std::shared_ptr<void>(both, &both->second)}});
    auto const registration = context().RegisterService(InterfaceMapConstPtr(interfaces));
    EXPECT_EQ(context().GetServiceReferences("", "(&(objectclass=int)(objectclass=long))").size(), 1U);
    EXPECT_EQ(context().GetServiceReferences("", "(|(objectclass=int)(objectclass=long))").size(), 1U);
}

TEST_F(FrameworkGuarantees, InterfacesOfAServiceStandInTheOrderOfTheirNames) {
    auto const object = std::make_shared<int>();
    auto const interfaces = std::make_shared<InterfaceMap const>(
        InterfaceMap{{"d", object}, {"a", object}, {"e", object}, {"c", object}, {"b", object}});
    auto const reference = context().RegisterService(interfaces).GetReference();
    EXPECT_THAT(any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)),
                ElementsAre("a", "b", "c", "d", "e"));
}

TEST_F(FrameworkGuarantees, BundleOfAStoppedFrameworkCannotBeStartedInItsNextRun) {
    auto bundle = start("recorder");
    stopFramework();
    framework_.Start();
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Start(); }),
              "Bundle test_recorder (location=" + bundle.GetLocation() + ") belongs to a stopped framework");
}

TEST_F(FrameworkGuarantees, BundleOfAStoppedFrameworkThatIsUninstalledInItsNextRunLeavesTheBundlesOfThat) {
    auto bundle = install("recorder");
    auto other = install("manifest_only");
    stopFramework();
    framework_.Start();
    auto const again = install("recorder");
    EXPECT_EQ(again.GetBundleId(), bundle.GetBundleId());
    bundle.Uninstall();
    other.Uninstall();
    EXPECT_EQ(other.GetState(), Bundle::STATE_UNINSTALLED);
    EXPECT_EQ(context().GetBundle(again.GetBundleId()), again);
    EXPECT_EQ(context().GetBundles(again.GetLocation()), std::vector{again});
}

TEST_F(FrameworkGuarantees, StopOfAFrameworkThatIsOnlyInitialisedStopsItsBundles) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    auto bundle = framework.GetBundleContext().InstallBundles(locationOf("manifest_only")).at(0);
    bundle.Start();
    framework.Stop();
    framework.WaitForStop(failureTimeout);
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_INSTALLED);
}

TEST_F(FrameworkGuarantees, FrameworkListenerThatThrowsIsLoggedIfALogIsAskedFor) {
    for (bool const asked : {false, true}) {
        std::ostringstream log;
        auto framework =
            FrameworkFactory().NewFramework(FrameworkConfiguration{{Constants::FRAMEWORK_LOG, asked}}, &log);
        framework.Init();
        framework.GetBundleContext().AddFrameworkListener(
            [](FrameworkEvent const&) { throw std::runtime_error("no reports today"); });
        framework.Start();
        EXPECT_EQ(log.str(),
                  asked ? "Framework listener in system_bundle threw an exception: no reports today\n" : "");
    }
}

TEST_F(FrameworkGuarantees, ActivatorWhoseStartThrowsIsDestroyedAtOnce) {
    std::weak_ptr<void> service; // held by the activator
    context().AddServiceListener([&](ServiceEvent const& event) {
        if (event.GetType() == ServiceEvent::SERVICE_REGISTERED) {
            service = context().GetService(event.GetServiceReference())->begin()->second;
        }
    });
    auto bundle = install("throws_on_start");
    EXPECT_THROW(bundle.Start(), std::runtime_error);
    EXPECT_TRUE(service.expired());
}

// Removal by function is the form of earlier releases.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

int plainCalls = 0;
void plainListener(BundleEvent const&) {
    ++plainCalls;
}

} // namespace

TEST_F(FrameworkGuarantees, RemovalOfAPlainFunctionLeavesTheOtherListeners) {
    plainCalls = 0;
    context().AddBundleListener(plainListener);
    recordBundleEvents();
    context().RemoveBundleListener(+[](BundleEvent const&) {});
    install("recorder");
    EXPECT_EQ(plainCalls, 1);
    EXPECT_THAT(bundleEvents_.take(), ElementsAre("INSTALLED test_recorder"));
}

#pragma GCC diagnostic pop
