// What a tracker whose bundle has stopped makes of services that are unregistered since.
#include "FrameworkFixture.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceTracker.h>

#include <memory>

using namespace cppmicroservices;

using ServiceTrackerAdditions = FrameworkTest;

TEST_F(ServiceTrackerAdditions, TrackerOfAStoppedBundleLooksAgainIfTheBestServiceIsUnregistered) {
    auto bundle = start("manifest_only");
    auto best = context().RegisterService<int>(std::make_shared<int>(1), {{Constants::SERVICE_RANKING, 1}});
    auto other = context().RegisterService<int>(std::make_shared<int>(2));
    ServiceTracker<int> tracker(bundle.GetBundleContext());
    tracker.Open();
    bundle.Stop();
    best.Unregister();
    EXPECT_THROW(tracker.GetServiceReference(), ServiceException);
    EXPECT_EQ(tracker.GetService(), nullptr);
    other.SetProperties({{Constants::SERVICE_RANKING, 2}});
    EXPECT_TRUE(tracker.GetServiceReference() == other.GetReference());
    EXPECT_EQ(*tracker.GetService(), 2);
}
