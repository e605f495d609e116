// First steps: publish one interface through one publisher, wait until it is ready, withdraw it.
// usage: first_steps ENDPOINT        such as unix:/tmp/first-steps.sock or tcp:127.0.0.1:7000
#include <chrono>
#include <exception>
#include <iostream>

#include <agent/host/standalone/StandaloneHost.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

int main(int argc, char* argv[]) try {
    using namespace agent::spf::frameworksetup;
    using namespace std::chrono_literals;
    if (argc != 2) {
        std::cerr << "usage: first_steps ENDPOINT\n";
        return 2;
    }

    agent::host::standalone::setInstallationRoot(SPF_INSTALLATION_ROOT); // the bundles lie below it
    SPFConfigurationBuilder builder("first-steps");
    builder.addServicePublisher("rpc", "rpcservicepublisher", {}, {argv[1]}, "", "")
        .addServiceInterfaceToServicePublisher("rpc", "thermometer", "example.Thermometer", {});
    SPFConfiguration configuration = builder.build();

    if (!configuration.waitForAllEndpoints(5s, "rpc")) {
        auto const [toConnect, toBind] = configuration.listOutstandingEndpoints("rpc");
        for (auto const& endpoint : toBind) {
            std::cerr << "not bound in time: " << endpoint.ToString() << '\n';
        }
        return 1;
    }
    std::cout << "bound: " << argv[1] << '\n';
    if (!configuration.waitForAllServices(5s, "rpc")) {
        std::cerr << "services not published in time\n";
        return 1;
    }
    std::cout << "services published\n";
    // Withdraws the configuration, and waits until the framework has removed it.
    if (!configuration.waitForAllServicesToBeUnpublished(5s, "rpc")) {
        std::cerr << "services not unpublished in time\n";
        return 1;
    }
    std::cout << "services unpublished\n";
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
