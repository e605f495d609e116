// Constants that were added to the interface.
#include "cppmicroservices/Constants.h"

#include <gtest/gtest.h>

TEST(ConstantsAdditions, HaveTheirValues) {
    EXPECT_EQ(cppmicroservices::Constants::FRAMEWORK_EXTRA_SHUTDOWN_FUNC,
              "org.cppmicroservices.framework.shutdown.function");
}
