// The fixture of tests that need a host.
#include "support/HostTest.hpp"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace agent::spf::frameworksetup::test {

using cppmicroservices::Framework;
using cppmicroservices::ServiceEvent;
using cppmicroservices::service::cm::ConfigurationAdmin;
using frameworklistener::FrameworkListener;

namespace {

std::filesystem::path makeTemporaryDirectory() {
    auto pattern = (std::filesystem::temp_directory_path() / "spf-unit-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot make a directory like " + pattern);
    }
    return pattern;
}

void stop(Framework& framework) {
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
}

} // namespace

HostTest::HostTest()
    : storage_(makeTemporaryDirectory()) {
    callLog().reset();
    fakeHost().reset();
    fakeHost().setFramework(startFramework());
}

HostTest::~HostTest() {
    callLog().reset();
    fakeHost().reset();
    dropFrameworks();
    std::error_code ignored;
    std::filesystem::remove_all(storage_, ignored);
}

std::shared_ptr<Framework> HostTest::startFramework() {
    cppmicroservices::FrameworkConfiguration const configuration = {
        {cppmicroservices::Constants::FRAMEWORK_STORAGE,
         (storage_ / std::to_string(frameworks_.size())).string()}};
    auto started =
        std::make_shared<Framework>(cppmicroservices::FrameworkFactory().NewFramework(configuration));
    started->Start();
    frameworks_.push_back(started);
    return started;
}

void HostTest::stopFramework() {
    stop(framework());
}

void HostTest::dropFrameworks() {
    for (auto const& each : frameworks_) {
        stop(*each);
    }
    abandonFrameworks();
}

void HostTest::abandonFrameworks() {
    fakeHost().setFramework(nullptr);
    frameworks_.clear();
}

std::shared_ptr<RecordingConfigurationAdmin> HostTest::provideConfigurationAdmin() {
    return provideConfigurationAdmin(framework());
}

std::shared_ptr<RecordingConfigurationAdmin> HostTest::provideConfigurationAdmin(Framework& in) {
    auto const admin = std::make_shared<RecordingConfigurationAdmin>();
    in.GetBundleContext().RegisterService<ConfigurationAdmin>(admin);
    return admin;
}

void HostTest::recordListenerRegistrations() {
    auto const filter = "(" + cppmicroservices::Constants::OBJECTCLASS + "=" +
                        us_service_interface_iid<FrameworkListener>() + ")";
    framework().GetBundleContext().AddServiceListener(
        [](ServiceEvent const& event) {
            if (event.GetType() == ServiceEvent::SERVICE_REGISTERED) {
                callLog().record("FrameworkListener registered");
            } else if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) {
                callLog().record("FrameworkListener unregistering");
            }
        },
        filter);
}

std::size_t HostTest::registeredListeners() {
    return framework().GetBundleContext().GetServiceReferences<FrameworkListener>().size();
}

} // namespace agent::spf::frameworksetup::test
