// Changes that run out of memory. Only the standalone Configuration Admin promises that they hold up no later
// one.
#include "ConfigurationAdminFixture.hpp"
#include "support/AllocationFailure.hpp"

#include <exception>
#include <new>

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

TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfAnUpdateFailsItChangesNothingOrIsDelivered) {
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    auto expected = 0;
    configuration->Update(numbered(expected)).get();
    auto failed = true;
    for (std::size_t n = 1; failed && !HasFailure(); ++n) {
        SCOPED_TRACE(n);
        auto const number = static_cast<int>(n);
        auto const changes = configuration->GetChangeCount();
        auto const properties = numbered(number);
        {
            AllocationFailure const failure(n);
            try {
                configuration->Update(properties);
                expected = number;
            } catch (std::bad_alloc const&) {
                EXPECT_EQ(configuration->GetChangeCount(), changes);
            }
            failed = failure.happened();
        }
        EXPECT_EQ(numberIn(configuration->GetProperties()), expected);
        EXPECT_TRUE(becomesReady(configuration->Update(numbered(expected)))); // behind what was delivered
        EXPECT_EQ(service->numbers().size(), configuration->GetChangeCount());
    }
}

TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfARemovalFailsItChangesNothingOrIsDelivered) {
    auto const factory = registerFactory("factory");
    auto failed = true;
    for (std::size_t n = 1; failed && !HasFailure(); ++n) {
        SCOPED_TRACE(n);
        auto const configuration = admin_->CreateFactoryConfiguration("factory");
        auto const pid = configuration->GetPid();
        configuration->Update(numbered(1)).get();
        std::shared_future<void> removal;
        {
            AllocationFailure const failure(n);
            try {
                removal = configuration->Remove();
            } catch (std::bad_alloc const&) {
            }
            failed = failure.happened();
        }
        if (!removal.valid()) {
            EXPECT_EQ(numberIn(configuration->GetProperties()), 1);
            removal = configuration->Remove();
        }
        EXPECT_TRUE(becomesReady(removal));
        EXPECT_EQ(factory->calls.values().back(), (RecordingFactory::Call{pid, RecordingFactory::removed}));
    }
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
