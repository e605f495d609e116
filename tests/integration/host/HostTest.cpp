// The fixture of the host's tests.
#include "HostTest.hpp"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "agent/host/standalone/StandaloneHost.hpp"

namespace host_test {

namespace {

std::filesystem::path makeTemporaryDirectory() {
    auto pattern = (std::filesystem::temp_directory_path() / "spf-host-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make the temporary directory " + pattern);
    }
    return pattern;
}

constexpr char const* microservicesDirectory = "bin/darwinarm64/microservices";

} // namespace

TemporaryInstallation::TemporaryInstallation()
    : root_(makeTemporaryDirectory()) {
    auto const directory = root_ / microservicesDirectory;
    std::filesystem::create_directories(directory);
    for (auto const& entry : std::filesystem::directory_iterator(HOST_TEST_MICROSERVICES)) {
        std::filesystem::create_symlink(entry.path(), directory / entry.path().filename());
    }
}

TemporaryInstallation::~TemporaryInstallation() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

void TemporaryInstallation::addBundle(std::string const& bundle, std::filesystem::path const& directory,
                                      std::string const& fileName) const {
    std::filesystem::create_directories(root_ / directory);
    std::filesystem::create_symlink(std::filesystem::path(HOST_TEST_BUNDLES) / (bundle + ".so"),
                                    root_ / directory / fileName);
}

void TemporaryInstallation::addFile(std::filesystem::path const& file, std::string const& content) const {
    std::filesystem::create_directories((root_ / file).parent_path());
    std::ofstream(root_ / file) << content;
}

void TemporaryInstallation::addMicroservice(std::string const& bundle) const {
    addBundle(bundle, microservicesDirectory, bundle + ".so");
}

HostTest::HostTest()
    : rootBefore_(agent::host::standalone::installationRoot()) {
    probe.clear();
    agent::host::standalone::setInstallationRoot(installation.root());
    agent::host::standalone::setFrameworkProperties({});
}

HostTest::~HostTest() {
    probe.onReport(nullptr);
    agent::host::standalone::stopFramework();
    agent::host::standalone::setInstallationRoot(rootBefore_);
}

std::vector<std::string> symbolicNames(std::vector<cppmicroservices::Bundle> const& bundles) {
    std::vector<std::string> names;
    for (auto const& bundle : bundles) {
        names.push_back(bundle.GetSymbolicName());
    }
    return names;
}

} // namespace host_test
