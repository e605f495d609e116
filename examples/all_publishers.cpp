// All publishers: one interface goes out through every publisher, also through those that are added after it;
// another goes out through one publisher only.
// usage: all_publishers ENDPOINT        such as unix:/tmp/all-publishers.sock; a second one ends in "-2"
#include <chrono>
#include <exception>
#include <iostream>
#include <string>

#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

int main(int argc, char* argv[]) try {
    using namespace agent::spf::frameworksetup;
    using namespace std::chrono_literals;
    if (argc != 2) {
        std::cerr << "usage: all_publishers ENDPOINT\n";
        return 2;
    }
    std::string const first = argv[1];
    std::string const second = first + "-2";

    SPFConfigurationBuilder builder("all-publishers");
    builder.addServicePublisher("first", "rpcservicepublisher", {}, {first}, "", "")
        .addServiceInterfaceToAllServicePublishers("clock-1", "example.Clock", {})
        .addServicePublisher("second", "rpcservicepublisher", {}, {second}, "", "")
        .addServiceInterfaceToServicePublisher("second", "door-1", "example.Door", {});
    SPFConfiguration configuration = builder.build();

    for (auto const& publisher : configuration.getServicePublisherConfigurations()) {
        if (!configuration.waitForAllServices(10s, publisher.uniqueID)) {
            std::cerr << "not published in time: " << publisher.uniqueID << '\n';
            return 1;
        }
        std::cout << "publisher " << publisher.uniqueID << " offers";
        for (auto const& entry :
             configuration.getServiceInterfaceConfigurationsForServicePublisher(publisher.uniqueID)) {
            std::cout << ' ' << entry.name;
        }
        std::cout << '\n';
    }
    auto const offered = [&configuration](char const* publisher) {
        return configuration.getServiceInterfaceConfigurationsForServicePublisher(publisher).size();
    };
    return offered("first") == 1 && offered("second") == 2 ? 0 : 1;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
