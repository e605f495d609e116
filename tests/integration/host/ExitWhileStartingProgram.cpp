// Ends main() while another thread starts the framework, with a bundle that does not come back.
#include <cstdio>
#include <future>
#include <string>
#include <thread>

#include "Farewell.hpp"
#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

host_test::Farewell const farewell{"static objects go"};

int main() {
    host_test::TemporaryInstallation const installation;
    installation.addMicroservice("host_test_alpha");
    agent::host::standalone::setInstallationRoot(installation.root());
    std::promise<void> starting;
    host_test::Probe::instance().onReport([&starting](std::string const& event) {
        std::puts(event.c_str());
        starting.set_value();
        std::promise<void>().get_future().wait();
    });
    std::thread([] { agent::host::getFramework(); }).detach();
    starting.get_future().wait();
    std::puts("end of main");
}
