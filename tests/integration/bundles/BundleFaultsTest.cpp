// Bundles whose start or stop runs out of memory.
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "BundlesTest.hpp"
#include "support/AllocationFailure.hpp"

namespace {

using namespace bundles_test;
using agent::spf::frameworksetup::test::AllocationFailure;

class BundleFaults : public BundlesTest, public testing::WithParamInterface<char const*> {};

// Whether the operation has an n-th allocation. That one fails, or from that one on all.
template <typename Operation>
bool runsOutOfMemoryAt(std::size_t n, AllocationFailure::Duration duration, Operation const& operation) {
    AllocationFailure const failure(n, duration);
    try {
        operation();
    } catch (std::exception const&) {
        EXPECT_TRUE(failure.happened()) << "an exception without a fault";
    }
    return failure.happened();
}

// The other bundles are at work meanwhile: what they have registered is found, and calls back, while the
// bundle starts.
TEST_P(BundleFaults, WhicheverAllocationOfItsStartFailsTheBundleCanBeStartedAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
    auto bundle = installation_.bundle(GetParam());

    std::size_t step = 0;
    do {
        bundle.Stop();
        ++step;
    } while (runsOutOfMemoryAt(step, AllocationFailure::Duration::Once, [&] { bundle.Start(); }) &&
             !HasFailure());

    EXPECT_GT(step, 10U);
    bundle.Start();
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_P(BundleFaults, WhicheverAllocationsOfItsStopFailTheBundleStopsAndCanBeStartedAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    auto bundle = installation_.bundle(GetParam());

    std::size_t step = 0;
    bool failed = true;
    while (failed && !HasFailure()) {
        ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint})) << step;
        failed = runsOutOfMemoryAt(++step, AllocationFailure::Duration::Lasting, [&] { bundle.Stop(); });
        EXPECT_NE(bundle.GetState(), cppmicroservices::Bundle::STATE_STOPPING) << step;
        bundle.Start();
    }

    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

INSTANTIATE_TEST_SUITE_P(Bundles, BundleFaults,
                         testing::Values("agent_spf_jsonserialiser", "agent_spf_runtimedirectorydiscovery",
                                         "agent_spf_socketprovider", "agent_spf_configurationframework",
                                         "agent_spf_rpcservicepublisher", "agent_spf_legacyservicepublisher",
                                         "agent_spf_remoteserviceclient"),
                         [](auto const& bundle) { return std::string(bundle.param); });

} // namespace
