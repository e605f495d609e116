// The access to the framework that every host offers.
#include "agent/host/FrameworkAccess.hpp"

#include <algorithm>
#include <stdexcept>

#include <cppmicroservices/BundleContext.h>

#include "BundleInstallation.hpp"
#include "FrameworkLifecycle.hpp"
#include "PathConversion.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

namespace agent::host {

using cppmicroservices::Bundle;

namespace {

std::vector<Bundle> install(Path const& directory) {
    auto const absolute = standalone::installationRoot() / standalone::toFilesystemPath(directory);
    auto const framework = getFramework();
    if (!framework) {
        throw std::runtime_error("cannot install the bundles of '" + absolute.string() +
                                 "': the framework is not running");
    }
    return standalone::installBundles(framework->GetBundleContext(), absolute);
}

} // namespace

std::shared_ptr<cppmicroservices::Framework> getFramework() {
    return standalone::FrameworkLifecycle::instance().get();
}

std::vector<Bundle> installAndStart(Path const& directory) {
    auto bundles = install(directory);
    standalone::startBundles(bundles);
    return bundles;
}

std::pair<std::vector<Bundle>, std::vector<Bundle>>
installAndStart(Path const& directory, cppmicroservices::LDAPFilter const& filter) {
    auto matching = install(directory);
    auto const firstOther = std::stable_partition(
        matching.begin(), matching.end(), [&filter](Bundle const& bundle) { return filter.Match(bundle); });
    std::vector<Bundle> others(firstOther, matching.end());
    matching.erase(firstOther, matching.end());
    standalone::startBundles(matching);
    return {std::move(matching), std::move(others)};
}

} // namespace agent::host
