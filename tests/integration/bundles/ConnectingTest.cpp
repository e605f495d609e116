// The way of an endpoint to connect: attempts, handshake, loss and return of the peer.
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

class Connecting : public BundlesTest {};

TEST_F(Connecting, AFailedAttemptToConnectIsAStatusWithItsReasonAndNoError) {
    installation_.publish("one",
                          ConfigurationMap().publisher("p", {}, {socketEndpoint("nobody.sock")}).build());

    EXPECT_TRUE(statuses_.waitForOneWith("connecting: No such file or directory"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Error"))));
}

TEST_F(Connecting, ALatePeerIsConnectedTo) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("client", ConfigurationMap().publisher("client", {}, {endpoint}).build());
    ASSERT_TRUE(statuses_.waitForOneWith("connecting: No such file or directory"));

    installation_.publish("server", ConfigurationMap().publisher("server", {endpoint}).build());

    EXPECT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));
}

TEST_F(Connecting, APeerThatGoesAwayIsSeenAndConnectedToAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const server =
        ConfigurationMap().interface("i", "clock").publisher("server", {endpoint}).map("i", "server");
    installation_.publish("server", server.build());
    installation_.publish("client", ConfigurationMap().publisher("client", {}, {endpoint}).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i server via " + endpoint}));

    installation_.withdraw("server");
    EXPECT_TRUE(statuses_.waitForOneWith("client " + endpoint + " lost: connection closed by the peer"));
    EXPECT_TRUE(waitForRemoteServices({}));

    installation_.publish("server", server.build());
    EXPECT_TRUE(events_.waitFor("Reconnected " + endpoint + " client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i server via " + endpoint}));
}

TEST_F(Connecting, AConnectionWithoutAHandshakeIsNotConnected) {
    RawListener const silent(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());

    EXPECT_TRUE(statuses_.waitForOneWith("connecting: waits for the peer to answer the handshake"));
    auto peer = silent.accept();
    peer.readFrame(); // the greeting
    peer.close();
    EXPECT_TRUE(statuses_.waitForOneWith("connecting: connection closed by the peer"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Connected"))));
}

TEST_F(Connecting, APeerOfAnotherProtocolVersionIsRefusedWithTheReason) {
    RawListener const other(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto peer = other.accept();

    peer.sendFrame(R"({"type":"hello","protocol":2,"agent":"a","publisher":"b"})");

    EXPECT_TRUE(statuses_.waitForOneWith("connecting: protocol version 2 is not supported, expected 1"));
}

} // namespace
