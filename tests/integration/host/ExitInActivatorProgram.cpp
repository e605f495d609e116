// Forks a child that exits inside an activator, when a bundle is started or stopped, and prints what becomes
// of it.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "Farewell.hpp"
#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

host_test::Farewell const farewell{"static objects go"};

int main(int, char** arguments) {
    host_test::TemporaryInstallation const installation;
    installation.addMicroservice("host_test_alpha");
    agent::host::standalone::setInstallationRoot(installation.root());
    auto const child = ::fork();
    if (child == 0) {
        host_test::Probe::instance().onReport([last = arguments[1]](std::string const& event) {
            std::puts(event.c_str());
            if (event == last) {
                std::exit(7);
            }
        });
        agent::host::getFramework();
        agent::host::standalone::stopFramework();
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    std::puts(("the child ended with " + std::to_string(WEXITSTATUS(status))).c_str());
}
