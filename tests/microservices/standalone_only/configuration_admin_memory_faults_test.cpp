// What runs out of memory. Only the standalone Configuration Admin promises that a change that does holds up
// no later one, and that its bundle leaves nothing behind.
#include "ConfigurationAdminFixture.hpp"
#include "failEachAllocation.hpp"
#include "givenManifests.hpp"
#include "support/AllocationFailure.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>
#include <iterator>
#include <new>
#include <thread>

using agent::spf::frameworksetup::test::AllocationFailure;
using agent::spf::frameworksetup::test::AllocationFailureOfThread;

namespace configuration_admin_test {

namespace {

// Counts one that was waited for to end for a moment longer.
std::ptrdiff_t threadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

// Before a test begins any: one, and another one that a sanitizer may have.
std::ptrdiff_t const threadsAtFirst = threadCount();

} // namespace

class ConfigurationAdminMemoryFaults : public ConfigurationAdminTest {
protected:
    static AnyMap mapOf(std::initializer_list<AnyMap::value_type> entries) {
        return {AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, entries};
    }

    // Brings along one configuration.
    cppmicroservices::Bundle installWith(std::string const& pid, AnyMap const& properties) {
        auto headers = givenHeaders("given");
        auto const configuration = mapOf({{"pid", pid}, {"properties", properties}});
        headers["cm"] = mapOf({{"version", 1}, {"configurations", std::vector<Any>{configuration}}});
        return context_
            .InstallBundles(SPF_TEST_BUNDLE_DIRECTORY "/test_manifest_only.so", mapOf({{"given", headers}}))
            .at(0);
    }

    static bool noThreadIsLeft() {
        auto const end = std::chrono::steady_clock::now() + failureGuard;
        while (threadCount() != threadsAtFirst && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        return threadCount() == threadsAtFirst;
    }

    // Whether `call`, which may throw, has an n-th allocation. That one fails, or all from there on.
    template <class Call>
    static bool runsOutOfMemoryAt(std::size_t n, AllocationFailure::Duration duration, Call const& call) {
        return ::runsOutOfMemoryAt(n, duration, [&call] {
            try {
                call();
            } catch (std::exception const&) {
            }
        });
    }

    // Calls `fails(n, duration)` for each n from 1 until there is no n-th allocation to fail.
    template <class Fails>
    static void failEachAllocation(Fails const& fails) {
        for (auto const duration :
             {AllocationFailure::Duration::Once, AllocationFailure::Duration::Lasting}) {
            EXPECT_GT(::failEachAllocation([&](std::size_t n) { return fails(n, duration); }), 5U);
        }
    }
};

// What is kept of an update grows now and then only, so each allocation fails often.
TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfAnUpdateFailsLaterOnesAreDelivered) {
    constexpr int updates = 200;
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    auto const count = ::failEachAllocation([&](std::size_t n) {
        auto failed = false;
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
        return failed;
    });
    EXPECT_GT(count, 5U);
}

TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfAnUpdateFailsItChangesNothingOrIsDelivered) {
    auto const service = registerService("pid");
    auto const configuration = admin_->GetConfiguration("pid");
    auto expected = 0;
    configuration->Update(numbered(expected)).get();
    ::failEachAllocation([&](std::size_t n) {
        auto failed = false;
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
        return failed;
    });
}

TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfARemovalFailsItChangesNothingOrIsDelivered) {
    auto const factory = registerFactory("factory");
    ::failEachAllocation([&](std::size_t n) {
        auto failed = false;
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
        return failed;
    });
}

// What was stored before the memory ran out is not forgotten.
TEST_F(ConfigurationAdminMemoryFaults,
       WhicheverAllocationOfAStartFailsTheManifestsConfigurationsGoWithTheBundle) {
    auto bundle = context_.InstallBundles(SPF_TEST_BUNDLE_DIRECTORY "/test_brings_configurations.so").at(0);
    bundle.Start(); // loads the library
    bundle.Stop();
    failEachAllocation([&](std::size_t n, AllocationFailure::Duration duration) {
        auto const failed = runsOutOfMemoryAt(n, duration, [&bundle] { bundle.Start(); });
        bundle.Stop();
        EXPECT_THAT(admin_->ListConfigurations(), testing::IsEmpty());
        return failed;
    });
}

TEST_F(ConfigurationAdminMemoryFaults,
       WhicheverAllocationOfItsStartFailsTheBundleLeavesNoThreadAndUsesNothing) {
    auto const service = registerService("pid");
    installWith("pid", numbered(1)).Start();
    admin_.reset();
    bundle_.Stop();
    failEachAllocation([&](std::size_t n, AllocationFailure::Duration duration) {
        auto const failed = runsOutOfMemoryAt(n, duration, [this] { bundle_.Start(); });
        if (bundle_.GetState() == cppmicroservices::Bundle::STATE_ACTIVE) {
            bundle_.Stop();
        } else {
            EXPECT_TRUE(failed);
        }
        EXPECT_TRUE(noThreadIsLeft());
        EXPECT_FALSE(findAdmin());
        EXPECT_THAT(bundle_.GetServicesInUse(), testing::IsEmpty());
        if (auto const numbers = service->numbers();
            duration == AllocationFailure::Duration::Once && !numbers.empty()) {
            EXPECT_EQ(numbers.back(), -1); // told that its configuration is gone
        }
        return failed;
    });
}

TEST_F(ConfigurationAdminMemoryFaults,
       WhicheverAllocationOfItsStopFailsTheBundleLeavesNoThreadAndUsesNothing) {
    registerService("throwing", [](AnyMap const& properties) {
        if (properties.empty()) {
            throw 5;
        }
    });
    registerService("recording");
    bundle_.Stop();
    testing::internal::CaptureStderr();
    failEachAllocation([&](std::size_t n, AllocationFailure::Duration duration) {
        bundle_.Start();
        for (auto const* const pid : {"recording", "throwing"}) {
            findAdmin()->GetConfiguration(pid)->Update(numbered(1)).get();
        }
        auto const failed = runsOutOfMemoryAt(n, duration, [this] { bundle_.Stop(); });
        EXPECT_EQ(bundle_.GetState(), cppmicroservices::Bundle::STATE_RESOLVED);
        EXPECT_TRUE(noThreadIsLeft());
        EXPECT_FALSE(findAdmin());
        EXPECT_THAT(bundle_.GetServicesInUse(), testing::IsEmpty());
        return failed;
    });
    testing::internal::GetCapturedStderr();
}

TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfAStopFailsTheManifestsConfigurationsGo) {
    registerListener(); // is told of it, if there is memory for that
    auto bundle = installWith("pid", numbered(1));
    failEachAllocation([&](std::size_t n, AllocationFailure::Duration duration) {
        bundle.Start();
        EXPECT_EQ(admin_->ListConfigurations().size(), 1U);
        auto const failed = runsOutOfMemoryAt(n, duration, [&bundle] { bundle.Stop(); });
        EXPECT_EQ(bundle.GetState(), cppmicroservices::Bundle::STATE_RESOLVED);
        EXPECT_THAT(admin_->ListConfigurations(), testing::IsEmpty());
        return failed;
    });
}

// Nothing half-made is left that would be taken for a client's.
TEST_F(ConfigurationAdminMemoryFaults,
       ManifestsConfigurationThatCouldNotBeStoredIsNewWhenTheBundleStartsAgain) {
    auto bundle = installWith("pid", mapOf({}));
    failEachAllocation([&](std::size_t n, AllocationFailure::Duration duration) {
        auto const failed = runsOutOfMemoryAt(n, duration, [&bundle] { bundle.Start(); });
        bundle.Stop();
        EXPECT_THAT(admin_->ListConfigurations(), testing::IsEmpty());
        bundle.Start();
        EXPECT_EQ(admin_->GetConfiguration("pid")->GetChangeCount(), 1U);
        bundle.Stop();
        return failed;
    });
}

TEST_F(ConfigurationAdminMemoryFaults, WhicheverAllocationOfADeliveryFailsLaterOnesHappen) {
    std::string const pid(100, 'p');
    registerService(pid);
    auto const listener = registerListener();
    auto const configuration = admin_->GetConfiguration(pid);
    configuration->Update(numbered(0)).get();
    testing::internal::CaptureStderr();
    auto const count = ::failEachAllocation([&](std::size_t n) {
        auto failed = false;
        {
            AllocationFailureOfThread const failure(n);
            EXPECT_TRUE(becomesReady(configuration->Update(numbered(1))));
            failed = failure.happened();
        }
        auto const before = listener->events.values().size();
        EXPECT_TRUE(becomesReady(configuration->Update(numbered(2))));
        EXPECT_EQ(listener->events.values().size(), before + 1);
        return failed;
    });
    testing::internal::GetCapturedStderr();
    EXPECT_GT(count, 2U);
}

// It could tell nobody that there is none. There are so many of them that what is allocated now and then is,
// too.
TEST_F(ConfigurationAdminMemoryFaults, BetweenTheDeliveriesOfAConfigurationItsThreadNeedsNoMemory) {
    static constexpr int updates = 1000;
    struct Counting : ManagedService {
        void Updated(AnyMap const& /*properties*/) override {
            started.pass();
            ++told;
        }
        Gate started;
        std::atomic<int> told{0};
    };
    auto const service = std::make_shared<Counting>();
    registerFor<ManagedService>("pid", service);
    auto const configuration = admin_->GetConfiguration("pid");
    auto last = configuration->Update(numbered(1)); // this one waits, so that the others queue up
    for (int i = 1; i < updates; ++i) {
        last = configuration->Update(numbered(1));
    }
    AllocationFailureOfThread const failure(1);
    service->started.open();
    EXPECT_TRUE(becomesReady(last));
    EXPECT_EQ(service->told, updates);
    EXPECT_FALSE(failure.happened());
}

} // namespace configuration_admin_test
