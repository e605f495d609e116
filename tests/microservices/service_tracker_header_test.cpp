// What the header of the service tracker brings with it: programs name these without including more.
#include <cppmicroservices/ServiceTracker.h>

// In front of what other headers bring.
static void say(char const* text) {
    std::cout << text;
}

#include <gtest/gtest.h>

using namespace cppmicroservices;

TEST(ServiceTrackerHeader, BringsBundlesAndConstants) {
    EXPECT_FALSE(Bundle());
    EXPECT_EQ(BundleVersion(1, 2, 3).ToString(), "1.2.3");
    EXPECT_EQ(Constants::SERVICE_ID, "service.id");
}

TEST(ServiceTrackerHeader, BringsStandardOutput) {
    testing::internal::CaptureStdout();
    say("text");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "text");
}
