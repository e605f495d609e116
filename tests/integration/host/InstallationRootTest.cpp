// Where the standalone host finds its installation.
#include <filesystem>
#include <string>

#include <unistd.h>

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

TEST(InstallationRoot, TheParentOfALinkIsThatOfWhatItLeadsTo) {
    auto const directory =
        std::filesystem::temp_directory_path() / ("installation-root-" + std::to_string(::getpid()));
    std::filesystem::create_directories(directory / "root/inner");
    std::filesystem::create_directory_symlink("root/inner", directory / "link");

    setInstallationRoot(directory / "link/..");

    EXPECT_TRUE(std::filesystem::equivalent(installationRoot(), directory / "root"));
    std::filesystem::remove_all(directory);
}

} // namespace
