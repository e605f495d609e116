// The interfaces of peers as services of the registry.
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

class RemoteServices : public BundlesTest {};

TEST_F(RemoteServices, ConnectsAndBothSidesSeeWhatTheOtherOffers) {
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

TEST_F(RemoteServices, RemoteServicesCarryTheirOriginAndTheRequiredProperties) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap()
                                     .interface("i1", "clock",
                                                {{"spf::requiredServiceProperty::timeout", "30"},
                                                 {"spf::requiredServiceProperty::a\\/b", "slash"},
                                                 {"colour", "red"}})
                                     .publisher("server", {endpoint})
                                     .publisher("client", {}, {endpoint})
                                     .map("i1", "server")
                                     .build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    auto const reference = installation_.context()
                               .GetServiceReferences<agent::spf::bundles::RemoteService>("(timeout=30)")
                               .at(0);
    auto const property = [&](std::string const& key) { return reference.GetProperty(key).ToString(); };
    EXPECT_EQ(property("interface"), "clock");
    EXPECT_EQ(property("uniqueID"), "i1");
    EXPECT_EQ(property("version"), "1");
    EXPECT_EQ(property("publisher"), "server");
    EXPECT_EQ(property("peer"), "test-agent");
    EXPECT_EQ(property("endpoint"), endpoint);
    EXPECT_EQ(property("localPublisher"), "client");
    EXPECT_EQ(property("timeout"), "30");
    EXPECT_EQ(property("a/b"), "slash");
    EXPECT_EQ(property("colour"), "red");
}

TEST_F(RemoteServices, TheExportFilterKeepsInterfacesFromPeers) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap()
                                     .interface("i1", "clock", {{"colour", "red"}})
                                     .interface("i2", "lamp", {{"colour", "blue"}})
                                     .publisher("server", {endpoint}, {}, {}, "(colour=blue)")
                                     .publisher("client", {}, {endpoint})
                                     .map("i1", "server")
                                     .map("i2", "server")
                                     .build());

    EXPECT_TRUE(waitForRemoteServices({"lamp i2 server via " + endpoint}));
}

TEST_F(RemoteServices, TheImportFilterKeepsInterfacesOut) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one",
                          ConfigurationMap()
                              .interface("i1", "clock")
                              .interface("i2", "lamp")
                              .publisher("server", {endpoint})
                              .publisher("client", {}, {endpoint}, "(&(interface=cl*)(publisher=server))")
                              .map("i1", "server")
                              .map("i2", "server")
                              .build());

    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_F(RemoteServices, AFilterThatIsNoneIsAnErrorThatQuotesIt) {
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {}, "(colour=").build());

    ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr("importFilter"), HasSubstr("(colour="))));
}

TEST_F(RemoteServices, TheClientFindsPeersThatWereThereBeforeIt) {
    auto const endpoint = socketEndpoint("a.sock");
    auto client = installation_.bundle("agent_spf_remoteserviceclient");
    client.Stop();
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));

    client.Start();

    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

} // namespace
