// Unpublish: withdraw a configuration and wait until the framework reports that its services are gone. The
// same endpoint can be bound again at once.
//
// usage: unpublish ENDPOINT        such as unix:/tmp/unpublish.sock
#include <chrono>
#include <exception>
#include <iostream>

#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

namespace {

using namespace agent::spf::frameworksetup;

SPFConfiguration publish(char const* id, char const* endpoint) {
    SPFConfigurationBuilder builder(id);
    builder.addServicePublisher("rpc", "rpcservicepublisher", {}, {endpoint}, "", "")
        .addServiceInterfaceToServicePublisher("rpc", "bell-1", "example.Bell", {});
    return builder.build();
}

} // namespace

int main(int argc, char* argv[]) try {
    using namespace std::chrono_literals;
    if (argc != 2) {
        std::cerr << "usage: unpublish ENDPOINT\n";
        return 2;
    }

    SPFConfiguration first = publish("first", argv[1]);
    if (!first.waitForAllServices(10s, "rpc")) {
        std::cerr << "not published in time\n";
        return 1;
    }
    std::cout << "published\n";
    if (!first.waitForAllServicesToBeUnpublished(10s, "rpc")) {
        std::cerr << "not unpublished in time\n";
        return 1;
    }
    std::cout << "unpublished; the handle has no configuration ID any more: "
              << (first.getConfigurationID().empty() ? "true" : "false") << '\n';

    // Without a wait: going out of scope, or reset(), withdraws as well, and returns at once.
    SPFConfiguration second = publish("second", argv[1]);
    if (!second.waitForAllEndpoints(10s, "rpc")) {
        std::cerr << "the endpoint could not be bound again\n";
        return 1;
    }
    std::cout << "the endpoint was bound again\n";
    return first.getConfigurationID().empty() ? 0 : 1;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
