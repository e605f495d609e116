// The scenarios, and what they share.
#ifndef TESTS_RELIABILITY_INTERLEAVING_SCENARIOS_SCENARIOS_HPP
#define TESTS_RELIABILITY_INTERLEAVING_SCENARIOS_SCENARIOS_HPP

#include <chrono>
#include <string>
#include <vector>

#include "FakeFramework.hpp"
#include "Scheduler.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "exploration.hpp"
#include "tracking/configurationMap.hpp"
#include "tracking/frameworkEvents.hpp"

namespace interleaving {

std::vector<Scenario> configTrackerScenarios();
std::vector<Scenario> listenerScenarios();
std::vector<Scenario> updateTrackerScenarios();
std::vector<Scenario> handleScenarios();
std::vector<Scenario> startUpScenarios();

using namespace agent::spf::frameworksetup;
using test::allServicesPublished;
using test::bound;
using test::configurationRemoved;
using test::connected;
using test::endpoint;
using test::errored;
using test::errorWith;

// A wait that nobody ends in this time has been forgotten: time passes only when no thread can go on.
inline constexpr std::chrono::milliseconds longTime = std::chrono::hours(1);
inline constexpr std::chrono::milliseconds noTime = std::chrono::milliseconds::zero();

// The text of the std::exception that the call throws; empty when it throws none.
template <typename Call>
std::string errorOf(Call const& call) {
    try {
        call();
    } catch (std::exception const& error) {
        return error.what();
    }
    return {};
}

// A host with a running framework.
struct RunningHost {
    RunningHost() { host.reset(framework); }
    FakeFramework framework;
    FakeHost& host = FakeHost::instance();
};

// A configuration of one publisher, "p", that has nothing but services to wait for.
inline SPFConfiguration build(std::string name) {
    return SPFConfigurationBuilder(std::move(name))
        .addServicePublisher({"p", "rpcservicepublisher", {}, {}, "", ""})
        .build();
}

} // namespace interleaving

#endif
