// Forks a child that exits while the framework runs, and prints what happens to a bundle of it.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

namespace {

void say(std::string const& text) {
    std::puts(text.c_str());
    std::fflush(stdout); // or the child would say it again
}

} // namespace

int main() {
    host_test::TemporaryInstallation const installation;
    installation.addMicroservice("host_test_alpha");
    agent::host::standalone::setInstallationRoot(installation.root());
    host_test::Probe::instance().onReport(say);
    agent::host::getFramework();
    auto const child = ::fork();
    if (child == 0) {
        std::exit(7);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    say("the child ended with " + std::to_string(WEXITSTATUS(status)));
}
