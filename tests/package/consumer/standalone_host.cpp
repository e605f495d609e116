// Publishes a configuration on the standalone host, sees it through to its end, and withdraws it.
// usage: consumer ROOT ENDPOINT
#include <chrono>
#include <exception>
#include <iostream>

#include <agent/host/standalone/StandaloneHost.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

int main(int argc, char* argv[]) try {
    using namespace agent::spf::frameworksetup;
    using namespace std::chrono_literals;
    if (argc != 3) {
        std::cerr << "usage: consumer ROOT ENDPOINT\n";
        return 2;
    }

    agent::host::standalone::setInstallationRoot(argv[1]);
    SPFConfigurationBuilder builder("consumer");
    builder.addServicePublisher("rpc", "rpcservicepublisher", {}, {argv[2]}, "", "")
        .addServiceInterfaceToServicePublisher("rpc", "thermometer", "example.Thermometer", {});
    SPFConfiguration configuration = builder.build();
    if (!configuration.waitForAllEndpoints(5s, "rpc") || !configuration.waitForAllServices(5s, "rpc") ||
        !configuration.waitForAllServicesToBeUnpublished(5s, "rpc")) {
        std::cerr << "the configuration did not go its way in time\n";
        return 1;
    }
    std::cout << "bound, published, unpublished: " << argv[2] << '\n';
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
