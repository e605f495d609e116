// The framework's life cycle and what it says about itself.
#include "FrameworkFixture.hpp"
#include "bundleInMessages.hpp"

#include <cppmicroservices/Constants.h>

#include <filesystem>
#include <future>
#include <memory>
#include <stdexcept>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

FrameworkEvent::Type waitType(Framework& framework, std::chrono::milliseconds timeout) {
    return framework.WaitForStop(timeout).GetType();
}

} // namespace

TEST(FrameworkLifeCycle, NewFrameworkIsInstalledAndHasNoContext) {
    auto const framework = FrameworkFactory().NewFramework();
    EXPECT_EQ(framework.GetState(), Bundle::STATE_INSTALLED);
    EXPECT_FALSE(framework.GetBundleContext());
}

TEST(FrameworkLifeCycle, FrameworkIsTheSystemBundle) {
    auto const framework = FrameworkFactory().NewFramework();
    EXPECT_EQ(framework.GetBundleId(), 0);
    EXPECT_EQ(framework.GetLocation(), Constants::SYSTEM_BUNDLE_LOCATION);
    EXPECT_EQ(framework.GetSymbolicName(), Constants::SYSTEM_BUNDLE_SYMBOLICNAME);
    auto const headers = framework.GetHeaders();
    EXPECT_EQ(headers.at(Constants::BUNDLE_SYMBOLICNAME).ToString(), Constants::SYSTEM_BUNDLE_SYMBOLICNAME);
    EXPECT_EQ(headers.at(Constants::BUNDLE_VERSION).ToString(), framework.GetVersion().ToString());
    EXPECT_EQ(headers.at(Constants::BUNDLE_NAME).ToString(), "System Bundle");
    EXPECT_EQ(headers.at(Constants::BUNDLE_DESCRIPTION).ToString(), "C++ Micro Services System Bundle");
    EXPECT_EQ(headers.at(Constants::BUNDLE_VENDOR).ToString(), "C++ Micro Services");
    EXPECT_EQ(headers.at(Constants::BUNDLE_MANIFESTVERSION).ToString(), "2");
    EXPECT_EQ(headers.size(), 6U);
}

TEST(FrameworkLifeCycle, InitMakesItStartingWithAContext) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    EXPECT_EQ(framework.GetState(), Bundle::STATE_STARTING);
    EXPECT_TRUE(framework.GetBundleContext());
    framework.Init();
    EXPECT_EQ(framework.GetState(), Bundle::STATE_STARTING);
}

TEST(FrameworkLifeCycle, StartKeepsTheContextOfInitAndReportsStarted) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    auto context = framework.GetBundleContext();
    std::vector<FrameworkEvent::Type> events;
    context.AddFrameworkListener(
        [&events](FrameworkEvent const& event) { events.push_back(event.GetType()); });
    framework.Start();
    framework.Start();
    EXPECT_EQ(framework.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_TRUE(context == framework.GetBundleContext());
    EXPECT_THAT(events, ElementsAre(FrameworkEvent::FRAMEWORK_STARTED));
}

TEST(FrameworkLifeCycle, WaitForStopOfAFrameworkThatNeverRanReturnsAnErrorAtOnce) {
    auto framework = FrameworkFactory().NewFramework();
    EXPECT_EQ(waitType(framework, std::chrono::milliseconds::zero()), FrameworkEvent::FRAMEWORK_ERROR);
}

TEST(FrameworkLifeCycle, WaitForStopAfterAStopThatHadNothingToDoReturnsStopped) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Stop();
    EXPECT_EQ(waitType(framework, std::chrono::milliseconds::zero()), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_EQ(framework.GetState(), Bundle::STATE_INSTALLED);
    framework.Init();
    EXPECT_EQ(waitType(framework, std::chrono::milliseconds(1)), FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
}

TEST(FrameworkLifeCycle, WaitForStopTimesOutWhileTheFrameworkRuns) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    EXPECT_EQ(waitType(framework, std::chrono::milliseconds(1)), FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
}

TEST(FrameworkLifeCycle, StopEndsAWaitWithoutTimeLimit) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto waiting = std::async(
        std::launch::async, [&framework] { return waitType(framework, std::chrono::milliseconds::zero()); });
    framework.Stop();
    ASSERT_EQ(waiting.wait_for(failureTimeout), std::future_status::ready);
    EXPECT_EQ(waiting.get(), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_EQ(framework.GetState(), Bundle::STATE_RESOLVED);
}

TEST(FrameworkLifeCycle, WaitForStopOfAStoppedFrameworkReturnsStoppedAtOnce) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    framework.Stop();
    EXPECT_EQ(waitType(framework, failureTimeout), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_EQ(waitType(framework, failureTimeout), FrameworkEvent::FRAMEWORK_STOPPED);
    framework.Stop();
    EXPECT_EQ(framework.GetState(), Bundle::STATE_RESOLVED);
}

TEST(FrameworkLifeCycle, InitialisedFrameworkCanBeStopped) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    framework.Stop();
    EXPECT_EQ(waitType(framework, failureTimeout), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_EQ(framework.GetState(), Bundle::STATE_RESOLVED);
}

TEST(FrameworkLifeCycle, StoppedFrameworkCanBeStartedAgainWithANewContextAndUuid) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto const first = framework.GetBundleContext();
    auto const firstUuid = first.GetProperty(Constants::FRAMEWORK_UUID).ToString();
    framework.Stop();
    framework.WaitForStop(failureTimeout);
    framework.Start();
    EXPECT_EQ(framework.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_FALSE(first);
    ASSERT_TRUE(framework.GetBundleContext());
    EXPECT_NE(framework.GetBundleContext().GetProperty(Constants::FRAMEWORK_UUID).ToString(), firstUuid);
}

TEST(FrameworkLifeCycle, RelativePathsStartWhereTheProgramStarted) {
    auto const directory = std::filesystem::current_path();
    std::filesystem::current_path("/");
    auto framework = FrameworkFactory().NewFramework();
    std::filesystem::current_path(directory);
    framework.Init();
    EXPECT_EQ(framework.GetBundleContext().GetProperty(Constants::FRAMEWORK_WORKING_DIR).ToString(),
              directory.string());
}

TEST(FrameworkLifeCycle, LastHandleStopsTheFramework) {
    BundleContext context;
    {
        auto framework = FrameworkFactory().NewFramework();
        framework.Start();
        context = framework.GetBundleContext();
        EXPECT_TRUE(context);
    }
    EXPECT_FALSE(context);
}

TEST_F(FrameworkTest, HandleToABundleKeepsTheFrameworkRunning) {
    auto other = FrameworkFactory().NewFramework();
    other.Start();
    auto bundle = other.GetBundleContext().InstallBundles(locationOf("recorder")).at(0);
    bundle.Start();
    other = framework_;
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_TRUE(bundle.GetBundleContext());
}

TEST_F(FrameworkTest, EveryUseOfAContextAfterTheStopThrows) {
    auto stale = context();
    stopFramework();
    EXPECT_FALSE(stale);
    auto const invalid = "The bundle context is no longer valid";
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.GetBundle(); }), invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.GetBundles(); }), invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.GetProperty("x"); }), invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.GetProperties(); }), invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.InstallBundles("x"); }), invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.GetServiceReferences(""); }), invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.GetServiceReference("x"); }), invalid);
    EXPECT_EQ(
        messageOf<std::runtime_error>([&stale] { stale.RegisterService<int>(std::make_shared<int>()); }),
        invalid);
    EXPECT_EQ(
        messageOf<std::runtime_error>([&stale] { stale.AddServiceListener([](ServiceEvent const&) {}); }),
        invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.AddBundleListener([](BundleEvent const&) {}); }),
              invalid);
    EXPECT_EQ(
        messageOf<std::runtime_error>([&stale] { stale.AddFrameworkListener([](FrameworkEvent const&) {}); }),
        invalid);
    EXPECT_EQ(messageOf<std::runtime_error>([&stale] { stale.RemoveListener(ListenerToken()); }), invalid);
}

TEST_F(FrameworkTest, RegistrationsOfTheHostOutliveTheStop) {
    auto registration = context().RegisterService<int>(std::make_shared<int>());
    recordServiceEvents();
    stopFramework();
    EXPECT_THAT(serviceEvents_.take(), IsEmpty());
    EXPECT_NO_THROW(registration.Unregister());
    EXPECT_THROW(registration.Unregister(), std::logic_error);
    framework_.Start();
    EXPECT_THAT(context().GetServiceReferences<int>(), IsEmpty());
}

TEST_F(FrameworkTest, ServicesOfTheHostAreNotFoundInTheNextRun) {
    auto const registration = context().RegisterService<int>(std::make_shared<int>());
    stopFramework();
    framework_.Start();
    EXPECT_THAT(context().GetServiceReferences<int>(), IsEmpty());
    EXPECT_THAT(context().GetServiceReferences(""), IsEmpty());
}

TEST(FrameworkLifeCycle, ReferenceToAServiceOfAFrameworkThatIsGoneHasNoBundle) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto const registration = framework.GetBundleContext().RegisterService<int>(std::make_shared<int>());
    auto const reference = registration.GetReference();
    EXPECT_TRUE(reference.GetBundle() == framework);
    framework = FrameworkFactory().NewFramework();
    EXPECT_FALSE(reference.GetBundle());
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
}

TEST_F(FrameworkTest, InitAndStartDoNothingInsideTheReportThatTheFrameworkHasStarted) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    std::vector<FrameworkEvent::Type> events;
    framework.GetBundleContext().AddFrameworkListener([&](FrameworkEvent const& event) {
        events.push_back(event.GetType());
        EXPECT_NO_THROW(framework.Init());
        EXPECT_NO_THROW(framework.Start());
    });
    framework.Start();
    EXPECT_THAT(events, ElementsAre(FrameworkEvent::FRAMEWORK_STARTED));
}

TEST_F(FrameworkTest, FrameworkCannotBeUninstalled) {
    EXPECT_EQ(messageOf<std::runtime_error>([this] { framework_.Uninstall(); }),
              "Cannot uninstall a system bundle.");
}

TEST_F(FrameworkTest, OnlyTheSystemBundleConvertsToAFramework) {
    EXPECT_TRUE(Framework(context().GetBundle(0)) == framework_);
    auto const bundle = install("recorder");
    EXPECT_EQ(messageOf<std::logic_error>([&bundle] { Framework{bundle}; }), "Not a framework bundle");
    EXPECT_THROW(Framework{Bundle()}, std::invalid_argument);
}

TEST_F(FrameworkTest, ServicesOfAllFrameworksHaveAnOrderAsTheirIdentifiersCountInTheWholeProcess) {
    auto other = FrameworkFactory().NewFramework();
    other.Start();
    ServiceReferenceU const first = context().RegisterService<int>(std::make_shared<int>(1)).GetReference();
    ServiceReferenceU const second =
        other.GetBundleContext().RegisterService<int>(std::make_shared<int>(2)).GetReference();
    auto const idOf = [](ServiceReferenceU const& reference) {
        return any_cast<long>(reference.GetProperty(Constants::SERVICE_ID));
    };
    EXPECT_LT(idOf(first), idOf(second));
    EXPECT_TRUE(second < first);
    EXPECT_FALSE(first < second);
}

TEST_F(FrameworkTest, FrameworksAreOrderedByTheirMaking) {
    auto const later = FrameworkFactory().NewFramework();
    EXPECT_FALSE(framework_ == later);
    EXPECT_TRUE(framework_ < later);
    EXPECT_FALSE(later < framework_);
}

TEST_F(FrameworkTest, BundleThatFailedToStartBeforeTheFrameworkIsTriedAgainByItsStart) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    auto initialContext = framework.GetBundleContext();
    auto failing = initialContext.InstallBundles(locationOf("throws_on_start")).at(0);
    EXPECT_THROW(failing.Start(), std::runtime_error);
    std::vector<FrameworkEvent> events;
    initialContext.AddFrameworkListener([&events](FrameworkEvent const& event) { events.push_back(event); });
    framework.Start();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].GetType(), FrameworkEvent::FRAMEWORK_ERROR);
    EXPECT_TRUE(events[0].GetBundle() == failing);
    EXPECT_EQ(textOf(events[0].GetThrowable()), bundleInMessages(failing) + " (location= " +
                                                    failing.GetLocation() + ") start failed: no start today");
    EXPECT_EQ(events[1].GetType(), FrameworkEvent::FRAMEWORK_STARTED);
}

TEST_F(FrameworkTest, BundleThatFailedToStartBeforeTheFrameworkIsNotTriedAgainOnceItIsStopped) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    auto initialContext = framework.GetBundleContext();
    auto failing = initialContext.InstallBundles(locationOf("throws_on_start")).at(0);
    EXPECT_THROW(failing.Start(), std::runtime_error);
    failing.Stop();
    std::vector<FrameworkEvent::Type> events;
    initialContext.AddFrameworkListener(
        [&events](FrameworkEvent const& event) { events.push_back(event.GetType()); });
    framework.Start();
    EXPECT_THAT(events, ElementsAre(FrameworkEvent::FRAMEWORK_STARTED));
}

TEST_F(FrameworkTest, TransientOptionsLeaveItAsItWasWhetherTheFrameworkStartsTheBundle) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    auto startedForGood = framework.GetBundleContext().InstallBundles(locationOf("recorder")).at(0);
    startedForGood.Start(Bundle::START_ACTIVATION_POLICY);
    startedForGood.Stop(Bundle::STOP_TRANSIENT);
    auto startedForNow = framework.GetBundleContext().InstallBundles(locationOf("manifest_only")).at(0);
    startedForNow.Start(Bundle::START_TRANSIENT);
    EXPECT_EQ(startedForNow.GetState(), Bundle::STATE_ACTIVE);
    startedForNow.Start(); // does nothing, as it is active
    startedForNow.Stop(Bundle::STOP_TRANSIENT);
    EXPECT_EQ(startedForNow.GetState(), Bundle::STATE_RESOLVED);
    framework.Start();
    EXPECT_EQ(startedForGood.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_EQ(startedForNow.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(FrameworkTest, BundlesThatFailedToStartBeforeTheFrameworkAreTriedInTheOrderOfTheirIdentifiers) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Init();
    auto initialContext = framework.GetBundleContext();
    auto first = initialContext.InstallBundles(locationOf("throws_on_start")).at(0);
    auto second = initialContext.InstallBundles(locationOf("no_activator")).at(0);
    EXPECT_THROW(second.Start(), std::runtime_error);
    EXPECT_THROW(first.Start(), std::runtime_error);
    std::vector<Bundle> tried;
    initialContext.AddFrameworkListener(
        [&tried](FrameworkEvent const& event) { tried.push_back(event.GetBundle()); });
    framework.Start();
    EXPECT_THAT(tried, ElementsAre(first, second, framework));
}

TEST_F(FrameworkTest, StopInsideABundleListenerReturnsAndStopsTheFrameworkAfterwards) {
    context().AddBundleListener([this](BundleEvent const& event) {
        if (event.GetType() == BundleEvent::BUNDLE_STARTING) {
            framework_.Stop();
        }
    });
    auto bundle = install("recorder");
    try {
        bundle.Start();
    } catch (std::runtime_error const&) {
        // The framework was faster.
    }
    EXPECT_EQ(waitType(framework_, failureTimeout), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_NE(bundle.GetState(), Bundle::STATE_ACTIVE);
}

TEST(FrameworkConfigurationTest, PropertiesAreThoseGivenAndTheDefaults) {
    auto framework = FrameworkFactory().NewFramework(
        FrameworkConfiguration{{"my.property", std::string("mine")},
                               {Constants::FRAMEWORK_THREADING_SUPPORT, std::string("single")}});
    framework.Start();
    auto const context = framework.GetBundleContext();
    EXPECT_EQ(context.GetProperty("my.property").ToString(), "mine");
    EXPECT_TRUE(context.GetProperty("MY.PROPERTY").Empty());
    EXPECT_EQ(context.GetProperty(Constants::FRAMEWORK_THREADING_SUPPORT).ToString(),
              Constants::FRAMEWORK_THREADING_MULTI);
    EXPECT_FALSE(any_cast<bool>(context.GetProperty(Constants::FRAMEWORK_LOG)));
    EXPECT_EQ(context.GetProperty(Constants::FRAMEWORK_VERSION).ToString(),
              framework.GetVersion().ToString());
    EXPECT_EQ(context.GetProperties().at("my.property").ToString(), "mine");
}

TEST(FrameworkProperties, OfTheWrongTypeAreRefusedWhereTheFrameworkNeedsThem) {
    auto const refusalOf = [](std::string const& key, Any const& value) {
        return messageOf<BadAnyCastException>([&] {
            FrameworkFactory().NewFramework(FrameworkConfiguration{{key, value}});
        });
    };
    EXPECT_THAT(refusalOf(Constants::FRAMEWORK_LOG, 1),
                testing::EndsWith("any_cast: Failed to convert from cppmicroservices::Any type int to target "
                                  "type bool"));
    EXPECT_THAT(refusalOf(Constants::FRAMEWORK_WORKING_DIR, 1),
                testing::StartsWith("cppmicroservices::BadAnyCastException: ref_any_cast: Failed to convert "
                                    "from cppmicroservices::Any type int to target type std::"));
}

TEST(FrameworkProperties, LoadOptionsOfTheWrongTypeAreReplacedByTheDefault) {
    auto const optionsOf = [](FrameworkConfiguration const& configuration) {
        auto framework = FrameworkFactory().NewFramework(configuration);
        framework.Init();
        return any_cast<int>(framework.GetBundleContext().GetProperty(Constants::LIBRARY_LOAD_OPTIONS));
    };
    auto const usual = optionsOf({});
    EXPECT_EQ(optionsOf({{Constants::LIBRARY_LOAD_OPTIONS, usual + 1}}), usual + 1);
    EXPECT_EQ(optionsOf({{Constants::LIBRARY_LOAD_OPTIONS, std::string("all")}}), usual);
}

TEST(FrameworkEvents, InvalidEventsSayNothing) {
    FrameworkEvent const event;
    EXPECT_FALSE(event);
    EXPECT_TRUE(event == FrameworkEvent());
    EXPECT_TRUE(event == FrameworkEvent(FrameworkEvent::FRAMEWORK_ERROR, Bundle(), ""));
    EXPECT_EQ(textOf(event), "NONE");
    EXPECT_EQ(event.GetType(), FrameworkEvent::FRAMEWORK_ERROR);
    EXPECT_EQ(textOf(FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT), "WAIT_TIMEDOUT");
}

TEST_F(FrameworkTest, EventsWithTheSameContentsAreEqual) {
    auto const error = std::make_exception_ptr(std::runtime_error("why"));
    FrameworkEvent const event(FrameworkEvent::FRAMEWORK_ERROR, framework_, "what", error);
    EXPECT_TRUE(event == FrameworkEvent(FrameworkEvent::FRAMEWORK_ERROR, framework_, "what", error));
    EXPECT_FALSE(event == FrameworkEvent(FrameworkEvent::FRAMEWORK_INFO, framework_, "what", error));
    EXPECT_FALSE(event == FrameworkEvent(FrameworkEvent::FRAMEWORK_ERROR, framework_, "other", error));
    EXPECT_EQ(textOf(event), "ERROR\n what\n " + textOf(framework_) + "\n Exception: why");
}
