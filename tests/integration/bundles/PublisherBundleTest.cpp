// What the bundles of an installation do together with a published configuration.
#include <filesystem>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"

namespace {

using bundles_test::BundlesTest;
using bundles_test::ConfigurationMap;
using bundles_test::freeTcpPort;
using bundles_test::RawListener;
using bundles_test::RawSocket;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class PublisherBundle : public BundlesTest {
protected:
    // Publishes an interface "clock" at `endpoint`, and a client of it.
    ConfigurationMap clockAndClient(std::string const& endpoint, std::string const& importFilter = {},
                                    std::string const& exportFilter = {}) {
        return ConfigurationMap()
            .interface("i1", "clock", {{"colour", "red"}})
            .publisher("server", {endpoint}, {}, {}, exportFilter)
            .publisher("client", {}, {endpoint}, importFilter)
            .map("i1", "server");
    }

    bool waitForEventWith(std::string const& text) {
        return events_.waitUntil([&](auto const& events) {
            return std::any_of(events.begin(), events.end(),
                               [&](auto const& event) { return event.find(text) != std::string::npos; });
        });
    }

    bool waitForStatusWith(std::string const& text) {
        return statuses_.waitUntil([&](auto const& statuses) {
            return std::any_of(statuses.begin(), statuses.end(),
                               [&](auto const& status) { return status.find(text) != std::string::npos; });
        });
    }
};

TEST_F(PublisherBundle, BindsAUnixEndpointAndPublishes) {
    auto const endpoint = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());

    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    EXPECT_THAT(events_.values(), ElementsAre("Bound " + endpoint + " p 1", "AllServicesPublished p 1"));
    EXPECT_TRUE(std::filesystem::is_socket(socketPath("a.sock")));
}

TEST_F(PublisherBundle, UnixSocketsAreTheirUsersAlone) {
    installation_.publish("one", ConfigurationMap().publisher("p", {socketEndpoint("a.sock")}).build());

    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(socketPath("a.sock")).permissions(),
              perms::owner_read | perms::owner_write);
}

TEST_F(PublisherBundle, BindsAndConnectsTcp) {
    auto const endpoint = "tcp:127.0.0.1:" + std::to_string(freeTcpPort());

    installation_.publish("one", clockAndClient(endpoint).build());

    EXPECT_TRUE(events_.waitFor("Bound " + endpoint + " server 1"));
    EXPECT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_F(PublisherBundle, APublisherWithoutEndpointsToBindPublishesAtOnce) {
    installation_.publish("one",
                          ConfigurationMap().publisher("p", {}, {socketEndpoint("nobody.sock")}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
}

TEST_F(PublisherBundle, EndpointsToConnectToDoNotHoldPublicationBack) {
    auto const bound = socketEndpoint("a.sock");

    installation_.publish(
        "one", ConfigurationMap().publisher("p", {bound}, {socketEndpoint("nobody.sock")}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Connected"))));
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

TEST_F(PublisherBundle, RemoteServicesCarryTheirOriginAndTheRequiredProperties) {
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

TEST_F(PublisherBundle, TheExportFilterKeepsInterfacesFromPeers) {
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

TEST_F(PublisherBundle, TheImportFilterKeepsInterfacesOut) {
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

TEST_F(PublisherBundle, AFilterThatIsNoneIsAnErrorThatQuotesIt) {
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {}, "(colour=").build());

    ASSERT_TRUE(waitForEventWith("Error p 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr("importFilter"), HasSubstr("(colour="))));
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

TEST_F(PublisherBundle, AModificationReportsWhatStaysUnderTheNewCount) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const configuration = [&](int count) {
        return ConfigurationMap(count)
            .publisher("server", {endpoint})
            .publisher("client", {}, {endpoint})
            .build();
    };
    installation_.publish("one", configuration(1));
    ASSERT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));

    installation_.publish("one", configuration(2));

    EXPECT_TRUE(events_.waitFor("Rebound " + endpoint + " server 2"));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished server 2"));
    EXPECT_TRUE(events_.waitFor("Reconnected " + endpoint + " client 2"));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished client 2"));
}

TEST_F(PublisherBundle, AModificationAddsAndRemovesEndpointsInterfacesAndPublishers) {
    auto const first = socketEndpoint("a.sock");
    auto const second = socketEndpoint("b.sock");
    installation_.publish("one", ConfigurationMap(1)
                                     .interface("i1", "clock")
                                     .publisher("server", {first})
                                     .publisher("client", {}, {first})
                                     .publisher("idle", {})
                                     .map("i1", "server")
                                     .build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + first}));

    installation_.publish("one", ConfigurationMap(2)
                                     .interface("i2", "lamp")
                                     .publisher("server", {second})
                                     .publisher("client", {}, {second})
                                     .map("i2", "server")
                                     .build());

    EXPECT_TRUE(events_.waitFor("Bound " + second + " server 2"));
    EXPECT_TRUE(events_.waitFor("ConfigurationRemoved idle 1"));
    EXPECT_TRUE(waitForRemoteServices({"lamp i2 server via " + second}));
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
}

TEST_F(PublisherBundle, AConfigurationThatComesAgainIsAppliedAfterItsRemovalWasReported) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const configuration = ConfigurationMap(1).publisher("server", {endpoint}).build();
    installation_.publish("one", configuration);
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));

    installation_.withdraw("one");
    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved server 1"));
    installation_.publish("one", configuration);

    EXPECT_TRUE(events_.waitFor("AllServicesPublished server 1", 2));
}

TEST_F(PublisherBundle, AnUnknownSchemeIsAnErrorThatDisturbsNothingElse) {
    auto const good = socketEndpoint("a.sock");
    installation_.publish("one",
                          ConfigurationMap().publisher("bad", {"pipe:x"}).publisher("good", {good}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished good 1"));
    ASSERT_TRUE(waitForEventWith("Error bad 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr("pipe:x"), HasSubstr("unknown scheme \"pipe\""))));
    EXPECT_TRUE(waitForStatusWith("bad pipe:x failed"));
}

TEST_F(PublisherBundle, AnAddressInUseIsAnErrorThatNamesIt) {
    RawListener const other(socketPath("a.sock"));
    auto const endpoint = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());

    ASSERT_TRUE(waitForEventWith("Error p 1"));
    EXPECT_THAT(events_.values(),
                ElementsAre(AllOf(HasSubstr(endpoint), HasSubstr("Address already in use"))));
    EXPECT_TRUE(std::filesystem::is_socket(socketPath("a.sock"))) << "the live socket was taken away";
}

TEST_F(PublisherBundle, ATcpPortInUseIsAnErrorThatNamesIt) {
    auto const endpoint = "tcp:127.0.0.1:" + std::to_string(freeTcpPort());
    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));

    installation_.publish("two", ConfigurationMap().publisher("q", {endpoint}).build());

    ASSERT_TRUE(waitForEventWith("Error q 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr(endpoint), HasSubstr("Address already in use"))));
}

TEST_F(PublisherBundle, ASocketThatADeadProcessLeftIsReplaced) {
    { RawListener const dead(socketPath("a.sock")); } // closes the socket and leaves its file
    ASSERT_TRUE(std::filesystem::is_socket(socketPath("a.sock")));

    installation_.publish("one", ConfigurationMap().publisher("p", {socketEndpoint("a.sock")}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
}

TEST_F(PublisherBundle, AnEndpointThatFailedIsTriedAgainByTheNextModification) {
    auto const endpoint = socketEndpoint("a.sock");
    {
        RawListener const other(socketPath("a.sock"));
        installation_.publish("one", ConfigurationMap(1).publisher("p", {endpoint}).build());
        ASSERT_TRUE(waitForEventWith("Error p 1"));
    }

    installation_.publish("one", ConfigurationMap(2).publisher("p", {endpoint}).build());

    EXPECT_TRUE(events_.waitFor("Bound " + endpoint + " p 2"));
}

TEST_F(PublisherBundle, AFailedAttemptToConnectIsAStatusWithItsReasonAndNoError) {
    installation_.publish("one",
                          ConfigurationMap().publisher("p", {}, {socketEndpoint("nobody.sock")}).build());

    EXPECT_TRUE(waitForStatusWith("connecting: No such file or directory"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Error"))));
}

TEST_F(PublisherBundle, ALatePeerIsConnectedTo) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("client", ConfigurationMap().publisher("client", {}, {endpoint}).build());
    ASSERT_TRUE(waitForStatusWith("connecting: No such file or directory"));

    installation_.publish("server", ConfigurationMap().publisher("server", {endpoint}).build());

    EXPECT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));
}

TEST_F(PublisherBundle, APeerThatGoesAwayIsSeenAndConnectedToAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const server =
        ConfigurationMap().interface("i", "clock").publisher("server", {endpoint}).map("i", "server");
    installation_.publish("server", server.build());
    installation_.publish("client", ConfigurationMap().publisher("client", {}, {endpoint}).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i server via " + endpoint}));

    installation_.withdraw("server");
    EXPECT_TRUE(waitForStatusWith("client " + endpoint + " lost: connection closed by the peer"));
    EXPECT_TRUE(waitForRemoteServices({}));

    installation_.publish("server", server.build());
    EXPECT_TRUE(events_.waitFor("Reconnected " + endpoint + " client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i server via " + endpoint}));
}

TEST_F(PublisherBundle, AConnectionWithoutAHandshakeIsNotConnected) {
    RawListener const silent(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());

    EXPECT_TRUE(waitForStatusWith("connecting: waits for the peer to answer the handshake"));
    auto peer = silent.accept();
    peer.readFrame(); // the greeting
    peer.close();
    EXPECT_TRUE(waitForStatusWith("connecting: connection closed by the peer"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Connected"))));
}

TEST_F(PublisherBundle, APeerOfAnotherProtocolVersionIsRefusedWithTheReason) {
    RawListener const other(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto peer = other.accept();

    peer.sendFrame(R"({"type":"hello","protocol":2,"agent":"a","publisher":"b"})");

    EXPECT_TRUE(waitForStatusWith("connecting: protocol version 2 is not supported, expected 1"));
}

// Whatever a peer sends instead of what the protocol allows, it alone loses its connection.
class MalformedPeer : public PublisherBundle,
                      public testing::WithParamInterface<std::pair<char const*, std::string>> {};

TEST_P(MalformedPeer, LosesItsConnectionAndNobodyElseIsDisturbed) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    RawSocket peer(socketPath("a.sock"));
    peer.send(GetParam().second);

    EXPECT_TRUE(peer.isClosedByPeer());
    EXPECT_THAT(remoteServices(), ElementsAre("clock i1 server via " + endpoint));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Error"))));
    EXPECT_THAT(statuses_.values(), Not(Contains(HasSubstr("lost"))));
}

std::string const hello = R"({"type":"hello","protocol":1,"agent":"a","publisher":"b"})";

INSTANTIATE_TEST_SUITE_P(
    Bundles, MalformedPeer,
    testing::Values(std::pair("EmptyFrame", std::string(4, '\0')),
                    std::pair("OversizedFrame", std::string("\x00\x10\x00\x01", 4)),
                    std::pair("HugeFrame", std::string("\xff\xff\xff\xff", 4)),
                    std::pair("NoJson", RawSocket::frame("hello")),
                    std::pair("DeepJson", RawSocket::frame(std::string(100000, '['))),
                    std::pair("AnotherType", RawSocket::frame(R"({"type":"goodbye"})")),
                    std::pair("OffersBeforeHello", RawSocket::frame(R"({"type":"offers","interfaces":[]})")),
                    std::pair("TwoHellos", RawSocket::frame(hello) + RawSocket::frame(hello)),
                    std::pair("OffersOfTheWrongType",
                              RawSocket::frame(hello) +
                                  RawSocket::frame(R"({"type":"offers","interfaces":[7]})"))),
    [](auto const& tested) { return std::string(tested.param.first); });

// Holds up the publishers' thread from the first event that it gets until it is opened.
class Gate : public agent::spf::frameworklistener::FrameworkListener {
public:
    void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event>) override {
        reached.add(0);
        opened.waitFor(0);
    }
    bundles_test::Record<int> reached;
    bundles_test::Record<int> opened;
};

TEST_F(PublisherBundle, APeerThatSendsFasterThanItIsListenedToIsClosed) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap().publisher("server", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    RawSocket peer(socketPath("a.sock"));
    peer.sendFrame(hello);
    peer.readFrame(); // the answer to the greeting
    auto const gate = std::make_shared<Gate>();
    installation_.context().RegisterService<agent::spf::frameworklistener::FrameworkListener>(gate);
    installation_.publish("two", ConfigurationMap().publisher("idle", {}).build());
    ASSERT_TRUE(gate->reached.waitFor(0));

    for (int i = 0; i < 6; ++i) {
        peer.sendFrame(std::string(1024 * 1024, ' '));
    }

    EXPECT_TRUE(peer.isClosedByPeer());
    gate->opened.add(0);
}

TEST_F(PublisherBundle, ALateStatusListenerIsToldThePresentStatuses) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));

    auto const late = std::make_shared<bundles_test::StatusRecorder>();
    installation_.context().RegisterService<agent::spf::bundles::EndpointStatusListener>(late);

    EXPECT_TRUE(late->statuses.waitFor("p " + endpoint + " bound: "));
}

TEST_F(PublisherBundle, EndpointsAreLostWithTheProviderAndComeBackWithIt) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    auto provider = installation_.bundle("agent_spf_socketprovider");
    provider.Stop();
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
    EXPECT_TRUE(waitForStatusWith("server " + endpoint + " lost: waits for the endpoint provider"));
    EXPECT_TRUE(waitForRemoteServices({}));

    provider.Start();
    EXPECT_TRUE(events_.waitFor("Rebound " + endpoint + " server 1"));
    EXPECT_TRUE(events_.waitFor("Reconnected " + endpoint + " client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_F(PublisherBundle, AStoppedPublisherWithdrawsAndPublishesAgainWhenStarted) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));

    auto publisher = installation_.bundle("agent_spf_rpcservicepublisher");
    publisher.Stop();
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));

    publisher.Start();
    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1", 2));
}

TEST_F(PublisherBundle, RemovalIsReportedWhenThereIsNoPublisherBundle) {
    installation_.publish("one", ConfigurationMap(3).publisher("p", {socketEndpoint("a.sock")}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 3"));
    installation_.bundle("agent_spf_rpcservicepublisher").Stop();

    installation_.withdraw("one");

    EXPECT_TRUE(events_.waitFor("ConfigurationRemoved p 3"));
}

TEST_F(PublisherBundle, TheClientFindsPeersThatWereThereBeforeIt) {
    auto const endpoint = socketEndpoint("a.sock");
    auto client = installation_.bundle("agent_spf_remoteserviceclient");
    client.Stop();
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));

    client.Start();

    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_F(PublisherBundle, StoppingTheFrameworkWithLiveConnectionsRemovesTheSockets) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    installation_.stop();

    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
}

TEST_F(PublisherBundle, AMappingToAnUnknownInterfaceIsAnErrorOfThePublisher) {
    installation_.publish(
        "one", ConfigurationMap().publisher("p", {}).publisher("q", {}).map("nothing", "p").build());

    ASSERT_TRUE(waitForEventWith("Error p 1"));
    EXPECT_THAT(events_.values(), Contains(HasSubstr("unknown interface \"nothing\"")));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished q 1"));
}

TEST_F(PublisherBundle, LegacyPublishersFindEachOtherByDiscoveryName) {
    installation_.publish(
        "client", ConfigurationMap().legacyPublisher("client", {}, {"zentorConnectorDiscovery"}).build());
    ASSERT_TRUE(waitForStatusWith("connecting: no running process announces \"zentorConnectorDiscovery\""));

    installation_.publish("server", ConfigurationMap()
                                        .interface("i", "clock")
                                        .legacyPublisher("server", {"zentorConnectorDiscovery"})
                                        .map("i", "server")
                                        .build());

    EXPECT_TRUE(events_.waitFor("Bound zentorConnectorDiscovery server 1"));
    EXPECT_TRUE(events_.waitFor("Connected zentorConnectorDiscovery client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i server via zentorConnectorDiscovery"}));
}

TEST_F(PublisherBundle, ALegacyPublisherSeesTheAnnouncementGo) {
    installation_.publish("server", ConfigurationMap().legacyPublisher("server", {"name"}).build());
    installation_.publish("client", ConfigurationMap().legacyPublisher("client", {}, {"name"}).build());
    ASSERT_TRUE(events_.waitFor("Connected name client 1"));

    installation_.withdraw("server");

    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved server 1"));
    EXPECT_TRUE(waitForStatusWith("client name lost"));
    EXPECT_TRUE(waitForStatusWith("no running process announces \"name\""));
}

} // namespace
