// Installing threads, threads that wait for them, and activators that come back.
#include <stdexcept>
#include <thread>

#include "publication/installAndStartMicroServices.hpp"
#include "scenarios.hpp"

namespace interleaving {

namespace {

constexpr auto installation = directoriesOfAnInstallation;

// Each thread finds everything installed when its call returns.
std::function<void()> caller(RunningHost& running) {
    return [&running] {
        installAndStartMicroServices();
        require(running.host.directoriesAsked == installation, "a caller went on before all was installed");
    };
}

void requireAllButTheInstallerStarted(RunningHost const& running, unsigned threads) {
    require(running.host.directoriesAsked == installation, "the bundles were not installed exactly once");
    require(running.framework.bundleStarts == (threads - 1) * installation,
            std::to_string(running.framework.bundleStarts) + " bundle starts");
}

void installerWithOneWaiter() {
    RunningHost running;
    inParallel({caller(running), caller(running)});
    requireAllButTheInstallerStarted(running, 2);
}

void installerWithWaiters() {
    RunningHost running;
    inParallel({caller(running), caller(running), caller(running), caller(running)});
    requireAllButTheInstallerStarted(running, 4);
}

// One call fails, the others return; a later one installs.
void failingInstallerWith(std::size_t threads) {
    RunningHost running;
    auto failures = 0;
    running.host.onInstall = [&] {
        if (running.host.directoriesAsked == 3) {
            throw std::runtime_error("no such directory");
        }
    };
    std::vector<std::function<void()>> callers(threads, [&] {
        auto const error = errorOf([] { installAndStartMicroServices(); });
        require(error.empty() || error == "no such directory", error);
        failures += error.empty() ? 0 : 1;
    });
    inParallel(callers);
    require(failures == 1, std::to_string(failures) + " callers saw the failure of one installation");
    installAndStartMicroServices();
    require(running.host.directoriesAsked == 3 + installation, "the next call did not install exactly once");
}

void reentrantBuildWhileInstalling() {
    RunningHost running;
    SPFConfiguration inner;
    SPFConfiguration outer;
    running.host.onInstall = [&] {
        if (running.host.directoriesAsked == 4) {
            inner = build("inner");
        }
    };
    inParallel({[&] { outer = build("outer"); }, [&] { installAndStartMicroServices(); }});
    require(running.host.directoriesAsked == installation, "the bundles were not installed exactly once");
    require(running.framework.updates == 2, "a build was not published");
}

void reentrantBuildWhileRestarting() {
    RunningHost running;
    installAndStartMicroServices();
    SPFConfiguration inner;
    SPFConfiguration outer;
    running.framework.onStart = [&] {
        if (running.framework.bundleStarts == 1) {
            inner = build("inner");
        }
    };
    inParallel({[&] { outer = build("outer"); }, [&] { installAndStartMicroServices(); }});
    require(running.host.directoriesAsked == installation, "the bundles were installed again");
    require(running.framework.bundleStarts == 2 * installation, "a restart was lost or repeated");
    require(running.framework.updates == 2, "a build was not published");
}

void failingRestartAgainstAnother() {
    RunningHost running;
    installAndStartMicroServices();
    running.framework.onStart = [&] {
        if (running.framework.bundleStarts == 2) {
            throw std::runtime_error("does not start");
        }
    };
    auto failures = 0;
    auto const call = [&] {
        auto const error = errorOf([] { installAndStartMicroServices(); });
        require(error.empty() || error == "does not start", error);
        failures += error.empty() ? 0 : 1;
    };
    inParallel({call, call});
    require(failures == 1, "not exactly one caller saw the failure of a bundle");
    require(running.framework.bundleStarts == 2 + installation, "a restart was lost or repeated");
    require(running.host.directoriesAsked == installation, "the bundles were installed again");
}

// A thread that an activator starts waits for the installation like any other.
void threadStartedByAnActivator() {
    RunningHost running;
    std::thread started;
    running.host.onInstall = [&] {
        if (running.host.directoriesAsked == 2) {
            started = std::thread([] { installAndStartMicroServices(); });
        }
    };
    inParallel({[&] { installAndStartMicroServices(); }, [&] { installAndStartMicroServices(); }});
    started.join();
    requireAllButTheInstallerStarted(running, 3);
}

// Whatever was installed where, a call with the new framework ends with it installed, once.
void frameworkReplacedWhileWaiting() {
    RunningHost running;
    FakeFramework replacement;
    inParallel({[&] { installAndStartMicroServices(); },
                [&] {
                    running.host.framework = &replacement;
                    installAndStartMicroServices();
                },
                [&] { installAndStartMicroServices(); }});
    installAndStartMicroServices();
    auto const asked = running.host.directoriesAsked;
    require(asked % installation == 0, "an installation was not finished");
    require(asked >= installation, "nothing was installed");
    installAndStartMicroServices();
    require(running.host.directoriesAsked == asked, "the new framework was installed into again");
}

void noFrameworkAgainstInstaller() {
    RunningHost running;
    inParallel({[&] { installAndStartMicroServices(); },
                [&] {
                    auto const handle = build("id");
                    require(handle.getConfigurationID() == "id", "a build was not published");
                }});
    requireAllButTheInstallerStarted(running, 2);
}

} // namespace

std::vector<Scenario> startUpScenarios() {
    return {
        {"installer-with-one-waiter", 2, &installerWithOneWaiter},
        {"installer-with-waiters", 4, &installerWithWaiters},
        {"failing-installer-with-one-waiter", 2, [] { failingInstallerWith(2); }},
        {"failing-installer-with-waiters", 4, [] { failingInstallerWith(4); }},
        {"re-entrant-build-while-installing", 2, &reentrantBuildWhileInstalling},
        {"re-entrant-build-while-restarting", 2, &reentrantBuildWhileRestarting},
        {"failing-restart-against-another", 2, &failingRestartAgainstAnother},
        {"thread-started-by-an-activator", 3, &threadStartedByAnActivator},
        {"framework-replaced-while-waiting", 3, &frameworkReplacedWhileWaiting},
        {"build-against-installer", 2, &noFrameworkAgainstInstaller},
    };
}

} // namespace interleaving
