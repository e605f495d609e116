// Peers that send what the protocol does not allow, or too much of what it does.
#include <chrono>
#include <vector>

#include <sys/socket.h>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/common/FileDescriptor.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

// Whatever a peer sends instead of what the protocol allows, it alone loses its connection.
class MalformedPeer : public BundlesTest,
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

std::string helloOf(std::string const& agent) {
    return R"({"type":"hello","protocol":1,"agent":")" + agent + R"(","publisher":"b"})";
}

std::string const hello = helloOf("a");

// A message of one interface that has as many bytes.
std::string offersOfSize(std::size_t size, std::string const& uniqueID = "i") {
    auto const begin = R"({"type":"offers","interfaces":[{"name":"n","uniqueID":")" + uniqueID +
                       R"(","version":1,"properties":{"p":")";
    std::string const end = R"("}}]})";
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

INSTANTIATE_TEST_SUITE_P(
    Bundles, MalformedPeer,
    testing::Values(std::pair("EmptyFrame", std::string(4, '\0')),
                    std::pair("OversizedFrame", std::string("\x00\x10\x00\x01", 4)),
                    std::pair("HugeFrame", std::string("\xff\xff\xff\xff", 4)),
                    std::pair("NoJson", RawSocket::frame("hello")),
                    std::pair("DeepJson", RawSocket::frame(std::string(100000, '['))),
                    std::pair("AnotherType", RawSocket::frame(R"({"type":"goodbye"})")),
                    std::pair("OffersBeforeHello", RawSocket::frame(R"({"type":"offers","interfaces":[]})")),
                    std::pair("HelloWithALongName", RawSocket::frame(helloOf(std::string(1025, 'a')))),
                    std::pair("OffersOfALongName",
                              RawSocket::frame(hello) +
                                  RawSocket::frame(R"({"type":"offers","interfaces":[{"name":")" +
                                                   std::string(1025, 'n') +
                                                   R"(","uniqueID":"i","version":1,"properties":{}}]})")),
                    std::pair("TwoHellos", RawSocket::frame(hello) + RawSocket::frame(hello)),
                    std::pair("OffersOfTheWrongType",
                              RawSocket::frame(hello) +
                                  RawSocket::frame(R"({"type":"offers","interfaces":[7]})"))),
    [](auto const& tested) { return std::string(tested.param.first); });

class PeersInExcess : public BundlesTest {
protected:
    // Has a publisher "server" listen at `endpoint_`.
    void serve() {
        installation_.publish("one", ConfigurationMap().publisher("server", {endpoint_}).build());
        ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    }

    // A peer of that publisher that has been greeted and offered nothing.
    RawSocket greetedPeer() const {
        RawSocket peer(socketPath("a.sock"));
        peer.sendFrame(hello);
        peer.readFrame(); // the answer to the greeting
        peer.readFrame(); // what is offered
        return peer;
    }

    std::string const endpoint_ = socketEndpoint("a.sock");
};

// Holds up the publishers' thread from the first event that it gets until it is opened.
class Gate : public agent::spf::frameworklistener::FrameworkListener {
public:
    void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event>) override {
        reached.add(0);
        opened.waitFor(0);
    }
    Record<int> reached;
    Record<int> opened;
};

// While it lives, the publishers' thread does nothing.
class HeldUpPublishers {
public:
    explicit HeldUpPublishers(Installation& installation) {
        installation.context().RegisterService<agent::spf::frameworklistener::FrameworkListener>(gate_);
        installation.publish("held", ConfigurationMap().publisher("idle", {}).build());
        EXPECT_TRUE(gate_->reached.waitFor(0));
    }
    ~HeldUpPublishers() { gate_->opened.add(0); }
    HeldUpPublishers(HeldUpPublishers const&) = delete;
    HeldUpPublishers& operator=(HeldUpPublishers const&) = delete;

private:
    std::shared_ptr<Gate> const gate_ = std::make_shared<Gate>();
};

TEST_F(PeersInExcess, APeerThatSendsFasterThanItIsListenedToIsClosed) {
    serve();
    auto peer = greetedPeer();
    HeldUpPublishers const held(installation_);

    for (int i = 0; i < 6; ++i) {
        peer.sendFrame(offersOfSize(std::size_t{1024} * 1024));
    }

    EXPECT_TRUE(peer.isClosedByPeer());
}

TEST_F(PeersInExcess, APeerThatSendsManySmallFramesFasterThanItIsListenedToIsClosed) {
    serve();
    auto peer = greetedPeer();
    HeldUpPublishers const held(installation_);
    std::string frames;
    for (int i = 0; i < 20000; ++i) {
        frames += RawSocket::frame(R"({"type":"offers","interfaces":[]})");
    }

    peer.send(frames);

    EXPECT_TRUE(peer.isClosedByPeer());
}

TEST_F(PeersInExcess, APeerThatIsListenedToMaySendAnyAmount) {
    serve();
    auto peer = greetedPeer();

    for (std::string const id : {"1", "2", "3", "4", "5", "6"}) {
        peer.sendFrame(offersOfSize(std::size_t{1024} * 1024, id));
        ASSERT_TRUE(waitForRemoteServices({"n " + id + " b via " + endpoint_}));
    }
}

TEST_F(PeersInExcess, PeersThatHaveGoneAreNotTakenForSuchAsDoNotGreet) {
    serve();
    RawSocket slow(socketPath("a.sock"));

    for (int i = 0; i < 40; ++i) {
        RawSocket peer(socketPath("a.sock"));
        peer.send(RawSocket::frame("{}"));
        ASSERT_TRUE(peer.isClosedByPeer());
    }

    slow.sendFrame(hello);
    EXPECT_THAT(slow.readFrame(), HasSubstr("hello"));
}

TEST_F(PeersInExcess, APublisherThatOffersMoreThanAPeerTakesSaysSo) {
    ConfigurationMap configuration;
    configuration.publisher("server", {endpoint_});
    for (int i = 0; i <= 4096; ++i) {
        configuration.interface(std::to_string(i), "clock").map(std::to_string(i), "server");
    }
    installation_.publish("one", configuration.build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    RawSocket peer(socketPath("a.sock"));

    peer.sendFrame(hello);

    EXPECT_TRUE(events_.waitFor("Error server 1: publisher \"server\" cannot offer its interfaces at " +
                                endpoint_ + ": offers: 4097 interfaces, allowed are 4096"));
}

TEST_F(PeersInExcess, APublisherThatOffersALongerNameThanAPeerTakesSaysWhichAndOffersAgainWithoutIt) {
    ConfigurationMap configuration;
    configuration.interface("i", std::string(1025, 'x')).publisher("server", {endpoint_}).map("i", "server");
    installation_.publish("one", configuration.build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    RawSocket peer(socketPath("a.sock"));
    peer.sendFrame(hello);
    EXPECT_THAT(peer.readFrame(), HasSubstr("hello"));
    EXPECT_TRUE(events_.waitFor("Error server 1: publisher \"server\" cannot offer its interfaces at " +
                                endpoint_ +
                                R"(: offers: interface "i": "name" has 1025 bytes, allowed are 1024)"));

    installation_.publish("one", ConfigurationMap(2)
                                     .interface("i", "clock")
                                     .publisher("server", {endpoint_})
                                     .map("i", "server")
                                     .build());

    EXPECT_THAT(peer.readFrame(), HasSubstr(R"("name":"clock")"));
}

TEST_F(PeersInExcess, OfTooManyPeersThatDoNotGreetTheOldestIsClosed) {
    serve();
    auto const begin = std::chrono::steady_clock::now();
    std::vector<RawSocket> peers;
    for (int i = 0; i < 33; ++i) {
        peers.emplace_back(socketPath("a.sock"));
    }

    EXPECT_TRUE(peers.front().isClosedByPeer());

    peers.at(1).sendFrame(hello);
    EXPECT_THAT(peers.at(1).readFrame(), HasSubstr("hello"));
    peers.back().sendFrame(hello);
    EXPECT_THAT(peers.back().readFrame(), HasSubstr("hello"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5)) << "closed for its age only";
}

TEST_F(PeersInExcess, APeerThatTricklesItsGreetingIsClosedInTime) {
    serve();
    RawSocket peer(socketPath("a.sock"));
    auto const begin = std::chrono::steady_clock::now();

    peer.send(RawSocket::frame(hello).substr(0, 10));

    EXPECT_TRUE(peer.isClosedByPeer());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(4500));
}

// Peers of several addresses, which share what there is for peers.
class PeersOfSeveralAddresses : public BundlesTest {
protected:
    void SetUp() override { port_ = publishAt(endpoint_, "server"); }

    // Publishes at an endpoint whose port is left to the system, and returns that port.
    std::uint16_t publishAt(std::string const& endpoint, std::string const& publisher) {
        installation_.publish("of " + publisher, ConfigurationMap().publisher(publisher, {endpoint}).build());
        auto const bound = statuses_.waitForFirstWith(publisher + " " + endpoint + " bound: listens at tcp:");
        return static_cast<std::uint16_t>(std::stoul(bound.substr(bound.rfind(':') + 1)));
    }

    RawSocket greet(std::string const& address) const {
        RawSocket peer(address, port_);
        peer.sendFrame(hello);
        return peer;
    }

    // Peers of the address that have been greeted.
    std::vector<RawSocket> greeted(std::size_t count, std::string const& address) const {
        std::vector<RawSocket> peers;
        while (peers.size() < count) {
            peers.push_back(greet(address));
            peers.back().readFrame();
        }
        return peers;
    }

    // Peers of the address that each offer one interface with as much text as a frame holds.
    std::vector<RawSocket> offering(std::size_t count, std::string const& address) {
        auto peers = greeted(count, address);
        for (auto& peer : peers) {
            peer.sendFrame(largestOffer);
        }
        return peers;
    }

    bool waitForOffers(std::size_t count) {
        return waitForRemoteServices(std::vector(count, "n i b via " + endpoint_));
    }

    std::string const largestOffer = offersOfSize(std::size_t{1024} * 1024);
    std::string const endpoint_ = "tcp:127.0.0.1:0";
    std::uint16_t port_ = 0; // of the publisher "server"
};

TEST_F(PeersOfSeveralAddresses, OneGetsHalfOfTheConnectionsAndOthersTheRest) {
    auto const peers = greeted(128, "127.0.0.2");

    EXPECT_TRUE(greet("127.0.0.2").isClosedByPeer());
    EXPECT_THAT(greet("127.0.0.3").readFrame(), HasSubstr("hello"));
}

TEST_F(PeersOfSeveralAddresses, OneThatDoesNotGreetEndsItsOwnConnectionsOnly) {
    RawSocket slow("127.0.0.2", port_);
    std::vector<RawSocket> flood;
    for (int i = 0; i < 40; ++i) {
        flood.emplace_back("127.0.0.3", port_);
    }

    EXPECT_TRUE(flood.front().isClosedByPeer());
    slow.sendFrame(hello);
    EXPECT_THAT(slow.readFrame(), HasSubstr("hello"));
}

TEST_F(PeersOfSeveralAddresses, OneGetsAConnectionAgainInPlaceOfOneThatHasEnded) {
    auto peers = greeted(128, "127.0.0.2");
    peers.back().sendFrame("no JSON");
    ASSERT_TRUE(peers.back().isClosedByPeer());

    auto next = greet("127.0.0.2");

    EXPECT_THAT(next.readFrame(), HasSubstr("hello"));
    EXPECT_TRUE(greet("127.0.0.2").isClosedByPeer());
}

TEST_F(PeersOfSeveralAddresses, WhoComesWhenAllConnectionsAreTakenWaitsUntilOneEnds) {
    installation_.publish("two", ConfigurationMap().publisher("other", {socketEndpoint("b.sock")}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished other 1"));
    auto const peers = greeted(128, "127.0.0.2");
    auto others = greeted(128, "127.0.0.3");

    auto waiting = greet("127.0.0.4");
    for (int i = 0; i < 3; ++i) {
        RawSocket peer(socketPath("b.sock"));
        peer.sendFrame(hello);
        peer.readFrame(); // whoever is accepted has been by now
    }
    EXPECT_FALSE(waiting.hasInput());
    others.pop_back();

    EXPECT_THAT(waiting.readFrame(), HasSubstr("hello"));
}

TEST_F(PeersOfSeveralAddresses, OneGetsHalfOfTheRoomForOffersAndOthersTheRest) {
    auto const peers = offering(8, "127.0.0.2");
    ASSERT_TRUE(waitForOffers(8));

    EXPECT_TRUE(offering(1, "127.0.0.2").front().isClosedByPeer());
    auto const other = offering(1, "127.0.0.3");
    EXPECT_TRUE(waitForOffers(9));
}

TEST_F(PeersOfSeveralAddresses, OneIsTheSameAtAnEndpointThatListensForIPv6AsWell) {
    if (agent::spf::bundles::FileDescriptor(::socket(AF_INET6, SOCK_STREAM, 0)).get() < 0) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    auto const port = publishAt("tcp:[::]:0", "other");
    auto const peers = offering(8, "127.0.0.2");
    ASSERT_TRUE(waitForOffers(8));

    RawSocket excess("127.0.0.2", port);
    excess.sendFrame(hello);
    excess.readFrame();
    excess.sendFrame(offersOfSize(200));

    EXPECT_TRUE(excess.isClosedByPeer());
}

TEST_F(PeersOfSeveralAddresses, WhoOffersWhenAllRoomIsTakenIsClosed) {
    auto peers = offering(8, "127.0.0.2");
    auto const others = offering(8, "127.0.0.3");
    ASSERT_TRUE(waitForOffers(16));
    peers.front().sendFrame(largestOffer); // in place of what it offered before

    auto excess = greeted(1, "127.0.0.4");
    excess.front().sendFrame(offersOfSize(200));

    EXPECT_TRUE(excess.front().isClosedByPeer());
    peers.pop_back(); // makes room
    EXPECT_TRUE(waitForOffers(15));
    auto const next = offering(1, "127.0.0.4");
    EXPECT_TRUE(waitForOffers(16));
}

} // namespace
