// The way of an endpoint to connect: attempts, handshake, loss and return of the peer.
#include <algorithm>
#include <chrono>
#include <iterator>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"
#include "Unprivileged.hpp"
#include "agent/spf/bundles/RemoteOffers.hpp"

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
    EXPECT_THAT(statuses_.values(), Not(Contains(HasSubstr(" lost")))) << "it was never there";
}

TEST_F(Connecting, APeerOfAnotherProtocolVersionIsRefusedWithTheReason) {
    RawListener const other(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto peer = other.accept();

    peer.sendFrame(R"({"type":"hello","protocol":2,"agent":"a","publisher":"b"})");

    EXPECT_TRUE(statuses_.waitForOneWith("connecting: protocol version 2 is not supported, expected 1"));
}

std::string const hello = R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})";

TEST_F(Connecting, APeerIsConnectedWhenItHasAnsweredTheHandshakeAndReconnectedWhenItHasAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {endpoint}).build());

    auto first = server.accept();
    first.readFrame();
    EXPECT_THAT(events_.values(), ElementsAre("AllServicesPublished p 1"));
    first.sendFrame(hello);
    ASSERT_TRUE(events_.waitFor("Connected " + endpoint + " p 1"));
    first.close();
    auto second = server.accept();
    second.readFrame();
    second.sendFrame(hello);

    EXPECT_TRUE(events_.waitFor("Reconnected " + endpoint + " p 1"));
    EXPECT_THAT(events_.values(), ElementsAre("AllServicesPublished p 1", "Connected " + endpoint + " p 1",
                                              "Reconnected " + endpoint + " p 1"));
}

TEST_F(Connecting, ALossIsReportedBeforeTheNextAttempt) {
    auto const endpoint = socketEndpoint("a.sock");
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {endpoint}).build());
    auto peer = server.accept();
    peer.sendFrame(hello);
    auto const of = [&](std::string const& state) { return "p " + endpoint + " " + state; };
    ASSERT_TRUE(statuses_.waitFor(of("connected: peer raw")));

    peer.close();

    ASSERT_TRUE(statuses_.waitFor(of("connecting: connection closed by the peer")));
    EXPECT_THAT(statuses_.values(),
                ElementsAre(of("connecting: "), of("connecting: waits for the peer to answer the handshake"),
                            of("connected: peer raw"), of("lost: connection closed by the peer"),
                            of("connecting: connection closed by the peer")));
}

TEST_F(Connecting, APeerThatMisbehavesLaterIsLostBeforeTheNextAttempt) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto peer = server.accept();

    peer.sendFrame(hello);
    peer.sendFrame(hello);

    auto const attempt = statuses_.waitForFirstWith("connecting: the peer greets twice");
    auto const statuses = statuses_.values();
    auto const found = std::find(statuses.begin(), statuses.end(), attempt);
    ASSERT_GT(found - statuses.begin(), 0);
    EXPECT_THAT(*std::prev(found), HasSubstr("lost: the peer greets twice"));
}

TEST_F(Connecting, APeerThatNeverAnswersIsGivenUpAndTriedAgain) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto silent = server.accept();

    EXPECT_TRUE(statuses_.waitForOneWith("connecting: no answer to the handshake in 5 seconds"));

    EXPECT_TRUE(silent.isClosedByPeer());
    auto const again = server.accept();
    EXPECT_THAT(statuses_.values(), Not(Contains(HasSubstr("connected:"))));
}

TEST_F(Connecting, WhatAPeerAnswersIsQuotedCutAndWithoutControlCharacters) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto peer = server.accept();

    peer.sendFrame(R"({"type":"\u001b[31m\u007f\u0080\u009b\u00a0)" + std::string(1000, 'x') + "\"}");

    auto const status = statuses_.waitForFirstWith("connecting: message: unknown type \"?[31m???\u00a0xxx");
    EXPECT_THAT(status, EndsWith("xxx..."));
    EXPECT_LT(status.size(), 400U);
}

TEST_F(Connecting, APeerThatHasAnsweredIsNamedCutAndWithoutControlCharacters) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto peer = server.accept();

    peer.sendFrame(R"({"type":"hello","protocol":1,"publisher":"b","agent":"\n\u001b[31m)" +
                   std::string(1000, 'x') + "\"}");

    auto const status = statuses_.waitForFirstWith(" connected: ");
    EXPECT_THAT(status, HasSubstr(" connected: peer ??[31mxxx"));
    EXPECT_THAT(status, EndsWith("xxx..."));
    EXPECT_LT(status.size(), 400U);
}

TEST_F(Connecting, APeersNameIsNotCutWithinACharacter) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    auto peer = server.accept();
    std::string name = "x"; // so that a character of two bytes lies across every even length
    for (int i = 0; i < 150; ++i) {
        name += "\u00fc";
    }

    peer.sendFrame(R"({"type":"hello","protocol":1,"publisher":"b","agent":")" + name + "\"}");

    EXPECT_THAT(statuses_.waitForFirstWith(" connected: "), EndsWith("\u00fc..."));
}

struct Mistake {
    char const* name;
    std::string bytes; // that the peer sends
    char const* status;
};

class PeerThatErrs : public BundlesTest, public WithParamInterface<Mistake> {};

TEST_P(PeerThatErrs, IsToldWithWhatItDoesWrong) {
    RawListener const server(socketPath("a.sock"));
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {endpoint}).build());
    auto peer = server.accept();

    peer.send(GetParam().bytes);

    EXPECT_THAT(statuses_.waitForFirstWith(std::string("p ") + endpoint + " " + GetParam().status),
                EndsWith(GetParam().status));
    EXPECT_TRUE(peer.isClosedByPeer());
}

std::string frame(std::string const& text) {
    return RawSocket::frame(text);
}

std::string offers(std::string const& interfaces) {
    return frame(hello) + frame(R"({"type":"offers","interfaces":)" + interfaces + "}");
}

INSTANTIATE_TEST_SUITE_P(
    Bundles, PeerThatErrs,
    Values(Mistake{"EmptyFrame", std::string(4, '\0'),
                   "connecting: the peer sent a frame of 0 bytes, allowed are 1 to 1048576"},
           Mistake{"HugeFrame", std::string("\xff\xff\xff\xff", 4),
                   "connecting: the peer sent a frame of 4294967295 bytes, allowed are 1 to 1048576"},
           Mistake{"NoType", frame("{}"), R"(connecting: message: "type" is missing, expected a string)"},
           Mistake{"UnknownType", frame(R"({"type":"x"})"), R"(connecting: message: unknown type "x")"},
           Mistake{"NoVersion", frame(R"({"type":"hello"})"),
                   R"(connecting: hello: "protocol" is missing, expected an integer)"},
           Mistake{"AnOlderVersion", frame(R"({"type":"hello","protocol":0,"agent":"a","publisher":"r"})"),
                   "connecting: protocol version 0 is not supported, expected 1"},
           Mistake{"AgentOfAnotherType", frame(R"({"type":"hello","protocol":1,"agent":2,"publisher":"r"})"),
                   R"(connecting: hello: "agent" is not a string)"},
           Mistake{"OffersBeforeHello", frame(R"({"type":"offers","interfaces":[]})"),
                   "connecting: the peer offers before it greets"},
           Mistake{"OffersThatAreNoList", offers("7"), R"(lost: offers: "interfaces" is not a list)"},
           Mistake{"AnOfferThatIsNoMap", offers("[7]"), "lost: offers: an interface is not a map"},
           Mistake{"AnOfferWithoutName", offers("[{}]"),
                   R"(lost: offers: "name" is missing, expected a string)"},
           Mistake{"AUniqueIDTwice",
                   offers(R"([{"name":"n","uniqueID":"i","version":1,"properties":{}},)"
                          R"({"name":"n","uniqueID":"i","version":1,"properties":{}}])"),
                   R"(lost: offers: the unique ID "i" appears twice)"}),
    [](auto const& mistake) { return std::string(mistake.param.name); });

TEST_F(Connecting, APeerThatHasNotGreetedIsToldNothingOfAModification) {
    auto const publish = [&](int count) {
        installation_.publish("one",
                              ConfigurationMap(count).publisher("p", {socketEndpoint("a.sock")}).build());
        ASSERT_TRUE(events_.waitFor("AllServicesPublished p " + std::to_string(count)));
    };
    publish(1);
    RawSocket silent(socketPath("a.sock"));
    RawSocket later(socketPath("a.sock"));
    later.sendFrame(hello);
    later.readFrame(); // so the one before it has been accepted, too

    publish(2);
    EXPECT_THAT(installation_.context().GetServiceReferences<agent::spf::bundles::RemoteOffers>(), IsEmpty())
        << "nor is anybody told of offers of who has made none";
    silent.sendFrame(hello);

    EXPECT_THAT(silent.readFrame(), HasSubstr(R"("hello")"));
}

TEST_F(Connecting, AttemptsAtAPeerThatNeverAnswersGrowApart) {
    RawListener const server(socketPath("a.sock"));
    auto const begin = std::chrono::steady_clock::now();
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());

    for (int attempt = 0; attempt < 5; ++attempt) {
        server.accept().close();
    }

    // Intervals of 50, 100, 200 and 400 milliseconds, less a quarter at most.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(560));
}

TEST_F(Connecting, APeerThatHasAnsweredIsTriedAgainAsSoonAsAtFirst) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
    for (int attempt = 0; attempt < 6; ++attempt) { // the next interval is one of 3200 milliseconds
        server.accept().close();
    }
    auto peer = server.accept();
    peer.sendFrame(hello);
    peer.readFrame(); // the greeting
    peer.readFrame(); // what is offered, once the answer has been read

    auto const end = std::chrono::steady_clock::now();
    peer.close();
    server.accept();

    EXPECT_LT(std::chrono::steady_clock::now() - end, std::chrono::milliseconds(2400));
}

TEST_F(Connecting, ASocketThatMayNotBeUsedIsAnErrorThatNamesIt) {
    RawListener const server(socketPath("a.sock"));
    std::filesystem::permissions(socketPath("a.sock"), std::filesystem::perms::none);
    Unprivileged const user;
    auto const endpoint = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap().publisher("p", {}, {endpoint}).build());

    EXPECT_TRUE(
        events_.waitFor("Error p 1: publisher \"p\": cannot connect to " + endpoint + ": Permission denied"));
    EXPECT_TRUE(statuses_.waitForOneWith("failed: cannot connect to"));
}

TEST_F(Connecting, AHostThatNobodyKnowsIsWaitedFor) {
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {"tcp:host.invalid:1"}).build());

    EXPECT_TRUE(statuses_.waitForOneWith("connecting: no such host \"host.invalid\""));
    EXPECT_THAT(events_.values(), ElementsAre("AllServicesPublished p 1"));
}

TEST_F(Connecting, AGreetingThatCannotBeWrittenEndsTheConnectionOnly) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one",
                          ConfigurationMap().publisher("\xff", {}, {socketEndpoint("a.sock")}).build());

    EXPECT_TRUE(server.accept().isClosedByPeer());
    EXPECT_TRUE(statuses_.waitForOneWith("connecting: property /publisher is not UTF-8 text"));
}

TEST_F(Connecting, AModificationTellsEveryStatusUnderTheNewCount) {
    class Counts : public agent::spf::bundles::EndpointStatusListener {
    public:
        void endpointChanged(agent::spf::bundles::EndpointStatus const& status) override {
            counts.add(status.modificationCount);
        }
        Record<std::uint32_t> counts;
    };
    auto const endpoint = socketEndpoint("nobody.sock");
    auto const listener = std::make_shared<Counts>();
    installation_.context().RegisterService<agent::spf::bundles::EndpointStatusListener>(listener);
    installation_.publish("one", ConfigurationMap(1).publisher("p", {}, {endpoint}).build());
    ASSERT_TRUE(statuses_.waitForOneWith("connecting: No such file or directory"));

    installation_.publish("one", ConfigurationMap(2).publisher("p", {}, {endpoint}).build());

    EXPECT_TRUE(listener->counts.waitFor(2));
}

} // namespace
