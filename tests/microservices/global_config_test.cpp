// The macros that bundles write around declarations.
#include <cppmicroservices/GlobalConfig.h>

#include <gtest/gtest.h>

namespace {

US_MSVC_PUSH_DISABLE_WARNING(4456)
US_MSVC_DISABLE_WARNING(4457)
US_GCC_PUSH_DISABLE_WARNING(shadow)
int sumOfBoth(int value) {
    auto sum = value;
    {
        int const value = 3; // a warning, and so an error, where it is not switched off
        sum += value;
    }
    return sum;
}
US_GCC_POP_WARNING
US_MSVC_POP_WARNING

} // namespace

TEST(GlobalConfig, SwitchesAWarningOff) {
    EXPECT_EQ(sumOfBoth(4), 7);
}
