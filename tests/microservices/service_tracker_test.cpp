// Service trackers.
#include "FrameworkFixture.hpp"
#include "waitUntilAsleep.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceTracker.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include <unistd.h>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace trackertest {
struct Service {};
struct Other {};
struct Tracked {};
} // namespace trackertest

using namespace trackertest;

namespace {

using Registration = ServiceRegistration<Service>;

// Records its calls and does what it is told.
class Customizer : public ServiceTrackerCustomizer<Service, Tracked> {
public:
    std::shared_ptr<Tracked> AddingService(ServiceReference<Service> const&) override {
        calls.add("adding");
        onAdding();
        return result;
    }
    void ModifiedService(ServiceReference<Service> const&, std::shared_ptr<Tracked> const& object) override {
        calls.add(object == result ? "modified" : "modified another");
    }
    void RemovedService(ServiceReference<Service> const&, std::shared_ptr<Tracked> const& object) override {
        calls.add(object == result ? "removed" : "removed another");
        onRemoved();
    }

    TextRecorder calls;
    std::shared_ptr<Tracked> result = std::make_shared<Tracked>();
    std::function<void()> onAdding = [] {};
    std::function<void()> onRemoved = [] {};
};

class ServiceTrackerTest : public FrameworkTest {
protected:
    Registration registerService(ServiceProperties const& properties = {}) {
        return context().RegisterService<Service>(std::make_shared<Service>(), properties);
    }

    using CustomTracker = ServiceTracker<Service, Tracked>;
    Customizer customizer_;
};

} // namespace

TEST_F(ServiceTrackerTest, ClosedTrackerTracksNothing) {
    auto const registration = registerService();
    ServiceTracker<Service> tracker(context());
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_TRUE(tracker.IsEmpty());
    EXPECT_EQ(tracker.GetService(), nullptr);
    EXPECT_THAT(tracker.GetServiceReferences(), IsEmpty());
    EXPECT_EQ(messageOf<ServiceException>([&tracker] { tracker.GetServiceReference(); }),
              "No service is being tracked");
    EXPECT_NO_THROW(tracker.Close());
}

TEST_F(ServiceTrackerTest, OpenTracksWhatIsRegisteredNowAndLater) {
    auto first = registerService();
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_FALSE(tracker.IsEmpty());
    auto const second = registerService();
    EXPECT_THAT(tracker.GetServiceReferences(),
                testing::UnorderedElementsAre(first.GetReference(), second.GetReference()));
    EXPECT_THAT(tracker.GetServices(), SizeIs(2));
    first.Unregister();
    EXPECT_THAT(tracker.GetServiceReferences(), ElementsAre(second.GetReference()));
    ServiceTracker<Service>::TrackingMap tracked;
    tracker.GetTracked(tracked);
    EXPECT_EQ(tracked.at(second.GetReference()), tracker.GetService());
}

TEST_F(ServiceTrackerTest, TrackedServiceIsUsed) {
    auto const registration = registerService();
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    EXPECT_THAT(registration.GetReference().GetUsingBundles(), ElementsAre(framework_));
    tracker.Close();
    EXPECT_THAT(registration.GetReference().GetUsingBundles(), IsEmpty());
}

TEST_F(ServiceTrackerTest, PreferredServiceFollowsRankingChanges) {
    auto first = registerService();
    auto second = registerService();
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    EXPECT_TRUE(tracker.GetServiceReference() == first.GetReference());
    second.SetProperties({{Constants::SERVICE_RANKING, 1}});
    EXPECT_TRUE(tracker.GetServiceReference() == second.GetReference());
    second.Unregister();
    EXPECT_TRUE(tracker.GetServiceReference() == first.GetReference());
}

TEST_F(ServiceTrackerTest, TrackingCountGrowsWithEveryChange) {
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    EXPECT_EQ(tracker.GetTrackingCount(), 0);
    auto registration = registerService();
    EXPECT_EQ(tracker.GetTrackingCount(), 1);
    registration.SetProperties({{"x", 1}});
    EXPECT_EQ(tracker.GetTrackingCount(), 2);
    registration.Unregister();
    EXPECT_EQ(tracker.GetTrackingCount(), 3);
}

TEST_F(ServiceTrackerTest, RemovedServiceIsTrackedAgainWhenItIsModified) {
    auto registration = registerService();
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    tracker.Remove(registration.GetReference());
    EXPECT_EQ(tracker.Size(), 0);
    registration.SetProperties({{"x", 1}});
    EXPECT_EQ(tracker.Size(), 1);
}

TEST_F(ServiceTrackerTest, TrackerByFilterFollowsTheProperties) {
    auto registration = registerService({{"x", 1}});
    ServiceTracker<void> tracker(context(), LDAPFilter("(x=1)"));
    tracker.Open();
    ASSERT_EQ(tracker.Size(), 1);
    EXPECT_NE(ExtractInterface<Service>(tracker.GetService()), nullptr);
    registration.SetProperties({{"x", 2}});
    EXPECT_EQ(tracker.Size(), 0);
    registration.SetProperties({{"x", 1}});
    EXPECT_EQ(tracker.Size(), 1);
}

TEST_F(ServiceTrackerTest, TrackerByReferenceTracksThatServiceOnly) {
    auto one = registerService();
    auto const other = registerService();
    ServiceTracker<Service> tracker(context(), one.GetReference());
    tracker.Open();
    EXPECT_THAT(tracker.GetServiceReferences(), ElementsAre(one.GetReference()));
    one.Unregister();
    EXPECT_TRUE(tracker.IsEmpty());
}

TEST_F(ServiceTrackerTest, TrackerByNameTracksTheServicesOfThatInterface) {
    auto const one = registerService();
    auto const other = context().RegisterService<Other>(std::make_shared<Other>());
    ServiceTracker<void> tracker(context(), "trackertest::Other");
    tracker.Open();
    EXPECT_THAT(tracker.GetServiceReferences(), ElementsAre(other.GetReference()));
}

TEST_F(ServiceTrackerTest, TrackerWithoutAnInterfaceIsRefused) {
    EXPECT_EQ(messageOf<ServiceException>([this] { ServiceTracker<void> tracker(context()); }),
              "The service interface class has no CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
}

TEST_F(ServiceTrackerTest, OpeningWithAnInvalidContextThrows) {
    ServiceTracker<Service> tracker{BundleContext()};
    EXPECT_EQ(messageOf<std::runtime_error>([&tracker] { tracker.Open(); }),
              "The bundle context is no longer valid");
}

TEST_F(ServiceTrackerTest, CustomizerDecidesWhatIsTracked) {
    auto registration = registerService();
    CustomTracker tracker(context(), &customizer_);
    tracker.Open();
    EXPECT_EQ(tracker.GetService(), customizer_.result);
    registration.SetProperties({{"x", 1}});
    registration.Unregister();
    EXPECT_THAT(customizer_.calls.take(), ElementsAre("adding", "modified", "removed"));
}

TEST_F(ServiceTrackerTest, ServiceForWhichTheCustomizerGivesNothingIsAskedForAgainWhenModified) {
    CustomTracker tracker(context(), &customizer_);
    tracker.Open();
    auto const object = std::exchange(customizer_.result, nullptr);
    auto registration = registerService();
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(tracker.GetTrackingCount(), 0);
    customizer_.result = object;
    registration.SetProperties({{"x", 1}});
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_THAT(customizer_.calls.take(), ElementsAre("adding", "adding"));
}

TEST_F(ServiceTrackerTest, CloseRemovesEveryService) {
    auto const one = registerService();
    auto const two = registerService();
    CustomTracker tracker(context(), &customizer_);
    tracker.Open();
    customizer_.calls.take();
    tracker.Close();
    EXPECT_THAT(customizer_.calls.take(), ElementsAre("removed", "removed"));
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    auto const three = registerService();
    EXPECT_THAT(customizer_.calls.take(), IsEmpty());
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 3);
}

TEST_F(ServiceTrackerTest, OpenOfAnOpenTrackerDoesNothing) {
    auto registration = registerService();
    CustomTracker tracker(context(), &customizer_);
    tracker.Open();
    tracker.Open();
    registration.SetProperties({{"x", 1}});
    EXPECT_THAT(customizer_.calls.take(), ElementsAre("adding", "modified"));
}

TEST_F(ServiceTrackerTest, DestructorCloses) {
    auto const registration = registerService();
    {
        CustomTracker tracker(context(), &customizer_);
        tracker.Open();
        customizer_.onRemoved = [] { throw std::runtime_error("dropped"); };
    }
    EXPECT_THAT(customizer_.calls.take(), ElementsAre("adding", "removed"));
}

TEST_F(ServiceTrackerTest, ExceptionsOfTheCustomizerReachTheCallerOrAreReported) {
    auto registration = registerService();
    CustomTracker tracker(context(), &customizer_);
    recordFrameworkEvents();
    customizer_.onAdding = [] { throw std::runtime_error("no adding today"); };
    EXPECT_EQ(messageOf<std::runtime_error>([&tracker] { tracker.Open(); }), "no adding today");
    registration.SetProperties({{"x", 1}});
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR system_bundle Service listener in system_bundle threw an exception!: "
                            "no adding today"));
    customizer_.onAdding = [] {};
    registration.SetProperties({{"x", 2}});
    EXPECT_EQ(tracker.Size(), 1);
    customizer_.onRemoved = [] { throw std::runtime_error("no removing today"); };
    EXPECT_EQ(messageOf<std::runtime_error>([&tracker] { tracker.Close(); }), "no removing today");
}

TEST_F(ServiceTrackerTest, DerivedTrackerCustomizesItself) {
    struct Derived : ServiceTracker<Service> {
        using ServiceTracker<Service>::ServiceTracker;
        ~Derived() override { Close(); }
        std::shared_ptr<Service> AddingService(ServiceReference<Service> const& reference) override {
            ++added;
            return ServiceTracker<Service>::AddingService(reference);
        }
        int added = 0;
    };
    auto const registration = registerService();
    Derived tracker(context());
    tracker.Open();
    EXPECT_EQ(tracker.added, 1);
    EXPECT_EQ(tracker.Size(), 1);
}

TEST_F(ServiceTrackerTest, CustomTypeWithoutCustomizerCannotBeMade) {
    auto const registration = registerService();
    CustomTracker tracker(context());
    EXPECT_EQ(messageOf<std::runtime_error>([&tracker] { tracker.Open(); }),
              "A custom ServiceTrackerCustomizer instance is required for custom tracked objects.");
}

TEST_F(ServiceTrackerTest, WaitReturnsATrackedServiceAtOnce) {
    auto const registration = registerService();
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    EXPECT_EQ(tracker.WaitForService(), tracker.GetService());
}

TEST_F(ServiceTrackerTest, WaitEndsWhenAServiceIsTracked) {
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    auto waiting =
        std::async(std::launch::async, [&tracker] { return tracker.WaitForService(failureTimeout); });
    auto const registration = registerService();
    EXPECT_NE(waiting.get(), nullptr);
}

class ServiceTrackerTimeoutTest : public ServiceTrackerTest, public testing::WithParamInterface<int> {};

TEST_P(ServiceTrackerTimeoutTest, WaitWithoutServiceLastsAtLeastTheTimeAndReturnsNothing) {
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    auto const timeout = std::chrono::microseconds(GetParam());
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(tracker.WaitForService(timeout), nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, timeout);
}

INSTANTIATE_TEST_SUITE_P(Microseconds, ServiceTrackerTimeoutTest, testing::Values(1, 1000, 20000));

TEST_F(ServiceTrackerTest, NegativeTimeIsRefused) {
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    EXPECT_EQ(
        messageOf<std::invalid_argument>([&] { tracker.WaitForService(std::chrono::milliseconds(-1)); }),
        "negative timeout");
}

TEST_F(ServiceTrackerTest, WaitOfAClosedTrackerReturnsNothingAtOnce) {
    ServiceTracker<Service> tracker(context());
    EXPECT_EQ(tracker.WaitForService(failureTimeout), nullptr);
}

TEST_F(ServiceTrackerTest, CloseEndsAWait) {
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    std::promise<pid_t> beginning;
    auto waiting = std::async(std::launch::async, [&] {
        beginning.set_value(::gettid());
        return tracker.WaitForService();
    });
    waitUntilAsleep(beginning.get_future().get());
    tracker.Close();
    ASSERT_EQ(waiting.wait_for(failureTimeout), std::future_status::ready);
    EXPECT_EQ(waiting.get(), nullptr);
}

TEST_F(ServiceTrackerTest, StopOfTheFrameworkEndsAWaitWithAnException) {
    ServiceTracker<Service> tracker(context());
    tracker.Open();
    std::promise<pid_t> beginning;
    auto waiting = std::async(std::launch::async, [&] {
        beginning.set_value(::gettid());
        return tracker.WaitForService();
    });
    waitUntilAsleep(beginning.get_future().get());
    stopFramework();
    ASSERT_EQ(waiting.wait_for(failureTimeout), std::future_status::ready);
    EXPECT_THROW(waiting.get(), std::logic_error);
    EXPECT_EQ(
        messageOf<std::logic_error>([&tracker] { tracker.WaitForService(std::chrono::milliseconds(1)); }),
        "The bundle context cannot be null.");
    EXPECT_NO_THROW(tracker.Close());
    EXPECT_THROW(tracker.Open(), std::runtime_error);
}

TEST_F(ServiceTrackerTest, CloseWaitsForTheCallThatAnotherThreadIsIn) {
    CustomTracker tracker(context(), &customizer_);
    tracker.Open();
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};
    customizer_.onAdding = [&] {
        entered.set_value();
        mayLeave.get_future().wait();
        left = true;
    };
    auto registering = std::async(std::launch::async, [this] { return registerService(); });
    entered.get_future().wait();
    auto closing = std::async(std::launch::async, [&] {
        tracker.Close();
        return left.load();
    });
    mayLeave.set_value();
    EXPECT_TRUE(closing.get());
    registering.get();
    EXPECT_EQ(tracker.Size(), 0);
}

// Invariant: every object that the customizer gave is removed exactly once.
TEST_F(ServiceTrackerTest, ServicesThatComeAndGoWhileTheTrackerOpensAndClosesAreRemovedAsOftenAsAdded) {
    struct Counter : ServiceTrackerCustomizer<Service, Tracked> {
        std::shared_ptr<Tracked> AddingService(ServiceReference<Service> const&) override {
            ++added;
            return std::make_shared<Tracked>();
        }
        void ModifiedService(ServiceReference<Service> const&, std::shared_ptr<Tracked> const&) override {}
        void RemovedService(ServiceReference<Service> const&, std::shared_ptr<Tracked> const&) override {
            ++removed;
        }
        std::atomic<int> added{0};
        std::atomic<int> removed{0};
    } counter;
    CustomTracker tracker(context(), &counter);
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([this, &done] {
            do {
                auto registration = registerService();
                registration.SetProperties({{"x", 1}});
                registration.Unregister();
            } while (!done);
        });
    }
    for (int round = 0; round < 200; ++round) {
        tracker.Open();
        tracker.GetService();
        tracker.Close();
    }
    done = true;
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(counter.added, counter.removed);
}
