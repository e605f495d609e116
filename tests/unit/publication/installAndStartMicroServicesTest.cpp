// Who installs the service framework's bundles, in which order, and what a failure leaves. Several threads
// and calls from activators are in installAndStartMicroServicesConcurrentTest.cpp.
#include "publication/installAndStartMicroServices.hpp"

#include <cstddef>
#include <exception>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "publication/InstallationTest.hpp"
#include "support/ConcurrentCall.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using InstallAndStartMicroServices = InstallationTest;
using InstallAndStartMicroServicesAgain = InstallationTest;
using InstallAndStartMicroServicesFailing = InstallationTest;

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

// No framework is the same as one that is gone: its bundles are still the recorded ones.
TEST_F(InstallAndStartMicroServicesAgain, StartsTheRecordedBundlesWhenTheirFrameworkIsGoneAndThereIsNone) {
    fakeHost().setFramework(std::make_shared<cppmicroservices::Framework>(framework()));
    fakeHost().setBundles(firstDirectory, {installFirst()});
    installAndStartMicroServices();
    fakeHost().setFramework(nullptr);
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework", startFirst));
}

TEST_F(InstallAndStartMicroServicesAgain, PassesWhatTheBundlesOfAStoppedFrameworkThrow) {
    fakeHost().setFramework(std::make_shared<cppmicroservices::Framework>(framework()));
    auto bundle = installFirst();
    fakeHost().setBundles(firstDirectory, {bundle});
    installAndStartMicroServices();
    stopFramework();
    fakeHost().setFramework(nullptr);
    // Most releases of CppMicroServices throw; the first one, 3.8.0, starts nothing and says nothing.
    EXPECT_EQ(messageOfInstalling(), messageOf([&] { bundle.Start(); }));
    EXPECT_THAT(starts(), IsEmpty());
}

TEST_F(InstallAndStartMicroServicesAgain, PassesWhatABundlesStartThrowsAndReleasesTheMutex) {
    fakeHost().setBundles(firstDirectory, {installFirst(), installSecond()});
    installAndStartMicroServices();
    callLog().whenNth(1, startFirst, throwing("cannot start"));
    EXPECT_THROW(installAndStartMicroServices(), std::exception);
    EXPECT_THAT(starts(), ElementsAre(startFirst)); // the second was not reached
    ConcurrentCall<void> other(installAndStartMicroServices);
    ASSERT_TRUE(other.returns());
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

TEST_F(InstallAndStartMicroServicesFailing, InstallsNothingWhenThePathOfTheLastDirectoryCannotBeMade) {
    fakeHost().setUnfitComponent(u"serviceproviders");
    EXPECT_EQ(messageOfInstalling(), "the path is too long");
    EXPECT_THAT(installations(), IsEmpty());
}

TEST_F(InstallAndStartMicroServicesFailing, InstallsAgainAtTheNextCall) {
    callLog().whenNth(1, installationCalls.back(), [] { throw 42; });
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
    callLog().whenNth(1, installationCalls.back(), throwing("no such directory"));
    EXPECT_EQ(messageOfInstalling(), "no such directory");
    fakeHost().setFramework(first);
    callLog().forgetCalls();
    installAndStartMicroServices();
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework"));
}

} // namespace
} // namespace agent::spf::frameworksetup::test
