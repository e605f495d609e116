// What happens to configurations and deliveries when Configuration Admin or the framework stops.
#include "ConfigurationAdminFixture.hpp"

#include <atomic>

namespace configuration_admin_test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ConfigurationAdminStop : public ConfigurationAdminTest {};

TEST_F(ConfigurationAdminStop, UnregistersTheService) {
    bundle_.Stop();
    EXPECT_FALSE(findAdmin());
}

TEST_F(ConfigurationAdminStop, OfTheFrameworkWaitsForADeliveryThatRuns) {
    Gate gate;
    auto const returned = std::make_shared<std::atomic<bool>>(false);
    auto const service = registerService("pid", [gate, returned](AnyMap const&) {
        gate.pass();
        *returned = true;
    });
    auto const delivered = admin_->GetConfiguration("pid")->Update(numbered(1));
    ASSERT_TRUE(service->updates.reaches(1));
    framework_.Stop();
    gate.open();
    framework_.WaitForStop(std::chrono::milliseconds::zero());
    EXPECT_TRUE(becomesReady(delivered));
    EXPECT_TRUE(*returned);
}

TEST_F(ConfigurationAdminStop, LeavesHandlesThatCanBeRead) {
    auto const configuration = admin_->GetConfiguration("pid");
    configuration->Update(numbered(1)).get();
    bundle_.Stop();
    EXPECT_EQ(configuration->GetPid(), "pid");
    EXPECT_EQ(configuration->GetProperties(), numbered(1));
}

TEST_F(ConfigurationAdminStop, ForgetsTheConfigurations) {
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    bundle_.Stop();
    bundle_.Start();
    auto const service = registerService("pid");
    auto const restarted = findAdmin();
    ASSERT_TRUE(restarted);
    EXPECT_THAT(restarted->ListConfigurations(), IsEmpty());
    restarted->GetConfiguration("pid")->Update(numbered(2)).get();
    EXPECT_THAT(service->numbers(), ElementsAre(2));
}

} // namespace configuration_admin_test
