// A process that ends in a given order of things:
//   spf-shutdown ORDER
// waiting-threads           main() returns while threads wait without limit
// registered-listeners      main() returns while a handle lives on whose listener is registered
// static-handles            handles are static objects: one made before everything, one after
// framework-stopped-first   the framework is stopped, then the handle goes
// framework-stopped-last    the handle goes, then main() returns and the framework is stopped at exit
// exit-from-an-activator    a bundle's activator exits while the bundles are being installed
// exit-from-an-event        a listener exits on the thread that delivers an event
// Its status is that of the order (see orders.py). It binds unix:<order>.socket in the working directory.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <cppmicroservices/BundleContext.h>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "exitStatus.hpp"

namespace {

using namespace agent::spf::frameworksetup;
using std::chrono::milliseconds;

constexpr milliseconds withoutLimit = milliseconds::max();

std::string endpointName;

// Its one endpoint is bound soon; nobody connects to the other, so that waiting for all endpoints never ends.
SPFConfiguration publish(std::string const& name) {
    auto const nobody = endpointName + ".nobody";
    return SPFConfigurationBuilder(name)
        .addServicePublisher(name + "-p", "rpcservicepublisher", {nobody}, {endpointName + "." + name}, "",
                             "")
        .addServiceInterfaceToServicePublisher(name + "-p", name + "-i", "Interface", {})
        .build();
}

void waitForServices(SPFConfiguration& handle, std::string const& name) {
    if (!handle.waitForAllServices(std::chrono::seconds(30), name + "-p")) {
        std::fputs("the services were not published\n", stderr);
        std::_Exit(shutdown_test::failed);
    }
}

int waitingThreads() {
    static auto& handle = *new SPFConfiguration(publish("waiting"));
    waitForServices(handle, "waiting");
    for (auto i = 0; i < 4; ++i) {
        std::promise<void> begun;
        auto running = begun.get_future();
        std::thread([begun = std::move(begun)]() mutable {
            begun.set_value();
            handle.waitForAllEndpoints(withoutLimit, "waiting-p");
        }).detach();
        running.wait();
    }
    return shutdown_test::ended;
}

int registeredListeners() {
    auto* const first = new SPFConfiguration(publish("first"));
    auto* const second = new SPFConfiguration(publish("second"));
    waitForServices(*first, "first");
    static_cast<void>(second); // its events are under way
    return shutdown_test::ended;
}

SPFConfiguration madeBeforeEverything;

int staticHandles() {
    madeBeforeEverything = publish("before");
    static auto madeAfterEverything = publish("after");
    waitForServices(madeBeforeEverything, "before");
    return shutdown_test::ended;
}

int frameworkStoppedFirst() {
    auto handle = publish("handle");
    waitForServices(handle, "handle");
    agent::host::standalone::stopFramework();
    handle.reset();
    return shutdown_test::ended;
}

int frameworkStoppedLast() {
    auto handle = publish("handle");
    waitForServices(handle, "handle");
    handle.reset();
    return shutdown_test::ended;
}

// The installation holds a bundle whose activator exits.
int exitFromAnActivator() {
    agent::host::standalone::setInstallationRoot(SHUTDOWN_ROOT_THAT_EXITS);
    publish("never");
    return shutdown_test::failed; // it came back
}

class ExitingListener : public agent::spf::frameworklistener::FrameworkListener {
public:
    void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event>) override {
        std::exit(shutdown_test::exitedFromEvent);
    }
};

int exitFromAnEvent() {
    auto context = agent::host::getFramework()->GetBundleContext();
    auto const registration = context.RegisterService<agent::spf::frameworklistener::FrameworkListener>(
        std::make_shared<ExitingListener>());
    auto handle = publish("handle");
    handle.waitForAllEndpoints(withoutLimit, "handle-p");
    return shutdown_test::failed; // it came back
}

std::map<std::string, std::function<int()>> const orders = {
    {"waiting-threads", &waitingThreads},
    {"registered-listeners", &registeredListeners},
    {"static-handles", &staticHandles},
    {"framework-stopped-first", &frameworkStoppedFirst},
    {"framework-stopped-last", &frameworkStoppedLast},
    {"exit-from-an-activator", &exitFromAnActivator},
    {"exit-from-an-event", &exitFromAnEvent},
};

} // namespace

int main(int argumentCount, char** arguments) {
    auto const order = orders.find(argumentCount == 2 ? arguments[1] : "");
    if (order == orders.end()) {
        std::fputs("usage: spf-shutdown ORDER\n", stderr);
        return shutdown_test::failed;
    }
    endpointName = "unix:" + order->first;
    try {
        return order->second();
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[1], error.what());
        return shutdown_test::failed;
    }
}
