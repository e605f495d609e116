// Ends main() while the framework runs, and prints what happens to a bundle of it and to static objects.
#include <cstdio>
#include <string>

#include "Farewell.hpp"
#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

host_test::Farewell const farewell{"static objects go"};

int main() {
    host_test::TemporaryInstallation const installation;
    installation.addMicroservice("host_test_alpha");
    agent::host::standalone::setInstallationRoot(installation.root());
    host_test::Probe::instance().onReport([](std::string const& event) {
        std::puts(event.c_str());
        static host_test::Farewell const madeByTheBundle{"those of the bundle go"};
    });
    agent::host::getFramework();
    std::puts("end of main");
}
