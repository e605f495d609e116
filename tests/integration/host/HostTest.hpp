// The fixture of the host's tests: an installation of its own for each test, in a temporary directory.
#ifndef HOST_TEST_HPP
#define HOST_TEST_HPP

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Probe.hpp"

namespace host_test {

// Guards against a test that would otherwise never end; nothing waits this long when all is well.
constexpr std::chrono::seconds patience{30};

// An empty installation root below the system's temporary directory; removed at the end.
class TemporaryInstallation {
public:
    TemporaryInstallation();
    ~TemporaryInstallation();
    TemporaryInstallation(TemporaryInstallation const&) = delete;
    TemporaryInstallation& operator=(TemporaryInstallation const&) = delete;

    std::filesystem::path const& root() const { return root_; }

    // Puts the test bundle <bundle> into a directory, under the given file name.
    void addBundle(std::string const& bundle, std::filesystem::path const& directory,
                   std::string const& fileName) const;
    void addFile(std::filesystem::path const& file, std::string const& content) const;

    // Puts a bundle where the host looks when it starts the framework.
    void addMicroservice(std::string const& bundle) const;

private:
    std::filesystem::path root_;
};

// Each test has an installation that holds Configuration Admin; the framework is stopped after each test.
class HostTest : public testing::Test {
protected:
    HostTest();
    ~HostTest() override;

    TemporaryInstallation installation;
    Probe& probe = Probe::instance();

private:
    std::filesystem::path rootBefore_;
};

std::vector<std::string> symbolicNames(std::vector<cppmicroservices::Bundle> const& bundles);

// The message of the std::runtime_error that the function throws; fails the test if there is none.
template <typename Function>
std::string messageOf(Function&& function) {
    try {
        function();
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    ADD_FAILURE() << "no std::runtime_error was thrown";
    return {};
}

} // namespace host_test

#endif
