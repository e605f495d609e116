// The fixed legacy configuration.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "support/HostTest.hpp"
#include "support/describe.hpp"
#include "support/installationCalls.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class SetupFramework : public HostTest {
protected:
    static constexpr char const* get = "GetFactoryConfiguration qo.spf.framework LegacySetupFramework";
    static constexpr char const* update = "Update qo.spf.framework~LegacySetupFramework";
    static constexpr char const* legacyConfiguration =
        R"({modificationCount: 2, serviceConfigurations: [], servicePublisherConfigurations: [)"
        R"({config: {endpointsToBindTo: [], )"
        R"(endpointsToConnectTo: ["corvalithServiceHostDiscovery", "zentorConnectorDiscovery"], )"
        R"(exportFilter: "", importFilter: ""}, factoryPID: "qo.spf.legacyservicepublisher", )"
        R"(name: "legacyservicepublisher", uniqueID: "LegacySetupFramework"}], servicePublisherMappings: []})";
};

TEST_F(SetupFramework, PublishesTheLegacyConfiguration) {
    auto const admin = provideConfigurationAdmin();
    setupFramework();
    ASSERT_EQ(admin->updates().size(), 1U);
    EXPECT_EQ(admin->updates().front().pid, "qo.spf.framework~LegacySetupFramework");
    EXPECT_EQ(describe(admin->updates().front().properties), legacyConfiguration);
}

TEST_F(SetupFramework, StartsTheBundlesAndPublishesAndWithdrawsNothing) {
    auto const admin = provideConfigurationAdmin();
    setupFramework();
    EXPECT_THAT(callLog().callsOf("installAndStart"), ElementsAreArray(installationCalls));
    EXPECT_THAT(admin->calls(), ElementsAre(get, update));
}

TEST_F(SetupFramework, AsksNobodyOnceItHasReleasedItsTracker) {
    provideConfigurationAdmin();
    recordListenerRegistrations();
    setupFramework();
    auto const calls = callLog().calls();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(calls[calls.size() - 3], "FrameworkListener registered");
    EXPECT_EQ(calls[calls.size() - 2], update);
    EXPECT_EQ(calls[calls.size() - 1], "FrameworkListener unregistering");
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SetupFramework, UpdatesTheSameConfigurationWithIdenticalPropertiesWhenCalledAgain) {
    auto const admin = provideConfigurationAdmin();
    setupFramework();
    setupFramework();
    EXPECT_THAT(admin->calls(), ElementsAre(get, update, get, update));
    EXPECT_EQ(describe(admin->updates().back().properties), legacyConfiguration);
}

TEST_F(SetupFramework, DoesNothingFurtherWithoutAConfigurationAdmin) {
    EXPECT_NO_THROW(setupFramework());
    EXPECT_EQ(callLog().calls().back(), "getFramework");
}

TEST_F(SetupFramework, DoesNothingWithoutAFramework) {
    fakeHost().setFramework(nullptr);
    EXPECT_NO_THROW(setupFramework());
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework", "getFramework"));
}

TEST_F(SetupFramework, PassesWhatStartingThrows) {
    auto const admin = provideConfigurationAdmin();
    callLog().when(installationCalls.front(), [] { throw 42; });
    EXPECT_THROW(setupFramework(), int);
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SetupFramework, PassesWhatPublishingThrowsAndReleasesWhatItBuilt) {
    auto const admin = provideConfigurationAdmin();
    callLog().when(update, [] { throw 42; });
    EXPECT_THROW(setupFramework(), int);
    EXPECT_THAT(admin->calls(), ElementsAre(get, update));
    EXPECT_EQ(registeredListeners(), 0U);
}

TEST_F(SetupFramework, LogsNothing) {
    provideConfigurationAdmin();
    setupFramework();
    EXPECT_THAT(log.records(), IsEmpty());
}

} // namespace
} // namespace agent::spf::frameworksetup::test
