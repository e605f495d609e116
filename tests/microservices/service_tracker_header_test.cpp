// What the header of the service tracker brings with it: programs name these without including more.
#include <cppmicroservices/ServiceTracker.h>

#include <gtest/gtest.h>

using namespace cppmicroservices;

TEST(ServiceTrackerHeader, BringsBundlesAndConstants) {
    EXPECT_FALSE(Bundle());
    EXPECT_EQ(BundleVersion(1, 2, 3).ToString(), "1.2.3");
    EXPECT_EQ(Constants::SERVICE_ID, "service.id");
}
