// Bundles whose stop runs out of memory.
#include <string>

#include <gtest/gtest.h>

#include "BundlesTest.hpp"
#include "support/AllocationFailure.hpp"

namespace {

using namespace bundles_test;
using agent::spf::frameworksetup::test::AllocationFailure;

class StopFaults : public BundlesTest, public testing::WithParamInterface<char const*> {};

// Whether the bundle's stop has an n-th allocation. From that one on all fail.
bool stopRunsOutOfMemoryAt(std::size_t n, cppmicroservices::Bundle bundle) {
    AllocationFailure const failure(n, AllocationFailure::Duration::Lasting);
    try {
        bundle.Stop();
    } catch (std::exception const&) {
        EXPECT_TRUE(failure.happened()) << "an exception without a fault";
    }
    return failure.happened();
}

TEST_P(StopFaults, WhicheverAllocationFailsTheBundleStopsAndCanBeStartedAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    auto bundle = installation_.bundle(GetParam());

    std::size_t step = 0;
    bool failed = true;
    while (failed && !HasFailure()) {
        ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint})) << step;
        failed = stopRunsOutOfMemoryAt(++step, bundle);
        EXPECT_NE(bundle.GetState(), cppmicroservices::Bundle::STATE_STOPPING) << step;
        bundle.Start();
    }

    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

INSTANTIATE_TEST_SUITE_P(Bundles, StopFaults,
                         testing::Values("agent_spf_jsonserialiser", "agent_spf_runtimedirectorydiscovery",
                                         "agent_spf_socketprovider", "agent_spf_configurationframework",
                                         "agent_spf_rpcservicepublisher", "agent_spf_legacyservicepublisher",
                                         "agent_spf_remoteserviceclient"),
                         [](auto const& bundle) { return std::string(bundle.param); });

} // namespace
