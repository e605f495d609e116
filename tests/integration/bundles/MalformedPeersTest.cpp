// Peers that send what the protocol does not allow, or too much of what it does.
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"

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
    Record<int> reached;
    Record<int> opened;
};

TEST_F(BundlesTest, APeerThatSendsFasterThanItIsListenedToIsClosed) {
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

} // namespace
