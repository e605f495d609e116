// Service trackers of services that change while the customizer is asked for an object.
#include "FrameworkFixture.hpp"

#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceTracker.h>

#include <functional>
#include <memory>
#include <utility>

using namespace cppmicroservices;
using testing::ElementsAre;

namespace {

// Numbers its objects, and does something else while it makes the first.
class Customizer : public ServiceTrackerCustomizer<int> {
public:
    std::shared_ptr<int> AddingService(ServiceReference<int> const&) override {
        auto const number = ++made;
        std::exchange(duringFirst, [] {})();
        return std::make_shared<int>(number);
    }
    void ModifiedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {}
    void RemovedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {}

    int made = 0;
    std::function<void()> duringFirst = [] {};
};

class ServiceTrackerChangesTest : public FrameworkTest {
protected:
    ServiceRegistration<int> registerService() {
        return context().RegisterService<int>(std::make_shared<int>(), {{"x", 1}});
    }

    Customizer customizer_;
};

} // namespace

TEST_F(ServiceTrackerChangesTest, ServiceThatNoLongerMatchesWhileTheTrackerOpensIsNotTracked) {
    auto const first = registerService();
    auto second = registerService();
    ServiceTracker<int> tracker(context(), LDAPFilter("(x=1)"), &customizer_);
    customizer_.duringFirst = [&second] { second.SetProperties({{"x", 2}}); };
    tracker.Open();
    EXPECT_THAT(tracker.GetServiceReferences(), ElementsAre(first.GetReference()));
    EXPECT_EQ(customizer_.made, 1);
}

TEST_F(ServiceTrackerChangesTest, ServiceThatMatchesAgainWhileTheTrackerOpensIsTracked) {
    auto const first = registerService();
    auto second = registerService();
    ServiceTracker<int> tracker(context(), LDAPFilter("(x=1)"), &customizer_);
    customizer_.duringFirst = [&second] {
        second.SetProperties({{"x", 2}});
        second.SetProperties({{"x", 1}});
    };
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 2);
    EXPECT_EQ(customizer_.made, 2);
}

TEST_F(ServiceTrackerChangesTest, ServiceThatIsModifiedWhileTheTrackerOpensIsAddedOnce) {
    auto const first = registerService();
    auto second = registerService();
    ServiceTracker<int> tracker(context(), &customizer_);
    customizer_.duringFirst = [&second] { second.SetProperties({{"x", 2}}); };
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 2);
    EXPECT_EQ(customizer_.made, 2);
}

TEST_F(ServiceTrackerChangesTest, ServiceThatIsModifiedWhileItIsAddedIsAddedOnce) {
    auto registration = registerService();
    ServiceTracker<int> tracker(context(), &customizer_);
    customizer_.duringFirst = [&registration] { registration.SetProperties({{"x", 2}}); };
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_EQ(customizer_.made, 1);
}

TEST_F(ServiceTrackerChangesTest, ObjectOfOneServiceIsGivenWhileThatIsTracked) {
    auto first = registerService();
    auto const second = registerService();
    ServiceTracker<int> tracker(context(), &customizer_);
    tracker.Open();
    auto const reference = first.GetReference();
    EXPECT_EQ(*tracker.GetService(reference), 1);
    EXPECT_EQ(*tracker.GetService(second.GetReference()), 2);
    first.Unregister();
    EXPECT_EQ(tracker.GetService(reference), nullptr);
}

TEST_F(ServiceTrackerChangesTest, GetTrackedAddsWhatIsTrackedAndLeavesWhatIsThere) {
    auto first = registerService();
    auto const reference = first.GetReference();
    ServiceTracker<int> tracker(context(), &customizer_);
    tracker.Open();
    ServiceTracker<int>::TrackingMap tracked;
    tracker.GetTracked(tracked);
    EXPECT_EQ(tracked.size(), 1U);
    tracker.Remove(reference);
    first.SetProperties({{"x", 2}}); // it is tracked again, with another object
    auto const second = registerService();
    tracker.GetTracked(tracked);
    EXPECT_EQ(tracked.size(), 2U);
    EXPECT_EQ(*tracked.at(reference), 1);
    tracker.Close();
    tracker.GetTracked(tracked);
    EXPECT_EQ(tracked.size(), 2U);
}
