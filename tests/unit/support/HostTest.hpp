// The fixture of tests that need a host: a fake one with a running framework of the chosen provider.
#ifndef TESTS_UNIT_SUPPORT_HOST_TEST_HPP
#define TESTS_UNIT_SUPPORT_HOST_TEST_HPP

#include <filesystem>
#include <memory>
#include <vector>

#include <cppmicroservices/Framework.h>
#include <gtest/gtest.h>

#include "support/CallLog.hpp"
#include "support/FakeHost.hpp"
#include "support/Gate.hpp"
#include "support/LogCapture.hpp"
#include "support/RecordingConfigurationAdmin.hpp"

namespace agent::spf::frameworksetup::test {

class HostTest : public ::testing::Test {
protected:
    // The host has a running framework without services; nothing has been recorded. Log records are captured.
    HostTest();
    // Stops the frameworks; nothing of the test is left.
    ~HostTest() override;

    // Makes and starts another framework. It is not the host's until fakeHost().setFramework() says so.
    std::shared_ptr<cppmicroservices::Framework> startFramework();
    // The framework that the host had at first.
    cppmicroservices::Framework& framework() { return *frameworks_.front(); }

    // Stops it and waits until it is stopped.
    void stopFramework();

    // Stops the frameworks and drops every reference to them that the host and the test have.
    void dropFrameworks();

    // Drops the references without stopping anything: a framework lives for as long as others keep it.
    void abandonFrameworks();

    // Registers a recording ConfigurationAdmin in the framework; by default in the host's first.
    std::shared_ptr<RecordingConfigurationAdmin> provideConfigurationAdmin();
    std::shared_ptr<RecordingConfigurationAdmin>
    provideConfigurationAdmin(cppmicroservices::Framework& framework);

    // From now on records "FrameworkListener registered" and "FrameworkListener unregistering" when that
    // happens in the host's first framework. The listener runs before RegisterService() and Unregister()
    // return.
    void recordListenerRegistrations();

    // The FrameworkListener services that are registered in the host's first framework.
    std::size_t registeredListeners();

    LogCapture log;

private:
    std::filesystem::path const storage_;
    std::vector<std::shared_ptr<cppmicroservices::Framework>> frameworks_;
};

} // namespace agent::spf::frameworksetup::test

#endif
