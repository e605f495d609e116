// A program whose manifest makes it a bundle that cannot be installed.
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

using namespace cppmicroservices;

TEST(RefusedProgram, IsLoggedIfALogIsAskedForAndTheFrameworkStartsWithoutIt) {
    auto const path = std::filesystem::read_symlink("/proc/self/exe").string();
    auto const line =
        "Failed to install bundle library at " + path +
        ": The Json value for bundle.version for bundle test_refused_program (location=" + path +
        ") is not valid: The version identifier is invalid: ";
    for (bool const asked : {false, true}) {
        std::ostringstream log;
        auto framework =
            FrameworkFactory().NewFramework(FrameworkConfiguration{{Constants::FRAMEWORK_LOG, asked}}, &log);
        framework.Start();
        EXPECT_EQ(framework.GetState(), Bundle::STATE_ACTIVE);
        EXPECT_THAT(framework.GetBundleContext().GetBundles(), testing::ElementsAre(framework));
        if (asked) {
            EXPECT_THAT(log.str(), testing::AllOf(testing::StartsWith(line), testing::EndsWith("\n")));
        } else {
            EXPECT_EQ(log.str(), "");
        }
    }
}
