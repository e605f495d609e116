// The host's interfaces on a framework with Configuration Admin.
#include "support/BenchHost.hpp"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/cm/Configuration.hpp>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/Path.hpp"

namespace spf::bench {

using cppmicroservices::Bundle;
using cppmicroservices::Framework;
using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;

namespace {

// What the host's interfaces hand out; changed only while a program has one thread.
std::shared_ptr<Framework> runningFramework;
std::vector<Bundle> installedBundles;

std::filesystem::path makeTemporaryDirectory() {
    auto pattern = (std::filesystem::temp_directory_path() / "spf-bench-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot make a directory like " + pattern);
    }
    return pattern;
}

// Has the configuration changed, and removed: changes of one configuration are done in turn, those of several
// are begun in turn.
void waitForTurnOf(Configuration& last) {
    last.Update().wait();
    last.Remove().wait();
}

} // namespace

BenchHost::BenchHost()
    : storage_(makeTemporaryDirectory()) {
    cppmicroservices::FrameworkConfiguration const configuration = {
        {cppmicroservices::Constants::FRAMEWORK_STORAGE, storage_.string()}};
    runningFramework =
        std::make_shared<Framework>(cppmicroservices::FrameworkFactory().NewFramework(configuration));
    runningFramework->Start();
    installedBundles = context().InstallBundles(SPF_CONFIGURATION_ADMIN_BUNDLE);
    for (auto& bundle : installedBundles) {
        bundle.Start();
    }
    admin_ = context().GetService(context().GetServiceReference<ConfigurationAdmin>());
}

BenchHost::~BenchHost() {
    admin_.reset();
    installedBundles.clear();
    runningFramework->Stop();
    runningFramework->WaitForStop(std::chrono::milliseconds::zero());
    runningFramework.reset();
    std::error_code ignored;
    std::filesystem::remove_all(storage_, ignored);
}

cppmicroservices::BundleContext BenchHost::context() const {
    return runningFramework->GetBundleContext();
}

void BenchHost::settle() {
    waitForTurnOf(*admin_->GetConfiguration("qo.example.last"));
}

void BenchHost::settle(std::string const& configurationID) {
    waitForTurnOf(*admin_->GetFactoryConfiguration("qo.spf.framework", configurationID));
}

} // namespace spf::bench

namespace agent::host {

std::shared_ptr<cppmicroservices::Framework> getFramework() {
    return spf::bench::runningFramework;
}

std::vector<cppmicroservices::Bundle> installAndStart(Path const&) {
    return spf::bench::installedBundles;
}

std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>>
installAndStart(Path const&, cppmicroservices::LDAPFilter const&) {
    return {spf::bench::installedBundles, {}};
}

} // namespace agent::host
