// A start of the framework, or of bundles, that runs out of memory.
#include <chrono>
#include <cstddef>
#include <exception>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>

#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/Path.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "support/AllocationFailure.hpp"

namespace {

using agent::host::installAndStart;
using agent::host::Path;
using agent::host::standalone::startFramework;
using agent::spf::frameworksetup::test::AllocationFailure;
using cppmicroservices::Bundle;
using cppmicroservices::BundleEvent;
using cppmicroservices::Framework;
using testing::ElementsAre;

class FrameworkStartFaults : public host_test::HostTest {};

TEST_F(FrameworkStartFaults, AStartWithoutMemoryForTheLaunchingPropertiesDoesNotHoldUpTheNextStart) {
    agent::host::standalone::setFrameworkProperties({{"host.test", std::string("value")}});
    {
        AllocationFailure const outOfMemory(1);
        EXPECT_THROW(startFramework(), std::bad_alloc);
    }

    auto next = std::async(std::launch::async, startFramework);

    ASSERT_EQ(next.wait_for(host_test::patience), std::future_status::ready);
    EXPECT_NE(next.get(), nullptr);
}

TEST_F(FrameworkStartFaults, AFrameworkThatCannotBeStoppedAfterAFailedStartDoesNotHoldUpTheNextStart) {
    installation.addMicroservice("host_test_alpha");
    std::shared_ptr<Framework> leftRunning;
    std::optional<AllocationFailure> outOfMemory;
    cppmicroservices::ListenerToken token;
    probe.onReport([&](std::string const&) {
        leftRunning = agent::host::getFramework();
        token = leftRunning->GetBundleContext().AddBundleListener([&](BundleEvent const& event) {
            if (event.GetType() == BundleEvent::BUNDLE_STOPPED) { // the last that is done about the bundle
                outOfMemory.emplace(1, AllocationFailure::Duration::Lasting);
            }
        });
        throw std::runtime_error("not today");
    });
    EXPECT_ANY_THROW(startFramework());
    outOfMemory.reset();
    leftRunning->GetBundleContext().RemoveListener(std::move(token));
    probe.onReport(nullptr);
    ASSERT_EQ(leftRunning->GetState(), Bundle::STATE_ACTIVE);

    auto next = std::async(std::launch::async, startFramework);

    ASSERT_EQ(next.wait_for(host_test::patience), std::future_status::ready);
    EXPECT_NE(next.get(), leftRunning);
    leftRunning->Stop();
    leftRunning->WaitForStop(std::chrono::milliseconds::zero());
}

class BundleStartFaults : public host_test::HostTest,
                          public testing::WithParamInterface<AllocationFailure::Duration> {
protected:
    BundleStartFaults() { startFramework(); }
};

TEST_P(BundleStartFaults, WhicheverAllocationFailsTheNextStartOfTheDirectoryIsWhole) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    installation.addBundle("host_test_beta", "bundles", "beta.so");
    auto failed = true;
    std::size_t n = 0;
    while (failed) {
        SCOPED_TRACE(++n);
        {
            AllocationFailure const outOfMemory(n, GetParam());
            try {
                installAndStart(Path(u"bundles"));
            } catch (std::exception const&) {
                EXPECT_TRUE(outOfMemory.happened());
            }
            failed = outOfMemory.happened();
        }

        auto bundles = installAndStart(Path(u"bundles"));

        ASSERT_THAT(host_test::symbolicNames(bundles), ElementsAre("host_test_alpha", "host_test_beta"));
        for (auto& bundle : bundles) {
            ASSERT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
            bundle.Uninstall();
        }
    }
    EXPECT_GT(n, 50U);
}

INSTANTIATE_TEST_SUITE_P(Durations, BundleStartFaults,
                         testing::Values(AllocationFailure::Duration::Once,
                                         AllocationFailure::Duration::Lasting),
                         [](auto const& duration) {
                             return duration.param == AllocationFailure::Duration::Once ? "Once" : "Lasting";
                         });

} // namespace
