// Who installs the service framework's bundles, in which order, and who waits for whom.
#include "publication/installAndStartMicroServices.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <iterator>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/Path.hpp"

namespace agent::spf::frameworksetup {

namespace {

using cppmicroservices::Bundle;
using cppmicroservices::Framework;
using cppmicroservices::LDAPFilter;

// The installation's bundle directories below bin/<architecture>/spf, in the order in which they must be
// installed: what comes later uses what came before. The last takes only bundles without an activator.
constexpr std::array<char16_t const*, 6> activeBundleDirectories = {u"serialisationproviders",
                                                                    u"externalprocessdiscovery",
                                                                    u"providers",
                                                                    u"framework",
                                                                    u"servicepublishers",
                                                                    u"clients"};
constexpr char16_t const* passiveBundleDirectory = u"serviceproviders";
constexpr char const* passiveBundleFilter = "(bundle.activator=false)";

// The process's start-up state.
struct StartUp {
    std::mutex startupMutex;                   // guards every member below but `restartingThread`
    std::condition_variable startupFinished;   // notified whenever an installation ends, well or badly
    std::weak_ptr<Framework> startedFramework; // the framework that `installedBundles` are installed in
    std::thread::id installingThread;          // the thread that installs; the empty ID when none does
    std::vector<Bundle> installedBundles; // of the last successful installation, in the order of installation
    bool installationInProgress = false;

    // The thread that holds the mutex to start bundles again; the empty ID when none does. A thread only
    // needs to recognise itself, which it can before it has the mutex.
    std::atomic<std::thread::id> restartingThread{std::thread::id()};

    // The mutex must be held, and stays held while activators run, so that restarts follow one another. An
    // activator that comes back here on this thread is recognised by `restartingThread`.
    void startInstalledBundlesWithLock() {
        restartingThread = std::this_thread::get_id();
        try {
            for (auto& bundle : installedBundles) {
                bundle.Start();
            }
        } catch (...) {
            restartingThread = std::thread::id();
            throw;
        }
        restartingThread = std::thread::id();
    }

    void endInstallation(std::unique_lock<std::mutex> lock) {
        installingThread = std::thread::id();
        installationInProgress = false;
        lock.unlock();
        startupFinished.notify_all();
    }
};

StartUp& startUp() {
    static StartUp state;
    return state;
}

void append(std::vector<Bundle>& bundles, std::vector<Bundle> more) {
    bundles.insert(bundles.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

std::vector<Bundle> installBundles() {
    auto const base = host::Path() / u"bin" / u"darwinarm64" / u"spf";
    std::array<host::Path, activeBundleDirectories.size()> activeBundlePaths; // before anything is installed
    std::transform(activeBundleDirectories.begin(), activeBundleDirectories.end(), activeBundlePaths.begin(),
                   [&base](char16_t const* directory) { return base / directory; });
    auto const passiveBundlePath = base / passiveBundleDirectory;

    std::vector<Bundle> bundles;
    for (auto const& path : activeBundlePaths) {
        append(bundles, host::installAndStart(path));
    }
    append(bundles, host::installAndStart(passiveBundlePath, LDAPFilter(passiveBundleFilter)).first);
    return bundles;
}

} // namespace

void installAndStartMicroServices() {
    auto const framework = host::getFramework();
    auto& state = startUp();
    if (state.restartingThread == std::this_thread::get_id()) {
        return; // from an activator that this thread is starting again; waiting for itself would never end
    }
    // Released last, when nobody waits for this thread: they may be all that keeps another framework, whose
    // end waits for activators, and those may come here.
    std::vector<Bundle> former;
    std::unique_lock<std::mutex> lock(state.startupMutex);
    if (state.installationInProgress) {
        if (state.installingThread == std::this_thread::get_id()) {
            return; // from an activator that this thread is starting for the first time
        }
        state.startupFinished.wait(lock, [&] { return !state.installationInProgress; });
        return state.startInstalledBundlesWithLock();
    }
    if (state.startedFramework.lock() == framework) {
        return state.startInstalledBundlesWithLock();
    }

    former = std::exchange(state.installedBundles, {});
    state.installingThread = std::this_thread::get_id();
    state.installationInProgress = true;
    lock.unlock();
    try {
        auto bundles = installBundles();
        lock.lock();
        state.startedFramework = framework;
        state.installedBundles = std::move(bundles);
        state.endInstallation(std::move(lock));
    } catch (...) {
        state.endInstallation(std::unique_lock<std::mutex>(state.startupMutex));
        throw;
    }
}

} // namespace agent::spf::frameworksetup
