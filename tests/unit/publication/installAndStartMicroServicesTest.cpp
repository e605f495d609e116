// Who installs the service framework's bundles, in which order, and who waits for whom.
#include "publication/installAndStartMicroServices.hpp"

#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "publication/BundlesTest.hpp"
#include "support/installationCalls.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

std::string const firstDirectory = "bin/darwinarm64/spf/serialisationproviders";
std::string const laterDirectory = "bin/darwinarm64/spf/clients";
std::string const lastDirectory = "bin/darwinarm64/spf/serviceproviders";
std::string const lastInstallation = installationCalls.back();

// Long enough for a thread that does not wait to return, were it wrong not to.
constexpr std::chrono::milliseconds aMoment{20};

std::future<void> onAnotherThread() {
    return std::async(std::launch::async, [] { installAndStartMicroServices(); });
}

std::string messageOfInstalling() {
    try {
        installAndStartMicroServices();
    } catch (std::exception const& error) {
        return error.what();
    }
    return "nothing was thrown";
}

class InstallAndStartMicroServices : public BundlesTest {
protected:
    static std::vector<std::string> installations() { return callLog().callsOf("installAndStart"); }
    static std::vector<std::string> starts() { return callLog().callsOf("start "); }
};

using InstallAndStartMicroServicesAgain = InstallAndStartMicroServices;
using InstallAndStartMicroServicesFailing = InstallAndStartMicroServices;
using InstallAndStartMicroServicesReentrant = InstallAndStartMicroServices;
using InstallAndStartMicroServicesConcurrent = InstallAndStartMicroServices;

TEST_F(InstallAndStartMicroServices, InstallsTheSevenDirectoriesInOrderTheLastWithAFilter) {
    installAndStartMicroServices();
    EXPECT_THAT(callLog().calls(),
                ElementsAre("getFramework", "installAndStart bin/darwinarm64/spf/serialisationproviders",
                            "installAndStart bin/darwinarm64/spf/externalprocessdiscovery",
                            "installAndStart bin/darwinarm64/spf/providers",
                            "installAndStart bin/darwinarm64/spf/framework",
                            "installAndStart bin/darwinarm64/spf/servicepublishers",
                            "installAndStart bin/darwinarm64/spf/clients",
                            "installAndStart bin/darwinarm64/spf/serviceproviders (bundle.activator=false)"));
}

TEST_F(InstallAndStartMicroServices, StartsNothingItselfWhenItInstalls) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    installAndStartMicroServices();
    EXPECT_THAT(starts(), IsEmpty());
}

TEST_F(InstallAndStartMicroServices, InstallsNothingWithoutAFramework) {
    fakeHost().setFramework(nullptr);
    // What this process recorded for an earlier framework counts for nothing once that framework is gone.
    installAndStartMicroServices();
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework"));
}

TEST_F(InstallAndStartMicroServices, LogsNothing) {
    installAndStartMicroServices();
    installAndStartMicroServices();
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(InstallAndStartMicroServices, DoesNotKeepTheFramework) {
    auto const current = fakeHost().framework();
    auto const owners = current.use_count();
    installAndStartMicroServices();
    EXPECT_EQ(current.use_count(), owners);
}

TEST_F(InstallAndStartMicroServices, HoldsTheFrameworkWithWhichItBegan) {
    auto const first = fakeHost().framework();
    auto const second = startFramework();
    callLog().whenNth(1, installationCalls[2], [&] { fakeHost().setFramework(second); });
    installAndStartMicroServices();
    callLog().forgetCalls();
    fakeHost().setFramework(first);
    installAndStartMicroServices();
    EXPECT_THAT(installations(), IsEmpty());
    fakeHost().setFramework(second);
    installAndStartMicroServices();
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
}

TEST_F(InstallAndStartMicroServicesAgain, InstallsNothing) {
    installAndStartMicroServices();
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework"));
}

TEST_F(InstallAndStartMicroServicesAgain, StartsEveryRecordedBundleInTheOrderOfInstallation) {
    fakeHost().setBundles(laterDirectory, {installFirst()});
    fakeHost().setBundles(firstDirectory, {installSecond()});
    installAndStartMicroServices();
    installAndStartMicroServices();
    EXPECT_THAT(starts(), ElementsAre(startSecond, startFirst));
}

TEST_F(InstallAndStartMicroServicesAgain, KeepsTheOrderInsideADirectory) {
    fakeHost().setBundles(firstDirectory, {installSecond(), installFirst()});
    installAndStartMicroServices();
    installAndStartMicroServices();
    EXPECT_THAT(starts(), ElementsAre(startSecond, startFirst));
}

TEST_F(InstallAndStartMicroServicesAgain, StartsTheBundlesOfTheFilteredDirectoryLast) {
    fakeHost().setBundles(lastDirectory, {installFirst()});
    fakeHost().setBundles(laterDirectory, {installSecond()});
    installAndStartMicroServices();
    installAndStartMicroServices();
    EXPECT_THAT(starts(), ElementsAre(startSecond, startFirst));
}

TEST_F(InstallAndStartMicroServicesAgain, LeavesTheBundlesThatTheFilterSortedOut) {
    fakeHost().setBundles(lastDirectory, {installFirst()});
    fakeHost().setBundlesNotStarted(lastDirectory, {installSecond()});
    installAndStartMicroServices();
    installAndStartMicroServices();
    EXPECT_THAT(starts(), ElementsAre(startFirst));
}

TEST_F(InstallAndStartMicroServicesAgain, RestartsOnlyWhatSomebodyStopped) {
    auto second = installSecond();
    fakeHost().setBundles(firstDirectory, {installFirst(), second});
    installAndStartMicroServices();
    installAndStartMicroServices();
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(starts(), IsEmpty());
    second.Stop();
    installAndStartMicroServices();
    EXPECT_THAT(starts(), ElementsAre(startSecond));
}

TEST_F(InstallAndStartMicroServicesAgain, InstallsAfreshIntoAnotherFramework) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    installAndStartMicroServices();
    auto const another = startFramework();
    fakeHost().setFramework(another);
    fakeHost().setBundles(firstDirectory, {install(*another, SPF_UNIT_SECOND_BUNDLE)});
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
    installAndStartMicroServices();
    EXPECT_THAT(starts(), ElementsAre(startSecond)); // those of the first framework are forgotten
}

TEST_F(InstallAndStartMicroServicesAgain, TakesNoFrameworkForAnotherWhileTheFirstLives) {
    installAndStartMicroServices();
    fakeHost().setFramework(nullptr);
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
}

TEST_F(InstallAndStartMicroServicesAgain, PassesWhatABundlesStartThrowsAndReleasesTheMutex) {
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    installAndStartMicroServices();
    callLog().whenNth(1, startFirst, throwing("cannot start"));
    EXPECT_THROW(installAndStartMicroServices(), std::exception);
    EXPECT_THAT(starts(), ElementsAre(startFirst)); // the second was not reached
    ASSERT_EQ(onAnotherThread().wait_for(std::chrono::minutes(1)), std::future_status::ready);
    EXPECT_THAT(starts(), ElementsAre(startFirst, startFirst, startSecond));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(InstallAndStartMicroServicesAgain, StartsBundlesOnTheSameThreadAfterAStartThrew) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    installAndStartMicroServices();
    callLog().whenNth(1, startFirst, throwing("cannot start"));
    EXPECT_THROW(installAndStartMicroServices(), std::exception);
    installAndStartMicroServices();
    EXPECT_THAT(starts(), ElementsAre(startFirst, startFirst));
}

TEST_F(InstallAndStartMicroServicesFailing, PassesWhatGettingTheFrameworkThrows) {
    callLog().when("getFramework", throwing("no framework"));
    EXPECT_EQ(messageOfInstalling(), "no framework");
    EXPECT_THAT(installations(), IsEmpty());
}

TEST_F(InstallAndStartMicroServicesFailing, PassesTheExceptionOfAnyDirectoryAndStopsThere) {
    for (std::size_t failing = 0; failing < installationCalls.size(); ++failing) {
        callLog().reset();
        callLog().when(installationCalls[failing], throwing("no such directory"));
        EXPECT_EQ(messageOfInstalling(), "no such directory");
        EXPECT_THAT(installations(),
                    ElementsAreArray(installationCalls.begin(),
                                     installationCalls.begin() + static_cast<std::ptrdiff_t>(failing) + 1));
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(InstallAndStartMicroServicesFailing, InstallsAgainAtTheNextCall) {
    callLog().whenNth(1, lastInstallation, [] { throw 42; });
    EXPECT_THROW(installAndStartMicroServices(), int);
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
}

TEST_F(InstallAndStartMicroServicesFailing, KeepsTheFrameworkBeforeWithoutItsBundles) {
    auto const first = fakeHost().framework();
    fakeHost().setBundles(firstDirectory, {installFirst()});
    installAndStartMicroServices();
    fakeHost().setFramework(startFramework());
    callLog().whenNth(1, lastInstallation, throwing("no such directory"));
    EXPECT_EQ(messageOfInstalling(), "no such directory");
    fakeHost().setFramework(first);
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework"));
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
    std::future<void> waiter;
    callLog().whenNth(1, installationCalls[3], [&] {
        waiter = onAnotherThread();
        ASSERT_EQ(waiter.wait_for(aMoment), std::future_status::timeout);
    });
    installAndStartMicroServices();
    ASSERT_EQ(waiter.wait_for(std::chrono::minutes(1)), std::future_status::ready);
    EXPECT_EQ(callLog().count("returned"), 1U);
    EXPECT_THAT(starts(), ElementsAre(startFirst, startSecond));
}

TEST_F(InstallAndStartMicroServicesConcurrent, OneThreadInstallsWhileTheOthersWait) {
    std::vector<std::future<void>> waiters(4);
    callLog().whenNth(1, installationCalls[3], [&] {
        for (auto& waiter : waiters) {
            waiter = std::async(std::launch::async, [] {
                installAndStartMicroServices();
                callLog().record("waiter returned");
            });
        }
        ASSERT_TRUE(callLog().waitFor("getFramework", 1 + waiters.size()));
        for (auto& waiter : waiters) {
            EXPECT_EQ(waiter.wait_for(aMoment), std::future_status::timeout);
        }
    });
    installAndStartMicroServices();
    for (auto& waiter : waiters) {
        EXPECT_NO_THROW(waiter.get());
    }
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
    EXPECT_EQ(callLog().count("waiter returned"), waiters.size());
}

TEST_F(InstallAndStartMicroServicesConcurrent, WaitersStartTheRecordedBundles) {
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    std::future<void> waiter;
    callLog().whenNth(1, installationCalls[3], [&] {
        waiter = onAnotherThread();
        ASSERT_EQ(waiter.wait_for(aMoment), std::future_status::timeout);
    });
    installAndStartMicroServices();
    waiter.get();
    EXPECT_THAT(starts(), ElementsAre(startFirst, startSecond));
}

TEST_F(InstallAndStartMicroServicesConcurrent, WaitersOfAFailedInstallationReturnAndStartNothing) {
    fakeHost().setBundles(firstDirectory, {installFirst()});
    std::vector<std::future<void>> waiters(4);
    callLog().whenNth(1, lastInstallation, [&] {
        for (auto& waiter : waiters) {
            waiter = onAnotherThread();
        }
        ASSERT_TRUE(callLog().waitFor("getFramework", 1 + waiters.size()));
        for (auto& waiter : waiters) {
            ASSERT_EQ(waiter.wait_for(aMoment), std::future_status::timeout);
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

TEST_F(InstallAndStartMicroServicesConcurrent, AThreadThatAnActivatorStartedWaitsLikeAnyOther) {
    auto bundle = installFirst();
    std::future<void> waiter;
    callLog().whenNth(1, installationCalls[0], [&] { bundle.Start(); });
    callLog().whenNth(1, startFirst, [&] {
        waiter = onAnotherThread();
        EXPECT_EQ(waiter.wait_for(aMoment), std::future_status::timeout);
    });
    installAndStartMicroServices();
    EXPECT_EQ(waiter.wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

TEST_F(InstallAndStartMicroServicesConcurrent, RestartsFollowOneAnother) {
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    installAndStartMicroServices();
    std::future<void> other;
    callLog().whenNth(1, startFirst, [&] {
        other = onAnotherThread();
        EXPECT_EQ(other.wait_for(aMoment), std::future_status::timeout);
    });
    installAndStartMicroServices();
    EXPECT_EQ(other.wait_for(std::chrono::minutes(1)), std::future_status::ready);
    EXPECT_THAT(starts(), ElementsAre(startFirst, startSecond));
}

TEST_F(InstallAndStartMicroServicesConcurrent, BuildsOnAFreshProcessInstallOnceAndPublishAll) {
    auto const admin = provideConfigurationAdmin();
    std::vector<std::future<SPFConfiguration>> builds;
    for (auto number = 0; number < 8; ++number) {
        builds.push_back(std::async(std::launch::async, [number] {
            return SPFConfigurationBuilder("id" + std::to_string(number)).build();
        }));
    }
    for (std::size_t number = 0; number < builds.size(); ++number) {
        EXPECT_EQ(builds[number].get().getConfigurationID(), "id" + std::to_string(number));
    }
    EXPECT_THAT(installations(), ElementsAreArray(installationCalls));
    EXPECT_EQ(admin->updates().size(), builds.size());
}

} // namespace
} // namespace agent::spf::frameworksetup::test
