// First steps on a host of the program's own: see minimal_host/.
// usage: own_host ENDPOINT      such as unix:own-host.sock
#include <chrono>
#include <exception>
#include <iostream>

#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

#include "minimal_host/MinimalHost.hpp"

int main(int argc, char* argv[]) try {
    using namespace agent::spf::frameworksetup;
    using namespace std::chrono_literals;
    if (argc != 2) {
        std::cerr << "usage: own_host ENDPOINT\n";
        return 2;
    }

    minimal::Host const host(SPF_INSTALLATION_ROOT);
    SPFConfigurationBuilder builder("own-host");
    builder.addServicePublisher("rpc", "rpcservicepublisher", {}, {argv[1]}, "", "")
        .addServiceInterfaceToServicePublisher("rpc", "thermometer", "example.Thermometer", {});
    SPFConfiguration configuration = builder.build();
    if (!configuration.waitForAllEndpoints(5s, "rpc") || !configuration.waitForAllServices(5s, "rpc")) {
        std::cerr << "not ready in time\n";
        return 1;
    }
    std::cout << "bound: " << argv[1] << "\nservices published\n";
    if (!configuration.waitForAllServicesToBeUnpublished(5s, "rpc")) {
        std::cerr << "not withdrawn in time\n";
        return 1;
    }
    std::cout << "services unpublished\n";
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
