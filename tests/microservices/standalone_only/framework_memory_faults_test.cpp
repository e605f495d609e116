// A framework that runs out of memory while it stops or tells of what happens. Only the standalone provider
// promises that it does both all the same.
#include "FrameworkFixture.hpp"
#include "failEachAllocation.hpp"
#include "support/AllocationFailure.hpp"

#include <cppmicroservices/Constants.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace cppmicroservices;
using agent::spf::frameworksetup::test::AllocationFailure;
using agent::spf::frameworksetup::test::AllocationFailureOfThread;
using testing::ElementsAre;

namespace {

using EventTypes = std::vector<BundleEvent::Type>;

// Needs no memory to record the events that one thread at a time tells it of, a few until they are taken.
class EventRecorder {
public:
    EventRecorder() { told_.reserve(room); }
    void add(BundleEvent const& event) {
        if (told_.size() < room) {
            told_.push_back(event.GetType());
        }
    }
    EventTypes take() {
        EventTypes told(told_);
        told_.clear();
        return told;
    }

private:
    static constexpr std::size_t room = 20;
    EventTypes told_;
};

BundleListener recording(EventRecorder& recorder) {
    return [&recorder](BundleEvent const& event) { recorder.add(event); };
}

void throwing(BundleEvent const& /*event*/) {
    throw std::runtime_error("a listener of bundles");
}

class FrameworkStopMemoryFaults : public FrameworkTest {
protected:
    // Starts the framework and a bundle whose activator throws when it stops; adds the recorder and listeners
    // that throw.
    static void startAll(Framework framework, EventRecorder& recorder) {
        framework.Start();
        auto context = framework.GetBundleContext();
        context.InstallBundles(locationOf("throws_on_stop")).at(0).Start();
        context.AddBundleListener(throwing);
        context.AddBundleListener(recording(recorder));
        context.AddBundleListener(throwing);
    }

    static auto isWholeStop() {
        return ElementsAre(BundleEvent::BUNDLE_STOPPING, // the framework's
                           BundleEvent::BUNDLE_STOPPING, BundleEvent::BUNDLE_STOPPED);
    }
};

class FrameworkMemoryFaults : public FrameworkStopMemoryFaults,
                              public testing::WithParamInterface<AllocationFailure::Duration> {
protected:
    // What listeners are told of a start that has succeeded, failed or not begun.
    static EventTypes eventsOfStart(Bundle const& bundle, bool begun) {
        if (bundle.GetState() == Bundle::STATE_ACTIVE) {
            return {BundleEvent::BUNDLE_STARTING, BundleEvent::BUNDLE_STARTED};
        }
        return begun ? EventTypes{BundleEvent::BUNDLE_STARTING, BundleEvent::BUNDLE_STOPPING,
                                  BundleEvent::BUNDLE_STOPPED}
                     : EventTypes{};
    }
};

} // namespace

TEST_P(FrameworkMemoryFaults, WhoeverHoldsItLastTheFrameworkStopsItsBundlesWhicheverAllocationFails) {
    EventRecorder recorder;
    failEachAllocation([&](std::size_t n) {
        auto framework = std::make_unique<Framework>(FrameworkFactory().NewFramework());
        startAll(*framework, recorder);
        recorder.take();
        auto const failed = runsOutOfMemoryAt(n, GetParam(), [&] { framework.reset(); });
        EXPECT_THAT(recorder.take(), isWholeStop());
        return failed;
    });
}

TEST_P(FrameworkMemoryFaults, AStopBeginsOrChangesNothingWhicheverAllocationFails) {
    EventRecorder recorder;
    stopFramework(); // the next stop waits for the thread of this one
    auto const count = failEachAllocation([&](std::size_t n) {
        startAll(framework_, recorder);
        recorder.take();
        auto const failed = runsOutOfMemoryAt(n, GetParam(), [this] {
            try {
                framework_.Stop();
            } catch (std::bad_alloc const&) {
                EXPECT_EQ(framework_.GetState(), Bundle::STATE_ACTIVE);
            }
        });
        stopFramework();
        EXPECT_THAT(recorder.take(), isWholeStop());
        return failed;
    });
    EXPECT_GT(count, 1U);
}

TEST_F(FrameworkStopMemoryFaults, AStopThatHasBegunStopsTheBundlesWhicheverAllocationFails) {
    EventRecorder recorder;
    auto const count = failEachAllocation([&](std::size_t n) {
        startAll(framework_, recorder);
        recorder.take();
        AllocationFailureOfThread const failure(n);
        stopFramework();
        EXPECT_THAT(recorder.take(), isWholeStop());
        return failure.happened();
    });
    EXPECT_GT(count, 5U); // what is reported needs memory
}

TEST_P(FrameworkMemoryFaults, BundleListenersAreToldOfAStopWhicheverAllocationFails) {
    EventRecorder recorder;
    auto bundle = install("registers_service");
    bundle.Start();
    bundle.Stop();
    failEachAllocation([&](std::size_t n) {
        bundle.Start();
        auto newest = context().AddBundleListener(recording(recorder)); // no earlier event was for this one
        auto const failed = runsOutOfMemoryAt(n, GetParam(), [&] { bundle.Stop(); });
        EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
        EXPECT_THAT(recorder.take(), ElementsAre(BundleEvent::BUNDLE_STOPPING, BundleEvent::BUNDLE_STOPPED));
        context().RemoveListener(std::move(newest));
        return failed;
    });
}

TEST_P(FrameworkMemoryFaults, BundleListenersAreToldOfAStartWhicheverAllocationFails) {
    EventRecorder recorder;
    auto bundle = install("registers_service");
    bundle.Start();
    bundle.Stop();
    failEachAllocation([&](std::size_t n) {
        auto newest = context().AddBundleListener(recording(recorder));
        auto const failed = runsOutOfMemoryAt(n, GetParam(), [&] {
            try {
                bundle.Start();
            } catch (std::exception const&) {
            }
        });
        auto const told = recorder.take();
        EXPECT_EQ(told, eventsOfStart(bundle, !told.empty()));
        bundle.Stop();
        recorder.take();
        context().RemoveListener(std::move(newest));
        return failed;
    });
}

TEST_P(FrameworkMemoryFaults, BundleListenersAreToldOfAnInstallationWhicheverAllocationFails) {
    EventRecorder recorder;
    failEachAllocation([&](std::size_t n) {
        auto newest = context().AddBundleListener(recording(recorder));
        std::vector<Bundle> installed;
        auto const failed = runsOutOfMemoryAt(n, GetParam(), [&] {
            try {
                installed = context().InstallBundles(locationOf("registers_service"));
            } catch (std::exception const&) {
            }
        });
        EXPECT_EQ(recorder.take(), EventTypes(installed.size(), BundleEvent::BUNDLE_INSTALLED));
        for (auto& bundle : installed) {
            bundle.Uninstall();
        }
        recorder.take();
        context().RemoveListener(std::move(newest));
        return failed;
    });
}

// There may be no memory for the report on what they throw.
TEST_P(FrameworkMemoryFaults, BundleListenersAreToldWhateverOthersThrowWhicheverAllocationFails) {
    EventRecorder recorder;
    auto bundle = install("manifest_only");
    bundle.Start();
    context().AddBundleListener(throwing);
    context().AddBundleListener(recording(recorder));
    context().AddBundleListener(throwing);
    auto const count = failEachAllocation([&](std::size_t n) {
        recorder.take();
        auto const failed = runsOutOfMemoryAt(n, GetParam(), [&] { bundle.Stop(); });
        EXPECT_THAT(recorder.take(), ElementsAre(BundleEvent::BUNDLE_STOPPING, BundleEvent::BUNDLE_STOPPED));
        bundle.Start();
        return failed;
    });
    EXPECT_GT(count, 3U);
    stopFramework(); // while there is the recorder
}

// There may be no memory for the line on what they throw.
TEST_P(FrameworkMemoryFaults, FrameworkListenersAreToldWhateverOthersThrowWhicheverAllocationFails) {
    std::vector<int> told(3);
    std::ostringstream log;
    Framework framework =
        FrameworkFactory().NewFramework(FrameworkConfiguration{{Constants::FRAMEWORK_LOG, true}}, &log);
    framework.Start();
    auto context = framework.GetBundleContext();
    for (auto& count : told) {
        context.AddFrameworkListener([&count](FrameworkEvent const&) {
            ++count;
            throw std::runtime_error("a listener of the framework");
        });
    }
    context.AddBundleListener(throwing);
    auto bundle = context.InstallBundles(locationOf("manifest_only")).at(0);
    auto const count = failEachAllocation([&](std::size_t n) {
        bundle.Start();
        auto const failed = runsOutOfMemoryAt(n, GetParam(), [&] { bundle.Stop(); });
        EXPECT_THAT(told, testing::Each(told.front()));
        return failed;
    });
    EXPECT_GT(count, 3U);
}

INSTANTIATE_TEST_SUITE_P(Durations, FrameworkMemoryFaults,
                         testing::Values(AllocationFailure::Duration::Once,
                                         AllocationFailure::Duration::Lasting),
                         [](auto const& duration) {
                             return duration.param == AllocationFailure::Duration::Once ? "Once" : "Lasting";
                         });
