// The user's side of an endpoint, as tests need it.
#ifndef ENDPOINT_RECORDER_HPP
#define ENDPOINT_RECORDER_HPP

#include <memory>
#include <string>

#include "BundlesTest.hpp"
#include "agent/spf/bundles/EndpointProvider.hpp"

namespace bundles_test {

// Records what an endpoint reports, and keeps its connections.
class EndpointRecorder : public agent::spf::bundles::EndpointHandler {
public:
    void bound(std::string const& address) override { reports.add("bound " + address); }
    void opened(std::shared_ptr<agent::spf::bundles::Connection> connection) override {
        connections.add(connection);
    }
    void retrying(std::string const& reason) override { reports.add("retrying: " + reason); }
    void failed(std::string const& reason) override { reports.add("failed: " + reason); }

    std::shared_ptr<agent::spf::bundles::Connection> firstConnection() {
        connections.waitUntil([](auto const& all) { return !all.empty(); });
        return connections.values().at(0);
    }

    Record<std::string> reports;
    Record<std::shared_ptr<agent::spf::bundles::Connection>> connections;
};

} // namespace bundles_test

#endif
