// The host's interfaces, implemented on FakeHost.
#include <utility>

#include "FakeFramework.hpp"
#include "Scheduler.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/Path.hpp"

namespace interleaving {

FakeHost& FakeHost::instance() {
    static FakeHost host;
    return host;
}

void FakeHost::reset(FakeFramework& first) {
    framework = &first;
    onInstall = nullptr;
    directoriesAsked = 0;
}

} // namespace interleaving

namespace agent::host {

using cppmicroservices::Bundle;
using interleaving::FakeHost;
using interleaving::Scheduler;

std::shared_ptr<cppmicroservices::Framework> getFramework() {
    Scheduler::instance().point("asks for the framework");
    auto const* const framework = FakeHost::instance().framework;
    return framework ? framework->handle() : nullptr;
}

std::vector<Bundle> installAndStart(Path const&) {
    interleaving::require(Scheduler::instance().locksHeld() == 0,
                          "installAndStart() is called with a lock held");
    Scheduler::instance().point("installs a directory");
    auto& host = FakeHost::instance();
    auto& framework = *host.framework;
    ++host.directoriesAsked;
    if (host.onInstall) {
        host.onInstall();
    }
    return {framework.bundle()};
}

std::pair<std::vector<Bundle>, std::vector<Bundle>> installAndStart(Path const& directory,
                                                                    cppmicroservices::LDAPFilter const&) {
    return {installAndStart(directory), {}};
}

} // namespace agent::host
