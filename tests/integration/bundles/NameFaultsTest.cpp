// Discovery names while a thread that deals with them has no memory at one moment.
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BundlesTest.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectoryDiscovery.hpp"
#include "support/AllocationFailure.hpp"

namespace {

using namespace bundles_test;
using agent::spf::bundles::discovery::RuntimeDirectoryDiscovery;
using agent::spf::frameworksetup::test::AllocationFailure;
using agent::spf::frameworksetup::test::AllocationFailureOfThread;

class NameFaults : public testing::Test {
protected:
    auto resolve(RuntimeDirectoryDiscovery& discovery) {
        return discovery.resolve("name",
                                 [told = told_](auto const& endpoint) { told->add(endpoint.value_or("-")); });
    }

    TemporaryDirectory directory_;
    std::filesystem::path const path_ = directory_.path() / "runtime";
    std::shared_ptr<Record<std::string>> const told_ = std::make_shared<Record<std::string>>();
};

std::ptrdiff_t openFiles() {
    using Files = std::filesystem::directory_iterator;
    return std::distance(Files("/proc/self/fd"), Files());
}

TEST_F(NameFaults, ALookOutThatCannotBeginForWantOfMemoryIsToldNothing) {
    RuntimeDirectoryDiscovery discovery(path_);
    auto const announcement = discovery.announce("name", "unix:/a");
    std::unique_ptr<agent::spf::bundles::DiscoveryService::Handle> handle;
    std::size_t n = 0;
    while (!handle) {
        try {
            AllocationFailure const failure(++n);
            handle = resolve(discovery);
        } catch (std::bad_alloc const&) {
            // Next time, perhaps.
        }
    }
    EXPECT_GT(n, 1U);
    EXPECT_TRUE(told_->waitFor("unix:/a"));
    EXPECT_EQ(told_->values().size(), 1U);
}

TEST_F(NameFaults, AWatchThatCannotBeginForWantOfMemoryLeavesNoFileOpen) {
    std::size_t n = 0;
    std::size_t looks = 0;
    for (bool failed = true; failed && !HasFailure();) {
        RuntimeDirectoryDiscovery discovery(path_);
        auto const before = openFiles();
        AllocationFailureOfThread const failure("spf-discovery", ++n);
        try {
            auto const handle = resolve(discovery);
            EXPECT_TRUE(told_->waitFor("-", ++looks));
        } catch (std::bad_alloc const&) {
            // The look-out has not begun.
        }
        failed = failure.happened();
        discovery.stop();
        EXPECT_EQ(openFiles(), before) << "allocation " << n;
    }
    EXPECT_GT(looks, 5U);
}

// Whether a modification is published and its name connected, or there is an error. Needs no memory.
class Outcome : public agent::spf::frameworklistener::FrameworkListener {
public:
    enum class Kind { None, Connected, Error };

    void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event> event) override {
        using namespace agent::spf::frameworklistener;
        std::lock_guard const lock(mutex_);
        if (event->eventType == EventType::FrameworkErrorEvent) {
            error_ = static_cast<FrameworkErrorEvent const&>(*event).modificationCount;
        } else if (event->eventType == EventType::RouterEvent) {
            auto const& ofRouter = static_cast<RouterEvent const&>(*event);
            auto& latest = ofRouter.kind == RouterEvent::Kind::Connected ? connected_ : bound_;
            latest = ofRouter.modificationCount;
        } else if (auto const& ofFramework = static_cast<FrameworkEvent const&>(*event);
                   ofFramework.kind == FrameworkEvent::Kind::AllServicesPublished &&
                   ofFramework.name == "s") {
            published_ = ofFramework.modificationCount;
        }
        changed_.notify_all();
    }

    // Of this modification; waits for it.
    Kind of(std::uint32_t count) const {
        std::unique_lock lock(mutex_);
        auto const isConnected = [&] {
            return bound_ == count && published_ == count && connected_ == count;
        };
        changed_.wait_for(lock, patience, [&] { return isConnected() || error_ == count; });
        return isConnected() ? Kind::Connected : error_ == count ? Kind::Error : Kind::None;
    }

private:
    mutable std::mutex mutex_; // guards what follows: the latest modification of which each was told
    mutable std::condition_variable changed_;
    std::uint32_t bound_ = 0;
    std::uint32_t published_ = 0;
    std::uint32_t connected_ = 0;
    std::uint32_t error_ = 0;
};

class NamesAtWork : public BundlesTest, public testing::WithParamInterface<char const*> {
protected:
    NamesAtWork() {
        installation_.context().RegisterService<agent::spf::frameworklistener::FrameworkListener>(outcome_);
    }

    Outcome::Kind publish() {
        installation_.publish("one", ConfigurationMap(++count_)
                                         .legacyPublisher("s", {"name"})
                                         .legacyPublisher("c", {}, {"name"})
                                         .build());
        return outcome_->of(static_cast<std::uint32_t>(count_));
    }

    void withdraw() { installation_.publish("one", ConfigurationMap(++count_).build()); }

    std::shared_ptr<Outcome> const outcome_ = std::make_shared<Outcome>();
    int count_ = 0;
};

TEST_P(NamesAtWork, AreConnectedOrAnErrorWhicheverAllocationFailsAndLaterOnesConnected) {
    std::size_t n = 0;
    for (bool happened = true; happened && !HasFailure();) {
        SCOPED_TRACE(testing::Message() << "allocation " << ++n);
        {
            AllocationFailureOfThread const failure(GetParam(), n);
            EXPECT_NE(publish(), Outcome::Kind::None);
            happened = failure.happened();
        }
        withdraw();
        EXPECT_EQ(publish(), Outcome::Kind::Connected);
        withdraw();
    }
}

INSTANTIATE_TEST_SUITE_P(Threads, NamesAtWork,
                         testing::Values("spf-discovery", "spf-legacy", "spf-framework"),
                         [](auto const& thread) { return std::string(thread.param).substr(4); });

} // namespace
