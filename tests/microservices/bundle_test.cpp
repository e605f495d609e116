// Bundles: their identity, their manifest, their way through their states.
#include "FrameworkFixture.hpp"
#include "bundleInMessages.hpp"
#include "bundles/Script.hpp"
#include "bundles/TestService.hpp"
#include "givenManifests.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/SharedLibraryException.h>

#include <chrono>
#include <cstdint>
#include <dlfcn.h>
#include <functional>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using BundleTest = FrameworkTest;

TEST(InvalidBundle, ThrowsWhateverIsAsked) {
    Bundle const bundle;
    EXPECT_FALSE(bundle);
    EXPECT_EQ(messageOf<std::invalid_argument>([&bundle] { bundle.GetState(); }), "invalid bundle");
    EXPECT_THROW(bundle.GetLocation(), std::invalid_argument);
    EXPECT_THROW(bundle.GetHeaders(), std::invalid_argument);
    EXPECT_THROW(Bundle(bundle).Start(), std::invalid_argument);
    EXPECT_EQ(messageOf<std::invalid_argument>([&bundle] { (void)LDAPFilter("(x=1)").Match(bundle); }),
              "invalid bundle");
    EXPECT_FALSE(LDAPFilter().Match(bundle));
    EXPECT_TRUE(bundle == Bundle());
}

TEST_F(BundleTest, IdentityComesFromTheManifest) {
    auto const bundle = install("recorder");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_INSTALLED);
    EXPECT_EQ(bundle.GetLocation(), locationOf("recorder"));
    EXPECT_EQ(bundle.GetSymbolicName(), "test_recorder");
    EXPECT_EQ(bundle.GetVersion(), BundleVersion(1, 2, 3));
    EXPECT_GT(bundle.GetBundleId(), 0);
    EXPECT_FALSE(bundle.GetBundleContext());
    EXPECT_EQ(textOf(bundle), "Bundle[id=" + std::to_string(bundle.GetBundleId()) + ", loc=" +
                                  locationOf("recorder") + ", name=test_recorder, state=INSTALLED]");
    EXPECT_EQ(std::hash<Bundle>()(bundle), std::hash<std::string>()("test_recorder"));
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

TEST_F(BundleTest, PropertiesAreTheHeadersByTheirExactNamesAndThoseOfTheFramework) {
    auto const bundle = install("manifest_only");
    EXPECT_EQ(bundle.GetProperties().size(), bundle.GetHeaders().size());
    EXPECT_EQ(bundle.GetPropertyKeys().size(), bundle.GetHeaders().size());
    EXPECT_EQ(bundle.GetProperties().at("test.number").ToString(), "-3");
    EXPECT_EQ(bundle.GetProperty("test.number").ToString(), "-3");
    EXPECT_TRUE(bundle.GetProperty("TEST.number").Empty());
    EXPECT_EQ(bundle.GetProperty(Constants::FRAMEWORK_VENDOR).ToString(),
              context().GetProperty(Constants::FRAMEWORK_VENDOR).ToString());
}

TEST_F(BundleTest, PropertiesOfTheSystemBundleAreThoseOfTheFrameworkOnly) {
    EXPECT_THAT(framework_.GetProperties(), IsEmpty());
    EXPECT_THAT(framework_.GetPropertyKeys(), IsEmpty());
    EXPECT_TRUE(framework_.GetProperty(Constants::BUNDLE_SYMBOLICNAME).Empty());
    EXPECT_EQ(framework_.GetProperty(Constants::FRAMEWORK_VENDOR).ToString(),
              context().GetProperty(Constants::FRAMEWORK_VENDOR).ToString());
}

#pragma GCC diagnostic pop

TEST_F(BundleTest, HeadersHaveTheTypesOfTheManifest) {
    auto const bundle = install("manifest_only");
    auto const& headers = bundle.GetHeaders();
    EXPECT_EQ(headers.GetType(), any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(any_cast<std::string>(headers.at("bundle.vendor")), "tests");
    EXPECT_EQ(any_cast<std::string>(headers.at("bundle.name")), "manifest only");
    EXPECT_EQ(any_cast<int>(headers.at("test.number")), -3);
    EXPECT_EQ(any_cast<double>(headers.at("test.fraction")), 1.5);
    EXPECT_TRUE(any_cast<bool>(headers.at("test.flag")));
    for (auto const* name : {"test.nothing", "test.too_large", "test.too_small", "test.far_too_large"}) {
        EXPECT_EQ(headers.count(name), 0U) << name;
    }
    EXPECT_EQ(any_cast<int>(headers.at("test.largest")), 2147483647);
    EXPECT_EQ(any_cast<int>(headers.at("test.smallest")), -2147483647 - 1);
    EXPECT_EQ(any_cast<std::string>(any_cast<AnyMap>(headers.at("test.marked")).at("%key")), "%4%");
    auto const list = any_cast<std::vector<Any>>(any_cast<AnyMap>(headers.at("test.nested")).at("list"));
    ASSERT_THAT(list, SizeIs(3));
    EXPECT_EQ(any_cast<int>(list[0]), 1);
    EXPECT_EQ(any_cast<std::string>(list[1]), "two");
    EXPECT_FALSE(any_cast<bool>(list[2]));
    EXPECT_EQ(bundle.GetVersion(), BundleVersion::EmptyVersion());
}

TEST_F(BundleTest, BundlesAreOrderedByIdentifierAndInvalidOnesComeLast) {
    auto const first = install("recorder");
    auto const second = install("manifest_only");
    EXPECT_TRUE(framework_ < first);
    EXPECT_TRUE(first < second);
    EXPECT_FALSE(second < first);
    EXPECT_FALSE(first < Bundle(first));
    EXPECT_TRUE(second < Bundle());
    EXPECT_FALSE(Bundle() < first);
    EXPECT_FALSE(Bundle() < Bundle());
    EXPECT_TRUE(first != second);
}

TEST_F(BundleTest, StartAndStopCallOneActivatorWithOneContext) {
    auto bundle = install("recorder");
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_TRUE(bundle.GetBundleContext().GetBundle() == bundle);
    EXPECT_THAT(records_.take(), ElementsAre("test_recorder start"));
    bundle.Stop();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_FALSE(bundle.GetBundleContext());
    EXPECT_THAT(records_.take(), ElementsAre("test_recorder stop", "test_recorder destroyed"));
}

TEST_F(BundleTest, LifeCycleDeliversItsEventsInOrder) {
    recordBundleEvents();
    auto bundle = install("recorder");
    bundle.Start();
    bundle.Stop();
    bundle.Start();
    bundle.Uninstall();
    EXPECT_THAT(bundleEvents_.take(),
                ElementsAre("INSTALLED test_recorder", "RESOLVED test_recorder", "STARTING test_recorder",
                            "STARTED test_recorder", "STOPPING test_recorder", "STOPPED test_recorder",
                            "STARTING test_recorder", "STARTED test_recorder", "STOPPING test_recorder",
                            "STOPPED test_recorder", "UNRESOLVED test_recorder",
                            "UNINSTALLED test_recorder"));
}

TEST_F(BundleTest, StartOfAnActiveAndStopOfAStoppedBundleDoNothing) {
    auto bundle = start("recorder");
    recordBundleEvents();
    bundle.Start();
    EXPECT_THAT(bundleEvents_.take(), IsEmpty());
    bundle.Stop();
    bundleEvents_.take();
    bundle.Stop();
    EXPECT_THAT(bundleEvents_.take(), IsEmpty());
}

TEST_F(BundleTest, BundleWithoutActivatorIsStartedWithoutItsLibrary) {
    auto bundle = start("manifest_only");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    bundle.Stop();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(BundleTest, FailedStartTakesEverythingBackAndThrows) {
    auto bundle = install("throws_on_start");
    recordBundleEvents();
    recordServiceEvents();
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Start(); }),
              bundleInMessages(bundle) + " (location= " + bundle.GetLocation() +
                  ") start failed: no start today");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_FALSE(bundle.GetBundleContext());
    EXPECT_THAT(bundleEvents_.take(),
                ElementsAre("RESOLVED test_throws_on_start", "STARTING test_throws_on_start",
                            "STOPPING test_throws_on_start", "STOPPED test_throws_on_start"));
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("REGISTERED -", "UNREGISTERING -"));
    EXPECT_THAT(context().GetServiceReferences<testbundles::TestService>(), IsEmpty());
}

TEST_F(BundleTest, StartThatFailsWithASystemErrorThrowsASharedLibraryException) {
    TextRecorder events;
    auto framework = FrameworkFactory().NewFramework(FrameworkConfiguration{
        {testbundles::scriptProperty, testbundles::Script([](BundleContext const&, testbundles::Moment) {
             throw std::system_error(std::make_error_code(std::errc::io_error), "no start today");
         })}});
    framework.Start();
    auto bundle = framework.GetBundleContext().InstallBundles(locationOf("scripted_one")).at(0);
    framework.GetBundleContext().AddBundleListener(
        [&events](BundleEvent const& event) { events.add(textOf(event.GetType())); });
    try {
        bundle.Start();
        ADD_FAILURE() << "nothing was thrown";
    } catch (SharedLibraryException const& error) {
        EXPECT_EQ(error.code(), std::errc::io_error);
        EXPECT_THAT(error.what(), StartsWith("no start today: "));
        EXPECT_EQ(error.GetBundle(), bundle);
    }
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_THAT(events.take(), ElementsAre("RESOLVED", "STARTING", "STOPPING", "STOPPED"));
    framework.Stop();
    framework.WaitForStop(failureTimeout);
}

TEST_F(BundleTest, StartThatCannotLoadTheLibraryThrowsASharedLibraryException) {
    auto headers = givenHeaders("given");
    headers[Constants::BUNDLE_ACTIVATOR] = true;
    auto manifests = givenManifests({});
    manifests["given"] = std::move(headers);
    auto bundle = context().InstallBundles("/dev/null", manifests).at(0);
    try {
        bundle.Start();
        ADD_FAILURE() << "nothing was thrown";
    } catch (SharedLibraryException const& error) {
        EXPECT_EQ(error.code().value(), 0);
        EXPECT_THAT(error.what(), StartsWith("Error loading /dev/null. "));
        EXPECT_EQ(error.GetBundle(), bundle);
    }
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(BundleTest, LibraryIsLoadedWithTheOptionsOfTheConfiguration) {
    auto framework = FrameworkFactory().NewFramework(
        FrameworkConfiguration{{Constants::LIBRARY_LOAD_OPTIONS, RTLD_LAZY | RTLD_GLOBAL}});
    framework.Start();
    framework.GetBundleContext().InstallBundles(locationOf("registers_service")).at(0).Start();
    EXPECT_NE(dlsym(RTLD_DEFAULT, US_STR(US_CREATE_ACTIVATOR_PREFIX) "test_registers_service"), nullptr);
}

TEST_F(BundleTest, StartFailsWithWhatTheActivatorsConstructorThrows) {
    auto bundle = install("throws_when_made");
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Start(); }),
              bundleInMessages(bundle) + " (location= " + bundle.GetLocation() +
                  ") start failed: no activator today");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(BundleTest, FailedStopStopsAllTheSameAndThrows) {
    auto bundle = start("throws_on_stop");
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Stop(); }),
              bundleInMessages(bundle) + " (location=" + bundle.GetLocation() +
                  "), BundleActivator::Stop() failed: no stop today");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_THAT(context().GetServiceReferences<testbundles::TestService>(), IsEmpty());
}

TEST_F(BundleTest, ManifestThatPromisesAnActivatorNeedsOne) {
    auto bundle = install("no_activator");
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Start(); }),
              bundleInMessages(bundle) + " (location= " + bundle.GetLocation() +
                  ") start failed: " + bundleInMessages(bundle) + " (location=" + bundle.GetLocation() +
                  ") activator constructor not found");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(BundleTest, ActivatorCanInstallAndStartAnotherBundle) {
    auto bundle = start("starts_another");
    auto const other = install("recorder");
    EXPECT_EQ(other.GetState(), Bundle::STATE_ACTIVE);
    bundle.Stop();
    EXPECT_EQ(other.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(BundleTest, StopUnregistersServicesAndReleasesTheUsedOnes) {
    auto bundle = start("registers_service");
    auto used = context().RegisterService<int>(std::make_shared<int>(1));
    auto const held = bundle.GetBundleContext().GetService(used.GetReference());
    auto const reference = context().GetServiceReference<testbundles::TestService>();
    EXPECT_THAT(bundle.GetRegisteredServices(), SizeIs(1));
    EXPECT_THAT(bundle.GetServicesInUse(), SizeIs(1));
    EXPECT_THAT(used.GetReference().GetUsingBundles(), ElementsAre(bundle));
    bundle.Stop();
    EXPECT_FALSE(reference);
    EXPECT_FALSE(reference.GetBundle());
    EXPECT_THAT(bundle.GetRegisteredServices(), IsEmpty());
    EXPECT_THAT(bundle.GetServicesInUse(), IsEmpty());
    EXPECT_THAT(used.GetReference().GetUsingBundles(), IsEmpty());
    EXPECT_EQ(*held, 1);
}

TEST_F(BundleTest, ContextIsStillValidWhileTheServicesAreUnregistered) {
    auto bundle = start("registers_service");
    auto const bundleContext = bundle.GetBundleContext();
    bool valid = false;
    context().AddServiceListener([&](ServiceEvent const&) { valid = static_cast<bool>(bundleContext); });
    bundle.Stop();
    EXPECT_TRUE(valid);
    EXPECT_FALSE(bundleContext);
}

TEST_F(BundleTest, StopRemovesTheListenersOfTheBundle) {
    auto bundle = start("manifest_only");
    context().AddBundleListener([](BundleEvent const&) { throw std::runtime_error("to be reported"); });
    int calls = 0;
    auto const count = [&calls](auto const&) { ++calls; };
    bundle.GetBundleContext().AddServiceListener(count);
    bundle.GetBundleContext().AddBundleListener(count);
    bundle.GetBundleContext().AddFrameworkListener(count);
    context().RegisterService<int>(std::make_shared<int>());
    install("recorder"); // which is told, and the listener's exception reported
    EXPECT_EQ(calls, 3);
    bundle.Stop();
    calls = 0;
    context().RegisterService<int>(std::make_shared<int>());
    install("pair");
    EXPECT_EQ(calls, 0);
}

TEST_F(BundleTest, ListenersFindTheBundleInTheStateThatTheyAreToldOf) {
    std::vector<std::pair<BundleEvent::Type, std::uint32_t>> events;
    auto token = context().AddBundleListener([&events](BundleEvent const& event) {
        events.emplace_back(event.GetType(), event.GetBundle().GetState());
    });
    auto bundle = start("manifest_only");
    bundle.Uninstall();
    context().RemoveListener(std::move(token));
    EXPECT_THAT(events, ElementsAre(std::pair(BundleEvent::BUNDLE_INSTALLED, Bundle::STATE_INSTALLED),
                                    std::pair(BundleEvent::BUNDLE_RESOLVED, Bundle::STATE_RESOLVED),
                                    std::pair(BundleEvent::BUNDLE_STARTING, Bundle::STATE_STARTING),
                                    std::pair(BundleEvent::BUNDLE_STARTED, Bundle::STATE_ACTIVE),
                                    std::pair(BundleEvent::BUNDLE_STOPPING, Bundle::STATE_STOPPING),
                                    std::pair(BundleEvent::BUNDLE_STOPPED, Bundle::STATE_RESOLVED),
                                    std::pair(BundleEvent::BUNDLE_UNRESOLVED, Bundle::STATE_INSTALLED),
                                    std::pair(BundleEvent::BUNDLE_UNINSTALLED, Bundle::STATE_UNINSTALLED)));
}

TEST_F(BundleTest, ListenersFindABundleThatFailsToStartStopping) {
    auto bundle = install("throws_on_start");
    std::vector<std::uint32_t> states;
    auto token = context().AddBundleListener(
        [&states](BundleEvent const& event) { states.push_back(event.GetBundle().GetState()); });
    EXPECT_THROW(bundle.Start(), std::runtime_error);
    context().RemoveListener(std::move(token));
    EXPECT_THAT(states, ElementsAre(Bundle::STATE_RESOLVED, Bundle::STATE_STARTING, Bundle::STATE_STOPPING,
                                    Bundle::STATE_RESOLVED));
}

TEST_F(BundleTest, IsLastModifiedWhenItIsInstalledAndWhenItIsUninstalled) {
    auto const now = [] {
        return std::chrono::floor<std::chrono::milliseconds>(Bundle::TimeStamp::clock::now());
    };
    auto const before = now();
    auto bundle = install("recorder");
    auto const installed = bundle.GetLastModified();
    EXPECT_GE(installed, before);
    bundle.Start();
    bundle.Stop();
    EXPECT_EQ(bundle.GetLastModified(), installed);
    while (now() <= installed) {
        std::this_thread::yield();
    }
    bundle.Uninstall();
    EXPECT_GT(bundle.GetLastModified(), installed);
}

TEST_F(BundleTest, HeadersGoWithTheLastHandleToAnUninstalledBundle) {
    auto const value = std::make_shared<int>(1);
    auto bundle = [&] {
        auto headers = givenHeaders("test_recorder");
        headers[Constants::BUNDLE_ACTIVATOR] = true;
        headers["value"] = value;
        auto manifests = givenManifests({});
        manifests["test_recorder"] = std::move(headers);
        return context().InstallBundles(locationOf("recorder"), manifests).at(0);
    }();
    bundle.Start();
    EXPECT_THAT(records_.take(), ElementsAre("test_recorder start"));
    bundle.Uninstall();
    bundle = nullptr;
    EXPECT_EQ(value.use_count(), 1);
}

TEST_F(BundleTest, UninstalledBundleAnswersButDoesNothing) {
    auto bundle = start("recorder");
    auto const id = bundle.GetBundleId();
    bundle.Uninstall();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_UNINSTALLED);
    EXPECT_EQ(bundle.GetSymbolicName(), "test_recorder");
    EXPECT_EQ(bundle.GetLocation(), locationOf("recorder"));
    EXPECT_FALSE(context().GetBundle(id));
    auto const description = bundleInMessages(bundle) + " (location=" + bundle.GetLocation() + ")";
    EXPECT_EQ(messageOf<std::logic_error>([&bundle] { bundle.Start(); }), description + " is uninstalled");
    EXPECT_EQ(messageOf<std::logic_error>([&bundle] { bundle.Stop(); }), description + " is uninstalled");
    EXPECT_EQ(messageOf<std::logic_error>([&bundle] { bundle.Uninstall(); }),
              description + " is in BUNDLE_UNINSTALLED state");
    EXPECT_EQ(messageOf<std::logic_error>([&bundle] { bundle.GetRegisteredServices(); }),
              description + " is in UNINSTALLED state");
    EXPECT_EQ(messageOf<std::logic_error>([&bundle] { bundle.GetServicesInUse(); }),
              description + " is in UNINSTALLED state");
    EXPECT_NE(install("recorder").GetBundleId(), id);
}

TEST_F(BundleTest, UninstallOfABundleThatWasNeverResolvedSaysUnresolvedToo) {
    auto bundle = install("recorder");
    recordBundleEvents();
    bundle.Uninstall();
    EXPECT_THAT(bundleEvents_.take(), ElementsAre("UNRESOLVED test_recorder", "UNINSTALLED test_recorder"));
}

TEST_F(BundleTest, SymbolsAreFoundInTheLibraryOfAnActiveBundleOnly) {
    std::unique_ptr<void, int (*)(void*)> const program(dlopen(nullptr, RTLD_LAZY), dlclose);
    auto bundle = install("recorder");
    auto const badInput = "Error : Either bundle or inputs supplied are invalid!";
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { Bundle().GetSymbol(program.get(), "puts"); }), badInput);
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { bundle.GetSymbol(nullptr, "puts"); }), badInput);
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { bundle.GetSymbol(program.get(), ""); }), badInput);
    EXPECT_EQ(messageOf<std::runtime_error>([&] { bundle.GetSymbol(program.get(), "puts"); }),
              "Bundle is not started and active!");
    auto initialised = FrameworkFactory().NewFramework();
    initialised.Init();
    EXPECT_THROW(initialised.GetSymbol(program.get(), "puts"), std::runtime_error);
    bundle.Start();
    EXPECT_NE(bundle.GetSymbol(program.get(), "puts"), nullptr);
    EXPECT_EQ(bundle.GetSymbol(program.get(), "no such symbol"), nullptr);
}

TEST_F(BundleTest, UninstallReportsWhatTheActivatorThrows) {
    auto bundle = start("throws_on_stop");
    recordFrameworkEvents();
    bundle.Uninstall();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_UNINSTALLED);
    EXPECT_THAT(frameworkEvents_.take(), SizeIs(1));
}

TEST_F(BundleTest, ListenerThatThrowsIsReportedAndDisturbsNothing) {
    recordFrameworkEvents();
    auto token =
        context().AddBundleListener([](BundleEvent const&) { throw std::runtime_error("no events today"); });
    auto const bundle = install("recorder");
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_INSTALLED);
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR system_bundle Bundle listener threw an exception: no events today"));
    context().RemoveListener(std::move(token));
    Bundle(bundle).Start();
    EXPECT_THAT(frameworkEvents_.take(), IsEmpty());
}

TEST_F(BundleTest, EventsKnowBundleAndOrigin) {
    std::vector<BundleEvent> events;
    auto token =
        context().AddBundleListener([&events](BundleEvent const& event) { events.push_back(event); });
    auto const bundle = install("recorder");
    context().RemoveListener(std::move(token));
    ASSERT_THAT(events, SizeIs(1));
    EXPECT_TRUE(events[0].GetBundle() == bundle);
    EXPECT_TRUE(events[0] == BundleEvent(BundleEvent::BUNDLE_INSTALLED, bundle));
    EXPECT_FALSE(events[0] == BundleEvent(BundleEvent::BUNDLE_STARTED, bundle));
    EXPECT_EQ(textOf(events[0]), "INSTALLED #" + std::to_string(bundle.GetBundleId()) +
                                     " (test_recorder at " + bundle.GetLocation() + ")");
    EXPECT_FALSE(BundleEvent());
    EXPECT_TRUE(BundleEvent() == BundleEvent());
    EXPECT_FALSE(BundleEvent() == BundleEvent(BundleEvent::BUNDLE_STARTED, framework_));
    EXPECT_FALSE(BundleEvent(BundleEvent::BUNDLE_STARTED, framework_) == BundleEvent());
    EXPECT_EQ(textOf(BundleEvent()), "NONE");
}

TEST_F(BundleTest, EventsNeedABundleAndAnOrigin) {
    auto const make = [](Bundle const& bundle, Bundle const& origin) {
        return messageOf<std::invalid_argument>(
            [&] { (void)BundleEvent(BundleEvent::BUNDLE_STARTED, bundle, origin); });
    };
    EXPECT_EQ(make(Bundle(), framework_), "invalid bundle");
    EXPECT_EQ(make(framework_, Bundle()), "invalid origin");
    EXPECT_EQ(
        messageOf<std::invalid_argument>([] { (void)BundleEvent(BundleEvent::BUNDLE_STARTED, Bundle()); }),
        "invalid bundle");
    EXPECT_EQ(BundleEvent().GetType(), BundleEvent::BUNDLE_UNINSTALLED);
}

TEST_F(BundleTest, StatesAndEventTypesHaveNames) {
    EXPECT_EQ(textOf(Bundle::STATE_UNINSTALLED), "UNINSTALLED");
    EXPECT_EQ(textOf(Bundle::STATE_INSTALLED), "INSTALLED");
    EXPECT_EQ(textOf(Bundle::STATE_RESOLVED), "RESOLVED");
    EXPECT_EQ(textOf(Bundle::STATE_STARTING), "STARTING");
    EXPECT_EQ(textOf(Bundle::STATE_STOPPING), "STOPPING");
    EXPECT_EQ(textOf(Bundle::STATE_ACTIVE), "ACTIVE");
    EXPECT_EQ(textOf(BundleEvent::Type(1024)), "Unknown bundle event type (1024)");
}

TEST_F(BundleTest, ThreadsThatStartAndStopABundleLeaveItsActivatorInPairs) {
    auto const bundle = install("recorder");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([bundle = Bundle(bundle)]() mutable {
            for (int round = 0; round < 50; ++round) {
                bundle.Start();
                bundle.Stop();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
    auto const records = records_.take();
    ASSERT_EQ(records.size() % 3, 0U);
    for (std::size_t index = 0; index < records.size(); index += 3) {
        EXPECT_EQ(records[index], "test_recorder start");
        EXPECT_EQ(records[index + 1], "test_recorder stop");
        EXPECT_EQ(records[index + 2], "test_recorder destroyed");
    }
}
