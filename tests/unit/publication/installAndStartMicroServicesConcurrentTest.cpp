// Who waits for whom while the bundles are installed or started again, and calls that come from activators.
#include "publication/installAndStartMicroServices.hpp"

#include <deque>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "publication/InstallationTest.hpp"
#include "support/ConcurrentCall.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using InstallAndStartMicroServicesReentrant = InstallationTest;
using InstallAndStartMicroServicesConcurrent = InstallationTest;

// A call by another thread, under way when this returns.
std::unique_ptr<ConcurrentCall<void>> onAnotherThread() {
    return std::make_unique<ConcurrentCall<void>>([] { installAndStartMicroServices(); });
}

TEST_F(InstallAndStartMicroServicesReentrant, OnTheInstallingThreadReturnsAtOnceAndStartsNothing) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    callLog().whenNth(1, installationCalls[3], [] {
        installAndStartMicroServices();
        callLog().record("returned");
    });
    installAndStartMicroServices();
    EXPECT_EQ(callLog().count("returned"), 1U);
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
    EXPECT_THAT(starts(), IsEmpty());
}

TEST_F(InstallAndStartMicroServicesReentrant, FromAnActivatorDuringInstallationPublishesMeanwhile) {
    auto const admin = provideConfigurationAdmin();
    auto bundle = installFirst();
    SPFConfiguration built;
    callLog().whenNth(1, installationCalls[3], [&] { bundle.Start(); });
    callLog().whenNth(1, startFirst, [&] { built = SPFConfigurationBuilder("inner").build(); });
    installAndStartMicroServices();
    EXPECT_THAT(callLog().calls(),
                ElementsAre("getFramework", installationCalls[0], installationCalls[1], installationCalls[2],
                            installationCalls[3], startFirst, "getFramework", "getFramework",
                            "GetFactoryConfiguration qo.spf.framework inner", "getFramework",
                            "Update qo.spf.framework~inner", installationCalls[4], installationCalls[5],
                            installationCalls[6]));
}

TEST_F(InstallAndStartMicroServicesReentrant, FromAnActivatorThatIsStartedAgainPublishesMeanwhile) {
    auto const admin = provideConfigurationAdmin();
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    installAndStartMicroServices();
    SPFConfiguration built;
    callLog().whenNth(1, startFirst, [&] { built = SPFConfigurationBuilder("inner").build(); });
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_EQ(built.getConfigurationID(), "inner");
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework", startFirst, "getFramework", "getFramework",
                                               "GetFactoryConfiguration qo.spf.framework inner",
                                               "getFramework", "Update qo.spf.framework~inner", startSecond));
}

TEST_F(InstallAndStartMicroServicesReentrant, OnAWaiterThatStartsTheBundlesReturnsAtOnce) {
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    callLog().whenNth(1, startFirst, [] {
        installAndStartMicroServices();
        callLog().record("returned");
    });
    std::unique_ptr<ConcurrentCall<void>> waiter;
    callLog().whenNth(1, installationCalls[3], [&] {
        waiter = onAnotherThread();
        ASSERT_TRUE(waiter->blocks());
    });
    installAndStartMicroServices();
    ASSERT_TRUE(waiter->returns());
    EXPECT_EQ(callLog().count("returned"), 1U);
    EXPECT_THAT(starts(), ElementsAre(startFirst, startSecond));
}

// The recorded bundles may be all that keeps a framework. When they are forgotten it ends, on any thread.
TEST_F(InstallAndStartMicroServicesReentrant, FromAnActivatorOfAFrameworkThatEndsWaitsForNobody) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    fakeHost().bundles(firstDirectory).front().Start();
    installAndStartMicroServices();
    fakeHost().setBundles(firstDirectory, {});
    abandonFrameworks();
    fakeHost().setFramework(startFramework());
    callLog().whenNth(1, stopFirst, [] {
        installAndStartMicroServices();
        callLog().record("returned");
    });
    ASSERT_TRUE(onAnotherThread()->returns());
    EXPECT_EQ(callLog().count("returned"), 1U);
}

TEST_F(InstallAndStartMicroServicesConcurrent, OneThreadInstallsWhileTheOthersWait) {
    std::deque<ConcurrentCall<void>> waiters;
    callLog().whenNth(1, installationCalls[3], [&] {
        for (auto number = 0; number < 4; ++number) {
            waiters.emplace_back(installAndStartMicroServices);
        }
        ASSERT_TRUE(callLog().waitFor("getFramework", 1 + waiters.size()));
        for (auto const& waiter : waiters) {
            EXPECT_TRUE(waiter.blocks());
        }
    });
    installAndStartMicroServices();
    for (auto& waiter : waiters) {
        EXPECT_NO_THROW(waiter.get());
    }
    EXPECT_EQ(waiters.size(), 4U);
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
}

TEST_F(InstallAndStartMicroServicesConcurrent, WaitersStartTheRecordedBundles) {
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    std::unique_ptr<ConcurrentCall<void>> waiter;
    callLog().whenNth(1, installationCalls[3], [&] {
        waiter = onAnotherThread();
        ASSERT_TRUE(waiter->blocks());
    });
    installAndStartMicroServices();
    waiter->get();
    EXPECT_THAT(starts(), ElementsAre(startFirst, startSecond));
}

TEST_F(InstallAndStartMicroServicesConcurrent, AWaiterInstallsNothingEvenIntoAFrameworkThatCameMeanwhile) {
    auto const another = startFramework();
    fakeHost().setBundles(firstDirectory, {installFirst()});
    std::unique_ptr<ConcurrentCall<void>> waiter;
    callLog().whenNth(1, installationCalls[3], [&] {
        fakeHost().setFramework(another);
        waiter = onAnotherThread();
        ASSERT_TRUE(waiter->blocks());
    });
    installAndStartMicroServices();
    waiter->get();
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
    EXPECT_THAT(starts(), ElementsAre(startFirst));
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls)); // the next call does
}

TEST_F(InstallAndStartMicroServicesConcurrent, WaitersOfAFailedInstallationReturnAndStartNothing) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    std::deque<ConcurrentCall<void>> waiters;
    callLog().whenNth(1, installationCalls.back(), [&] {
        for (auto number = 0; number < 4; ++number) {
            waiters.emplace_back(installAndStartMicroServices);
        }
        ASSERT_TRUE(callLog().waitFor("getFramework", 1 + waiters.size()));
        for (auto const& waiter : waiters) {
            ASSERT_TRUE(waiter.blocks());
        }
        throw std::runtime_error("no such directory");
    });
    EXPECT_EQ(messageOfInstalling(), "no such directory");
    for (auto& waiter : waiters) {
        EXPECT_NO_THROW(waiter.get());
    }
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
    EXPECT_THAT(starts(), IsEmpty());
}

TEST_F(InstallAndStartMicroServicesConcurrent, AWaiterPassesWhatABundlesStartThrowsAndTheOthersGoOn) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    callLog().whenNth(1, startFirst, throwing("cannot start"));
    std::deque<ConcurrentCall<bool>> waiters;
    callLog().whenNth(1, installationCalls[3], [&] {
        for (auto number = 0; number < 3; ++number) {
            waiters.emplace_back([] {
                try {
                    installAndStartMicroServices();
                } catch (std::exception const&) {
                    return true;
                }
                return false;
            });
        }
        for (auto const& waiter : waiters) {
            ASSERT_TRUE(waiter.blocks());
        }
    });
    installAndStartMicroServices();
    auto thrown = 0;
    for (auto& waiter : waiters) {
        thrown += waiter.get() ? 1 : 0;
    }
    EXPECT_EQ(thrown, 1);
    EXPECT_THAT(starts(),
                ElementsAre(startFirst, startFirst)); // the second succeeded, the third found it active
}

TEST_F(InstallAndStartMicroServicesConcurrent, AThreadThatAnActivatorStartedWaitsLikeAnyOther) {
    auto bundle = installFirst();
    std::unique_ptr<ConcurrentCall<void>> waiter;
    callLog().whenNth(1, installationCalls[0], [&] { bundle.Start(); });
    callLog().whenNth(1, startFirst, [&] {
        waiter = onAnotherThread();
        EXPECT_TRUE(waiter->blocks());
    });
    installAndStartMicroServices();
    EXPECT_TRUE(waiter->returns());
}

TEST_F(InstallAndStartMicroServicesConcurrent, RestartsFollowOneAnother) {
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    installAndStartMicroServices();
    std::unique_ptr<ConcurrentCall<void>> other;
    callLog().whenNth(1, startFirst, [&] {
        other = onAnotherThread();
        EXPECT_TRUE(other->blocks());
    });
    installAndStartMicroServices();
    EXPECT_TRUE(other->returns());
    EXPECT_THAT(starts(), ElementsAre(startFirst, startSecond));
}

TEST_F(InstallAndStartMicroServicesConcurrent, BuildsOnAFreshProcessInstallOnceAndPublishAll) {
    auto const admin = provideConfigurationAdmin();
    std::deque<ConcurrentCall<SPFConfiguration>> builds;
    for (auto number = 0; number < 8; ++number) {
        builds.emplace_back(
            [number] { return SPFConfigurationBuilder("id" + std::to_string(number)).build(); });
    }
    for (std::size_t number = 0; number < builds.size(); ++number) {
        EXPECT_EQ(builds[number].get().getConfigurationID(), "id" + std::to_string(number));
    }
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
    EXPECT_EQ(admin->updates().size(), builds.size());
}

} // namespace
} // namespace agent::spf::frameworksetup::test
