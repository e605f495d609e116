// What the bundles of an installation do together with a published configuration.
#include <filesystem>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"

namespace {

using bundles_test::BundlesTest;
using bundles_test::ConfigurationMap;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using PublisherBundle = BundlesTest;

TEST_F(PublisherBundle, BindsAUnixEndpointAndPublishes) {
    auto const endpoint = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());

    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    EXPECT_THAT(events_.values(), ElementsAre("Bound " + endpoint + " p 1", "AllServicesPublished p 1"));
    EXPECT_TRUE(std::filesystem::is_socket(socketPath("a.sock")));
}

TEST_F(PublisherBundle, ConnectsAndBothSidesSeeWhatTheOtherOffers) {
    auto const endpoint = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap()
                                     .interface("i1", "clock")
                                     .interface("i2", "lamp")
                                     .publisher("server", {endpoint})
                                     .publisher("client", {}, {endpoint})
                                     .map("i1", "server")
                                     .map("i2", "client")
                                     .build());

    EXPECT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint, "lamp i2 client via " + endpoint}))
        << testing::PrintToString(remoteServices());
}

TEST_F(PublisherBundle, RemovalIsReportedForEachPublisherWhenSocketsAndServicesAreGone) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap(7)
                                     .interface("i1", "clock")
                                     .publisher("server", {endpoint})
                                     .publisher("client", {}, {endpoint})
                                     .map("i1", "server")
                                     .build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    installation_.withdraw("one");

    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved server 7"));
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved client 7"));
    EXPECT_THAT(remoteServices(), IsEmpty());
}

} // namespace
