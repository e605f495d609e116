// What docs/errors.md shows: the three ways in which a configuration fails, and how a client tells them
// apart.
#include <chrono>
#include <exception>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "agent/host/standalone/StandaloneHost.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

namespace {

using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using namespace std::chrono_literals;

class Errors : public testing::Test {
protected:
    void SetUp() override { agent::host::standalone::setInstallationRoot(SPF_INSTALLATION_ROOT); }

    static SPFConfigurationBuilder builderFor(std::string const& endpoint) {
        SPFConfigurationBuilder builder("errors");
        builder.addServicePublisher("rpc", "rpcservicepublisher", {endpoint}, {}, "", "");
        return builder;
    }
};

// [handling]
std::string publishAndWait(SPFConfigurationBuilder& builder, std::chrono::milliseconds timeout) {
    SPFConfiguration configuration;
    try {
        configuration = builder.build();
    } catch (std::exception const& error) {
        return std::string("not published: ") + error.what();
    }
    try {
        if (configuration.waitForAllEndpoints(timeout, "rpc")) {
            return "ready";
        }
    } catch (std::exception const& error) {
        return std::string("refused by the framework: ") + error.what();
    }
    std::ostringstream text;
    text << "not ready in time:";
    auto const [toConnect, toBind] = configuration.listOutstandingEndpoints("rpc");
    for (auto const* endpoints : {&toConnect, &toBind}) {
        for (auto const& endpoint : *endpoints) {
            text << ' ' << endpoint.ToString();
        }
    }
    return text.str();
}
// [handling]

TEST_F(Errors, OfTheConfigurationAreThrownByBuild) {
    auto builder = builderFor("unix:nobody.sock");
    builder.addServiceMapping("thermometer", "rpc");
    EXPECT_EQ(
        publishAndWait(builder, 0s),
        "not published: ServiceMapping references an unknown ServiceInterface Configuration thermometer");
}

TEST_F(Errors, OfTheFrameworkAreThrownByTheWaits) {
    auto builder = builderFor("carrier-pigeon:coop");
    auto const result = publishAndWait(builder, 10s);
    EXPECT_EQ(result.find("refused by the framework: "), 0u) << result;
    EXPECT_NE(result.find("unknown scheme \"carrier-pigeon\""), std::string::npos) << result;
}

TEST_F(Errors, LackOfTimeIsNoException) {
    auto builder = builderFor("unix:nobody.sock");
    EXPECT_EQ(publishAndWait(builder, 0s), "not ready in time: unix:nobody.sock");
}

} // namespace
