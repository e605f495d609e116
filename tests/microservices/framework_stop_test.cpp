// In which order a framework that stops stops its bundles, and what bundles can still do then.
#include "FrameworkFixture.hpp"
#include "bundleInMessages.hpp"
#include "givenManifests.hpp"

#include <chrono>
#include <stdexcept>

using namespace cppmicroservices;
using testing::ElementsAre;

class FrameworkStopTest : public FrameworkTest {
protected:
    // Stops the framework inside the bundle's uninstallation, and waits for that there.
    FrameworkEvent stopFrameworkInsideUninstallationOf(Bundle bundle) {
        FrameworkEvent stopped;
        context().AddBundleListener([this, &stopped](BundleEvent const& event) {
            if (event.GetType() == BundleEvent::BUNDLE_UNRESOLVED) {
                framework_.Stop();
                stopped = framework_.WaitForStop(failureTimeout);
            }
        });
        bundle.Uninstall();
        return stopped;
    }
};

TEST_F(FrameworkStopTest, StopsBundlesInTheReverseOrderOfTheirLocations) {
    auto second = install("recorder");
    auto first = install("registers_service");
    auto third = install("manifest_only");
    auto never = install("scripted_one");
    auto noMore = install("pair");
    for (auto const& bundle : {noMore, first, third, second}) {
        Bundle(bundle).Start();
    }
    noMore.Stop();
    recordBundleEvents();
    stopFramework();
    EXPECT_THAT(bundleEvents_.take(), ElementsAre("STOPPING system_bundle", "STOPPING test_registers_service",
                                                  "STOPPED test_registers_service", "STOPPING test_recorder",
                                                  "STOPPED test_recorder", "STOPPING test_manifest_only",
                                                  "STOPPED test_manifest_only"));
}

TEST_F(FrameworkStopTest, StopsBundlesOfOneLocationInTheReverseOrderOfTheirInstallation) {
    auto const location = locationOf("manifest_only");
    auto const manifests = givenManifests({"a", "b", "c"});
    auto const before = context().InstallBundles(location, manifests);
    Bundle(before.at(1)).Uninstall();
    auto const bundles = context().InstallBundles(location, manifests);
    for (auto const& bundle : {bundles.at(1), bundles.at(2), bundles.at(0)}) {
        Bundle(bundle).Start();
    }
    recordBundleEvents();
    stopFramework();
    EXPECT_THAT(bundleEvents_.take(), ElementsAre("STOPPING system_bundle", "STOPPING b", "STOPPED b",
                                                  "STOPPING c", "STOPPED c", "STOPPING a", "STOPPED a"));
}

TEST_F(FrameworkStopTest, StopsABundleThatIsStartedWhenTheStopBegins) {
    auto const bundle = install("recorder");
    context().AddBundleListener([this, &bundle](BundleEvent const& event) {
        if (event.GetType() == BundleEvent::BUNDLE_STOPPING && event.GetBundle() == framework_) {
            EXPECT_NO_THROW(Bundle(bundle).Start());
            EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
        }
    });
    stopFramework();
    EXPECT_THAT(records_.take(),
                ElementsAre("test_recorder start", "test_recorder stop", "test_recorder destroyed"));
}

TEST_F(FrameworkStopTest, WaitsForNoBundleThatDoesNotRun) {
    auto bundle = start("recorder");
    bundle.Stop();
    EXPECT_EQ(stopFrameworkInsideUninstallationOf(bundle).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
}

TEST_F(FrameworkStopTest, WaitsForNoBundleThatFailedToStart) {
    auto bundle = install("throws_on_start");
    EXPECT_THROW(bundle.Start(), std::runtime_error);
    EXPECT_EQ(stopFrameworkInsideUninstallationOf(bundle).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
}

TEST_F(FrameworkStopTest, FrameworkIsStoppingUntilItsBundlesHaveStopped) {
    auto const bundle = start("recorder");
    context().AddBundleListener([&](BundleEvent const& event) {
        if (event.GetBundle() == bundle) {
            EXPECT_EQ(framework_.GetState(), Bundle::STATE_STOPPING);
            EXPECT_EQ(framework_.WaitForStop(std::chrono::milliseconds(1)).GetType(),
                      FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
        }
    });
    stopFramework();
    EXPECT_EQ(framework_.GetState(), Bundle::STATE_RESOLVED);
}

TEST_F(FrameworkStopTest, BundleThatFailsToStopIsReportedAndTheOthersAreStopped) {
    start("recorder");
    auto const failing = start("throws_on_stop");
    recordFrameworkEvents();
    records_.take();
    stopFramework();
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR test_throws_on_stop : " + bundleInMessages(failing) + " (location=" +
                            failing.GetLocation() + "), BundleActivator::Stop() failed: no stop today"));
    EXPECT_THAT(records_.take(), ElementsAre("test_recorder stop", "test_recorder destroyed"));
}
