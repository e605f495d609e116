// Withdrawal of a published configuration.
#include "model/removeFromConfigurationAdmin.hpp"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/HostTest.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RemoveFromConfigurationAdmin : public HostTest {
protected:
    static constexpr char const* get = "GetFactoryConfiguration qo.spf.framework id";
    static constexpr char const* remove = "Remove qo.spf.framework~id";
};

TEST_F(RemoveFromConfigurationAdmin, LogsThenGetsTheConfigurationThenRemovesIt) {
    provideConfigurationAdmin();
    removeFromConfigurationAdmin("id");
    EXPECT_THAT(callLog().calls(),
                ElementsAre("getFramework", "log About to remove spf configuration for id", get, remove));
    EXPECT_THAT(log.records(), ElementsAre(libraryRecord(4, "About to remove spf configuration for id")));
}

TEST_F(RemoveFromConfigurationAdmin, AsksNobodyForAnEmptyID) {
    provideConfigurationAdmin();
    removeFromConfigurationAdmin("");
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(RemoveFromConfigurationAdmin, IsSilentWithoutAFramework) {
    fakeHost().setFramework(nullptr);
    EXPECT_NO_THROW(removeFromConfigurationAdmin("id"));
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework"));
}

TEST_F(RemoveFromConfigurationAdmin, IsSilentWithoutAConfigurationAdmin) {
    EXPECT_NO_THROW(removeFromConfigurationAdmin("id"));
    EXPECT_THAT(callLog().calls(), ElementsAre("getFramework"));
}

TEST_F(RemoveFromConfigurationAdmin, SaysThatTheContextOfAStoppedFrameworkIsNoLongerValid) {
    provideConfigurationAdmin();
    stopFramework();
    try {
        removeFromConfigurationAdmin("id");
        FAIL() << "nothing was thrown";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "The bundle context is no longer valid");
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(RemoveFromConfigurationAdmin, DoesNotWaitForTheRemoval) {
    auto const admin = provideConfigurationAdmin(); // its futures never become ready
    removeFromConfigurationAdmin("id");
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(RemoveFromConfigurationAdmin, PassesWhatGettingTheConfigurationThrows) {
    auto const admin = provideConfigurationAdmin();
    callLog().when(get, [] { throw 42; });
    EXPECT_THROW(removeFromConfigurationAdmin("id"), int);
    EXPECT_THAT(admin->calls(), ElementsAre(get));
}

TEST_F(RemoveFromConfigurationAdmin, PassesWhatRemovingThrows) {
    provideConfigurationAdmin();
    callLog().when(remove, [] { throw 42; });
    EXPECT_THROW(removeFromConfigurationAdmin("id"), int);
}

TEST_F(RemoveFromConfigurationAdmin, RemovesWithoutARecordWhenItsSeverityIsOff) {
    auto const admin = provideConfigurationAdmin();
    fakeHost().setEnabledSeverities(allSeverities & ~4U);
    removeFromConfigurationAdmin("id");
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

TEST_F(RemoveFromConfigurationAdmin, RemovesAlthoughLoggingThrows) {
    auto const admin = provideConfigurationAdmin();
    log.setThrowing(true);
    EXPECT_NO_THROW(removeFromConfigurationAdmin("id"));
    EXPECT_THAT(admin->calls(), ElementsAre(get, remove));
}

} // namespace
} // namespace agent::spf::frameworksetup::test
