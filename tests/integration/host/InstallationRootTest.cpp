// Where the standalone host finds its installation.
#include <filesystem>

#include <gtest/gtest.h>

#include "agent/host/standalone/StandaloneHost.hpp"

namespace {

using agent::host::standalone::installationRoot;
using agent::host::standalone::setInstallationRoot;

TEST(InstallationRoot, ByDefaultItIsTheParentOfTheProgramsDirectory) {
    auto const program = std::filesystem::canonical("/proc/self/exe");

    EXPECT_EQ(installationRoot(), program.parent_path().parent_path());
}

TEST(InstallationRoot, RelativePathsAreResolvedWhenTheyAreSet) {
    setInstallationRoot("some/root");

    EXPECT_EQ(installationRoot(), std::filesystem::current_path() / "some/root");
}

} // namespace
