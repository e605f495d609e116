// A process that announces an endpoint until it is killed: announcer DIRECTORY NAME ENDPOINT
#include <iostream>

#include <unistd.h>

#include "agent/spf/bundles/discovery/RuntimeDirectoryDiscovery.hpp"

int main(int, char** arguments) {
    agent::spf::bundles::discovery::RuntimeDirectoryDiscovery discovery(arguments[1]);
    auto const announcement = discovery.announce(arguments[2], arguments[3]);
    std::cout << "announced" << std::endl;
    for (;;) {
        ::pause();
    }
}
