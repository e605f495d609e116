// The framework's life in the standalone host: started, stopped, started anew.
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>

#include <unistd.h>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "waitUntilAsleep.hpp"

namespace {

using agent::host::getFramework;
using agent::host::standalone::startFramework;
using agent::host::standalone::stopFramework;
using host_test::messageOf;
using host_test::patience;
using testing::ElementsAre;
using testing::HasSubstr;

class FrameworkLifecycle : public host_test::HostTest {};

TEST_F(FrameworkLifecycle, StartFrameworkReturnsTheRunningFramework) {
    auto const framework = startFramework();

    EXPECT_EQ(startFramework(), framework);
    EXPECT_EQ(getFramework(), framework);
}

TEST_F(FrameworkLifecycle, ActivatorThatIsStartedWithTheFrameworkGetsTheFramework) {
    installation.addMicroservice("host_test_alpha");
    std::shared_ptr<cppmicroservices::Framework> seen;
    probe.onReport([&seen](std::string const& event) {
        if (event == "start host_test_alpha") {
            seen = getFramework();
        }
    });

    EXPECT_EQ(startFramework(), seen);
    EXPECT_NE(seen, nullptr);
}

TEST_F(FrameworkLifecycle, OtherThreadsWaitUntilTheBundlesOfTheStartAreStarted) {
    installation.addMicroservice("host_test_alpha");
    std::promise<pid_t> otherThreadAsks;
    std::atomic<bool> activatorReturned{false};
    std::future<bool> other;
    probe.onReport([&](std::string const& event) {
        if (event != "start host_test_alpha") {
            return;
        }
        other = std::async(std::launch::async, [&] {
            otherThreadAsks.set_value(::gettid());
            auto const framework = getFramework();
            return framework != nullptr && activatorReturned;
        });
        waitUntilAsleep(otherThreadAsks.get_future().get());
        activatorReturned = true;
    });

    startFramework();

    ASSERT_EQ(other.wait_for(patience), std::future_status::ready);
    EXPECT_TRUE(other.get());
}

TEST_F(FrameworkLifecycle, FailedStartLeavesNoFramework) {
    installation.addMicroservice("host_test_alpha");
    startFramework();
    stopFramework();
    probe.onReport([](std::string const&) { throw std::runtime_error("not today"); });

    EXPECT_THAT(messageOf([] { startFramework(); }), HasSubstr("host_test_alpha"));

    EXPECT_EQ(getFramework(), nullptr);
}

TEST_F(FrameworkLifecycle, FailedStartStopsTheFrameworkThatABundleHolds) {
    installation.addMicroservice("host_test_alpha");
    installation.addMicroservice("host_test_beta");
    std::shared_ptr<cppmicroservices::Framework> held;
    probe.onReport([&held](std::string const& event) {
        if (event == "start host_test_alpha") {
            held = getFramework();
        } else if (event == "start host_test_beta") {
            throw std::runtime_error("not today");
        }
    });

    EXPECT_THAT(messageOf([] { startFramework(); }), HasSubstr("host_test_beta"));

    EXPECT_NE(held->GetState(), cppmicroservices::Bundle::STATE_ACTIVE);
    EXPECT_THAT(probe.events(),
                ElementsAre("start host_test_alpha", "start host_test_beta", "stop host_test_alpha"));
}

TEST_F(FrameworkLifecycle, MissingMicroservicesDirectoryIsAnErrorThatNamesIt) {
    auto const directory = installation.root() / "bin/darwinarm64/microservices";
    std::filesystem::remove_all(directory);

    EXPECT_THAT(messageOf([] { startFramework(); }),
                testing::AllOf(HasSubstr(directory.string()), HasSubstr("No such file or directory")));
}

TEST_F(FrameworkLifecycle, StopFrameworkStopsTheBundlesAndLeavesNone) {
    installation.addMicroservice("host_test_alpha");
    auto const framework = startFramework();

    stopFramework();

    EXPECT_THAT(probe.events(), ElementsAre("start host_test_alpha", "stop host_test_alpha"));
    EXPECT_NE(framework->GetState(), cppmicroservices::Bundle::STATE_ACTIVE);
    EXPECT_EQ(getFramework(), nullptr);
    EXPECT_NO_THROW(stopFramework());
}

TEST_F(FrameworkLifecycle, StoppedFrameworkIsLetGo) {
    std::weak_ptr<cppmicroservices::Framework> const framework = startFramework();

    stopFramework();

    EXPECT_TRUE(framework.expired());
}

TEST_F(FrameworkLifecycle, StartAfterStopGivesANewFrameworkWithItsBundles) {
    installation.addMicroservice("host_test_alpha");
    auto const first = startFramework();
    stopFramework();

    auto const second = startFramework();

    EXPECT_NE(second, first);
    EXPECT_EQ(getFramework(), second);
    auto context = second->GetBundleContext();
    EXPECT_TRUE(context.GetServiceReference<cppmicroservices::service::cm::ConfigurationAdmin>());
    EXPECT_THAT(probe.events(),
                ElementsAre("start host_test_alpha", "stop host_test_alpha", "start host_test_alpha"));
}

TEST_F(FrameworkLifecycle, FrameworkThatSomebodyElseStoppedIsNotReturnedAndIsReplacedByAStart) {
    auto const first = startFramework();
    first->Stop();
    first->WaitForStop(std::chrono::milliseconds::zero());

    EXPECT_EQ(getFramework(), nullptr);

    auto const second = startFramework();
    EXPECT_NE(second, first);
    EXPECT_EQ(second->GetState(), cppmicroservices::Bundle::STATE_ACTIVE);
}

TEST_F(FrameworkLifecycle, WhileItStopsTheFrameworkIsNotReturnedAndAStartWaits) {
    installation.addMicroservice("host_test_alpha");
    std::promise<void> stopping;
    std::promise<void> release;
    probe.onReport([&](std::string const& event) {
        if (event == "stop host_test_alpha") {
            stopping.set_value();
            release.get_future().wait_for(patience);
        }
    });
    auto const first = startFramework();
    auto stop = std::async(std::launch::async, [] { stopFramework(); });
    ASSERT_EQ(stopping.get_future().wait_for(patience), std::future_status::ready);
    probe.onReport(nullptr);

    EXPECT_EQ(getFramework(), nullptr);
    std::promise<pid_t> starting;
    auto start = std::async(std::launch::async, [&starting] {
        starting.set_value(::gettid());
        return startFramework();
    });
    waitUntilAsleep(starting.get_future().get());
    EXPECT_EQ(start.wait_for(std::chrono::seconds::zero()), std::future_status::timeout);
    release.set_value();

    ASSERT_EQ(start.wait_for(patience), std::future_status::ready);
    auto const second = start.get();
    EXPECT_NE(second, first);
    EXPECT_EQ(getFramework(), second);
}

TEST_F(FrameworkLifecycle, StopFromABundleThatIsStartedWithTheFrameworkIsRefused) {
    installation.addMicroservice("host_test_alpha");
    bool refused = false;
    probe.onReport([&refused](std::string const& event) {
        if (event == "start host_test_alpha") {
            try {
                stopFramework();
            } catch (std::logic_error const&) {
                refused = true;
            }
        }
    });

    EXPECT_NE(startFramework(), nullptr);
    EXPECT_TRUE(refused);
}

TEST_F(FrameworkLifecycle, PropertiesReachTheFrameworkThatIsStartedNext) {
    agent::host::standalone::setFrameworkProperties({{"host.test", std::string("value")}});
    auto const framework = startFramework();

    EXPECT_EQ(framework->GetBundleContext().GetProperty("host.test").ToString(), "value");
}

} // namespace
