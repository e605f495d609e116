// Outstanding endpoints: wait in short turns, say what is still missing, and go on. The endpoint to connect
// to is bound only after the first turn, by a second configuration of the same process.
//
// usage: outstanding_endpoints ENDPOINT        such as unix:/tmp/outstanding.sock
#include <chrono>
#include <exception>
#include <iostream>

#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

namespace {

using namespace agent::spf::frameworksetup;

SPFConfiguration connectTo(char const* endpoint) {
    SPFConfigurationBuilder builder("connecting");
    builder.addServicePublisher("client", "rpcservicepublisher", {endpoint}, {}, "", "");
    return builder.build();
}

SPFConfiguration bind(char const* endpoint) {
    SPFConfigurationBuilder builder("binding");
    builder.addServicePublisher("server", "rpcservicepublisher", {}, {endpoint}, "", "");
    return builder.build();
}

} // namespace

int main(int argc, char* argv[]) try {
    using namespace std::chrono_literals;
    if (argc != 2) {
        std::cerr << "usage: outstanding_endpoints ENDPOINT\n";
        return 2;
    }

    SPFConfiguration client = connectTo(argv[1]);
    if (client.waitForAllEndpoints(200ms, "client")) {
        std::cerr << "connected to nobody\n";
        return 1;
    }
    auto const [toConnect, toBind] = client.listOutstandingEndpoints("client");
    for (auto const& endpoint : toConnect) {
        std::cout << "still to be connected: " << endpoint.ToString() << '\n';
    }
    if (toConnect.size() != 1 || !toBind.empty()) {
        std::cerr << "expected one endpoint to connect and none to bind\n";
        return 1;
    }

    SPFConfiguration const server = bind(argv[1]);
    if (!client.waitForAllEndpoints(20s, "client")) {
        std::cerr << "not connected in time\n";
        return 1;
    }
    std::cout << "connected; outstanding: " << client.listOutstandingEndpoints("client").first.size() << '\n';
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
