// Publishers whose endpoints are discovery names.
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "ChildProcess.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/DiscoveryService.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

class LegacyPublisher : public BundlesTest {};

TEST_F(LegacyPublisher, LegacyPublishersFindEachOtherByDiscoveryName) {
    installation_.publish(
        "client", ConfigurationMap().legacyPublisher("client", {}, {"zentorConnectorDiscovery"}).build());
    ASSERT_TRUE(
        statuses_.waitForOneWith("connecting: no running process announces \"zentorConnectorDiscovery\""));

    installation_.publish("server", ConfigurationMap()
                                        .interface("i", "clock")
                                        .legacyPublisher("server", {"zentorConnectorDiscovery"})
                                        .map("i", "server")
                                        .build());

    EXPECT_TRUE(events_.waitFor("Bound zentorConnectorDiscovery server 1"));
    EXPECT_TRUE(events_.waitFor("Connected zentorConnectorDiscovery client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i server via zentorConnectorDiscovery"}));
}

TEST_F(LegacyPublisher, ALegacyPublisherSeesTheAnnouncementGo) {
    installation_.publish("server", ConfigurationMap().legacyPublisher("server", {"name"}).build());
    installation_.publish("client", ConfigurationMap().legacyPublisher("client", {}, {"name"}).build());
    ASSERT_TRUE(events_.waitFor("Connected name client 1"));

    installation_.withdraw("server");

    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved server 1"));
    EXPECT_TRUE(statuses_.waitForOneWith("client name lost"));
    EXPECT_TRUE(statuses_.waitForOneWith("no running process announces \"name\""));
}

TEST_F(LegacyPublisher, AnAddressThatFailedIsTriedAgainByTheNextModification) {
    auto const discovery = installation_.context().GetService(
        installation_.context().GetServiceReference<agent::spf::bundles::DiscoveryService>());
    auto const announcement = discovery->announce("name", "nonsense:");
    for (auto const count : {1, 2}) {
        installation_.publish("client", ConfigurationMap(count).legacyPublisher("p", {}, {"name"}).build());

        EXPECT_TRUE(events_.waitForOneWith("Error p " + std::to_string(count) +
                                           ": publisher \"p\": cannot connect to nonsense:"));
    }
}

TEST_F(LegacyPublisher, AnAnnouncerThatIsKilledIsLookedForAgain) {
    RawListener const server(socketPath("a.sock"));
    ChildProcess announcer(
        {BUNDLES_TEST_ANNOUNCER, (directory_.path() / "runtime").string(), "name", socketEndpoint("a.sock")});
    installation_.publish("client", ConfigurationMap().legacyPublisher("client", {}, {"name"}).build());
    auto peer = server.accept();
    peer.sendFrame(R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})");
    ASSERT_TRUE(events_.waitFor("Connected name client 1"));

    announcer.kill();

    EXPECT_TRUE(statuses_.waitForOneWith("client name lost: no running process announces \"name\""));
    EXPECT_TRUE(peer.isClosedByPeer());
}

} // namespace
