// Modify: turn a published configuration back into a builder, change it, and publish the next version of it.
// What both versions share stays as it is: the first endpoint is not closed in between.
//
// usage: modify ENDPOINT        such as unix:/tmp/modify.sock; a second one ends in "-2"
#include <chrono>
#include <exception>
#include <iostream>
#include <string>

#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

int main(int argc, char* argv[]) try {
    using namespace agent::spf::frameworksetup;
    using namespace std::chrono_literals;
    if (argc != 2) {
        std::cerr << "usage: modify ENDPOINT\n";
        return 2;
    }
    std::string const first = argv[1];
    std::string const second = first + "-2";

    SPFConfigurationBuilder builder("modify");
    builder.addServicePublisher("rpc", "rpcservicepublisher", {}, {first}, "", "")
        .addServiceInterfaceToServicePublisher("rpc", "lamp-1", "example.Lamp", {});
    SPFConfiguration configuration = builder.build();
    if (!configuration.waitForAllServices(10s, "rpc")) {
        std::cerr << "version 1 not published in time\n";
        return 1;
    }
    std::cout << "version 1 published, " << configuration.getServiceInterfaceConfigurations().size()
              << " interface\n";

    // From here until build() the builder is responsible: dropped, it would withdraw the configuration.
    SPFConfigurationBuilder next = configuration.modify();
    next.addServicePublisher("rpc", "rpcservicepublisher", {}, {first, second}, "", "")
        .addServiceInterfaceToServicePublisher("rpc", "switch-1", "example.Switch", {});
    configuration = next.build();
    if (!configuration.waitForAllEndpoints(10s, "rpc") || !configuration.waitForAllServices(10s, "rpc")) {
        std::cerr << "version 2 not published in time\n";
        return 1;
    }
    std::cout << "version 2 published, " << configuration.getServiceInterfaceConfigurations().size()
              << " interfaces, both endpoints bound\n";
    return configuration.getServiceInterfaceConfigurations().size() == 2 ? 0 : 1;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
