// Bundles end with the run of the framework that they were installed in; a stopped framework starts none.
#include "FrameworkFixture.hpp"
#include "waitUntilAsleep.hpp"

#include <future>
#include <stdexcept>

using namespace cppmicroservices;

using FrameworkAdditions = FrameworkTest;

TEST_F(FrameworkAdditions, BundlesAreNotCarriedOverIntoTheNextRun) {
    auto bundle = start("recorder");
    stopFramework();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_INSTALLED);
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Start(); }),
              "Bundle test_recorder (location=" + bundle.GetLocation() + ") belongs to a stopped framework");
    framework_.Start();
    EXPECT_THAT(context().GetBundles(), testing::ElementsAre(framework_));
}

TEST_F(FrameworkAdditions, IdentifiersOfBundlesStartAnewWithEachRun) {
    auto const old = install("recorder");
    stopFramework();
    framework_.Start();
    auto const bundle = install("manifest_only");
    EXPECT_EQ(bundle.GetBundleId(), old.GetBundleId());
    EXPECT_EQ(bundle, old); // no more than framework and identifier counts
}

TEST_F(FrameworkAdditions, StoppedFrameworkThatIsOnlyInitialisedStartsNoBundle) {
    stopFramework();
    framework_.Init();
    auto bundle = install("recorder");
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Start(); }),
              "Bundle test_recorder (location=" + bundle.GetLocation() + ") belongs to a stopped framework");
    framework_.Start();
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(FrameworkAdditions, NoBundleIsStartedOnceTheFirstIsStoppedByTheFramework) {
    auto first = start("recorder");
    auto other = start("manifest_only");
    std::string refusal;
    context().AddBundleListener([&](BundleEvent const& event) {
        if (event.GetType() == BundleEvent::BUNDLE_STOPPING && event.GetBundle() == first) {
            other.Stop();
            refusal = messageOf<std::runtime_error>([&other] { other.Start(); });
        }
    });
    stopFramework();
    EXPECT_EQ(refusal, "Bundle test_manifest_only (location=" + other.GetLocation() +
                           ") belongs to a stopped framework");
}

TEST_F(FrameworkAdditions, StartOfAnUninstalledBundleBlamesTheFrameworkIfThatHasStopped) {
    auto bundle = install("recorder");
    bundle.Uninstall();
    stopFramework();
    auto const name = "Bundle test_recorder (location=" + bundle.GetLocation() + ")";
    EXPECT_EQ(messageOf<std::runtime_error>([&bundle] { bundle.Start(); }),
              name + " belongs to a stopped framework");
    EXPECT_EQ(messageOf<std::logic_error>([&bundle] { bundle.Stop(); }), name + " is uninstalled");
}

TEST_F(FrameworkAdditions, StopWaitsForABundleThatIsAboutToStart) {
    auto bundle = install("recorder");
    std::promise<pid_t> stopping;
    context().AddBundleListener([this, &stopping](BundleEvent const& event) {
        if (event.GetType() == BundleEvent::BUNDLE_RESOLVED) {
            framework_.Stop();
            waitUntilAsleep(stopping.get_future().get());
        } else if (event.GetBundle() == framework_) {
            stopping.set_value(gettid());
        }
    });
    EXPECT_NO_THROW(bundle.Start());
    stopFramework();
    EXPECT_NE(bundle.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_THAT(records_.take(),
                testing::ElementsAre("test_recorder start", "test_recorder stop", "test_recorder destroyed"));
}

TEST_F(FrameworkAdditions, BundlesThatStartWhileTheFrameworkStopsAreNotLeftActive) {
    for (int round = 0; round < 20; ++round) {
        auto bundle = install("recorder");
        auto starting = std::async(std::launch::async, [bundle]() mutable {
            try {
                bundle.Start();
            } catch (std::runtime_error const&) {
                // The framework was faster.
            }
        });
        stopFramework();
        starting.get();
        EXPECT_NE(bundle.GetState(), Bundle::STATE_ACTIVE);
        framework_.Start();
    }
}
