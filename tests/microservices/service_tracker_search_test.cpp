// What service trackers search for, the searches that they refuse, and what they find in the end.
#include "FrameworkFixture.hpp"

#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceTracker.h>

#include <memory>
#include <stdexcept>
#include <string>

using namespace cppmicroservices;

using ServiceTrackerSearchTest = FrameworkTest;

TEST_F(ServiceTrackerSearchTest, FilterNeedsAValidContext) {
    auto bundle = start("manifest_only");
    auto const stopped = bundle.GetBundleContext();
    bundle.Stop();
    for (auto const& invalid : {stopped, BundleContext()}) {
        EXPECT_EQ(messageOf<std::invalid_argument>(
                      [&invalid] { ServiceTracker<int> const tracker(invalid, LDAPFilter("(x=1)")); }),
                  "The bundle context cannot be null.");
    }
}

TEST_F(ServiceTrackerSearchTest, ContextOfASearchByInterfaceIsLookedAtWhenItIsOpened) {
    ServiceTracker<int> tracker{BundleContext()};
    EXPECT_THROW(tracker.Open(), std::runtime_error);
}

TEST_F(ServiceTrackerSearchTest, InterfaceThatNoFilterCanNameIsRefused) {
    EXPECT_EQ(messageOf<std::invalid_argument>(
                  [this] { ServiceTracker<void> const tracker(context(), std::string("an ( interface")); }),
              "unexpected std::invalid_argument exception: Unexpected end of query: ");
}

TEST_F(ServiceTrackerSearchTest, InterfaceIsAPatternForServicesThatAreRegisteredLater) {
    auto const early = context().RegisterService<int>(std::make_shared<int>());
    ServiceTracker<void> tracker(context(), std::string("i*t"));
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 0);
    auto const late = context().RegisterService<int>(std::make_shared<int>());
    EXPECT_EQ(tracker.Size(), 1);
}

TEST_F(ServiceTrackerSearchTest, TrackerOfAStoppedBundleGivesNoUnregisteredService) {
    auto bundle = start("manifest_only");
    auto own = bundle.GetBundleContext();
    own.RegisterService<int>(std::make_shared<int>());
    ServiceTracker<int> tracker(own);
    tracker.Open();
    bundle.Stop();
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_EQ(tracker.GetService(), nullptr);
}

TEST_F(ServiceTrackerSearchTest, TrackerOfAStoppedBundleGivesAgainWhatItHasGiven) {
    auto bundle = start("manifest_only");
    auto registration = context().RegisterService<int>(std::make_shared<int>(1));
    ServiceTracker<int> tracker(bundle.GetBundleContext());
    tracker.Open();
    auto const given = tracker.GetService();
    bundle.Stop();
    registration.Unregister();
    EXPECT_EQ(tracker.GetService(), given);
}
