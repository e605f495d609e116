// Changes that run out of memory. Only the standalone Configuration Admin promises that they hold up no later
// one.
#include "ConfigurationAdminFixture.hpp"
#include "support/AllocationFailure.hpp"

#include <exception>
#include <new>
#include <string>

using agent::spf::frameworksetup::test::AllocationFailure;

namespace configuration_admin_test {

using ConfigurationAdminMemoryFaults = ConfigurationAdminTest;

// What is kept of an update grows now and then only, so each allocation fails often.
TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfAnUpdateFailsLaterOnesAreDelivered) {
    constexpr int updates = 200;
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    std::size_t n = 0;
    auto failed = true;
    while (failed && !HasFailure()) {
        ++n;
        SCOPED_TRACE(n);
        failed = false;
        for (int i = 0; i < updates; ++i) {
            auto const properties = numbered(i);
            AllocationFailure const failure(n);
            try {
                configuration->Update(properties);
            } catch (std::bad_alloc const&) {
            }
            failed = failed || failure.happened();
        }
        EXPECT_TRUE(becomesReady(configuration->Update(numbered(updates))));
        EXPECT_EQ(service->numbers().back(), updates);
    }
    EXPECT_GT(n, 5U);
}

// What was stored before the memory ran out is not forgotten.
TEST_F(ConfigurationAdminMemoryFaults,
       WhicheverAllocationOfAStartFailsTheManifestsConfigurationsGoWithTheBundle) {
    auto bundle = context_.InstallBundles(SPF_TEST_BUNDLE_DIRECTORY "/test_brings_configurations.so").at(0);
    bundle.Start(); // loads the library
    bundle.Stop();
    std::size_t n = 0;
    auto failed = true;
    while (failed && !HasFailure()) {
        ++n;
        SCOPED_TRACE(n);
        {
            AllocationFailure const failure(n);
            try {
                bundle.Start();
            } catch (std::exception const&) {
            }
            failed = failure.happened();
        }
        bundle.Stop();
        EXPECT_THAT(admin_->ListConfigurations(), testing::IsEmpty());
    }
    EXPECT_GT(n, 10U);
}

} // namespace configuration_admin_test
