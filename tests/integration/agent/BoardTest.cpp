// What is known about a configuration at one moment.
#include <gtest/gtest.h>

#include "progress/Board.hpp"

namespace {

using namespace agent::program;

constexpr std::uint32_t count = 1;

class BoardTest : public testing::Test {
protected:
    static ConfigurationFile configuration() {
        return {"id",
                {},
                {{"rpc", "rpcservicepublisher", {"unix:c"}, {"unix:b"}, "", ""},
                 {"old", "legacyservicepublisher", {"name"}, {}, "", ""}}};
    }

    bool bound() {
        return board.apply({"rpc", "unix:b", EndpointRole::Bind, EndpointState::Bound, "", count});
    }
    bool connection(EndpointState state, std::string reason = {}) {
        return board.apply({"rpc", "unix:c", EndpointRole::Connect, state, std::move(reason), count});
    }
    void publishAll() {
        board.apply(ServicesPublished{"rpc", count});
        board.apply(ServicesPublished{"old", count});
    }
    static RemoteInterface remote(bool available) {
        return {"Interface", "i", "theirs", "peer", "unix:c", "rpc", available};
    }

    Board board{configuration()};
};

TEST_F(BoardTest, EndpointsBeginAsNotYetThere) {
    auto const& endpoints = board.publishers().front().endpoints;
    ASSERT_EQ(endpoints.size(), 2U);
    EXPECT_EQ(endpoints[0].state, EndpointState::Binding);
    EXPECT_EQ(endpoints[1].state, EndpointState::Connecting);
}

TEST_F(BoardTest, IsReadyWhenTrackedEndpointsAreUpAndAllServicesPublished) {
    bound();
    connection(EndpointState::Connected);
    EXPECT_FALSE(board.isReady());

    publishAll();

    EXPECT_TRUE(board.isReady()) << "the endpoints of a legacy publisher are not awaited";
}

TEST_F(BoardTest, IsNotReadyWhileAnEndpointIsLost) {
    bound();
    publishAll();
    connection(EndpointState::Connected);

    EXPECT_TRUE(connection(EndpointState::Lost, "closed by the peer"));

    EXPECT_FALSE(board.isReady());
    EXPECT_EQ(board.publishers().front().endpoints[1].reason, "closed by the peer");
}

TEST_F(BoardTest, TheSameStatusAgainIsNoChange) {
    EXPECT_TRUE(connection(EndpointState::Connecting, "refused"));
    EXPECT_FALSE(connection(EndpointState::Connecting, "refused"));
    EXPECT_TRUE(connection(EndpointState::Connecting, "no such file"));
}

TEST_F(BoardTest, OtherWordsAboutAnEndpointThatIsUpAreNoChange) {
    EXPECT_TRUE(connection(EndpointState::Connected, "peer x"));
    EXPECT_FALSE(connection(EndpointState::Connected));
}

TEST_F(BoardTest, AnEndpointIsInItsStateSinceThatBegan) {
    auto const since = [this] { return board.publishers().front().endpoints[1].since; };
    auto const atFirst = since();

    connection(EndpointState::Connecting, "refused");
    EXPECT_EQ(since(), atFirst) << "in the same state";
    connection(EndpointState::Connected);
    EXPECT_GT(since(), atFirst);
}

TEST_F(BoardTest, AnEndpointIsKnownByItsRole) {
    EXPECT_FALSE(board.apply({"rpc", "unix:b", EndpointRole::Connect, EndpointState::Connected, "", count}));
    EXPECT_EQ(board.publishers().front().endpoints[0].state, EndpointState::Binding);
}

TEST_F(BoardTest, WhatIsToldAgainIsNoChange) {
    EXPECT_TRUE(board.apply(ServicesPublished{"rpc", count}));
    EXPECT_FALSE(board.apply(ServicesPublished{"rpc", count}));
    EXPECT_TRUE(board.apply(PublisherFailed{"rpc", "why", count}));
    EXPECT_FALSE(board.apply(PublisherFailed{"rpc", "why", count}));
    EXPECT_TRUE(board.apply(PublisherFailed{"rpc", "another reason", count}));
}

TEST_F(BoardTest, UnknownPublishersArePassedOver) {
    EXPECT_FALSE(board.apply(ServicesPublished{"other", count}));
    EXPECT_FALSE(board.apply(PublisherRemoved{"other", count}));
    EXPECT_FALSE(board.apply(PublisherFailed{"other", "why", count}));
    EXPECT_FALSE(board.apply({"other", "unix:b", EndpointRole::Bind, EndpointState::Bound, "", count}));
}

TEST_F(BoardTest, IsRemovedWhenEveryPublisherIs) {
    EXPECT_TRUE(board.apply(PublisherRemoved{"rpc", count}));
    EXPECT_FALSE(board.isRemoved());
    EXPECT_FALSE(board.apply(PublisherRemoved{"rpc", count}));

    EXPECT_TRUE(board.apply(PublisherRemoved{"old", count}));

    EXPECT_TRUE(board.isRemoved());
}

TEST_F(BoardTest, RemoteInterfacesAreSeenWhileTheyAreAvailable) {
    EXPECT_FALSE(board.sees("Interface"));
    EXPECT_TRUE(board.apply(remote(true)));
    EXPECT_TRUE(board.sees("Interface"));

    EXPECT_TRUE(board.apply(remote(false)));

    EXPECT_FALSE(board.sees("Interface"));
    EXPECT_FALSE(board.apply(remote(false)));
}

TEST_F(BoardTest, ARemoteInterfaceIsSeenOnceAndUntilTheLastConnectionThatBringsItIsGone) {
    EXPECT_TRUE(board.apply(remote(true)));
    EXPECT_FALSE(board.apply(remote(true)));
    EXPECT_EQ(board.remoteInterfaces().size(), 1u);

    EXPECT_FALSE(board.apply(remote(false)));
    EXPECT_TRUE(board.sees("Interface"));

    EXPECT_TRUE(board.apply(remote(false)));
    EXPECT_FALSE(board.sees("Interface"));
}

TEST_F(BoardTest, RemoteInterfacesAreSeenByTheirWholeName) {
    board.apply(RemoteInterface{"Interfaces", "i", "theirs", "peer", "unix:c", "rpc", true});

    EXPECT_FALSE(board.sees("Interface"));
    EXPECT_TRUE(board.sees("Interfaces"));
    EXPECT_FALSE(board.sees("Lamp"));
    EXPECT_FALSE(board.sees("Zebra"));
}

TEST_F(BoardTest, AnotherNameUnderTheSameIDIsAnotherRemoteInterface) {
    board.apply(remote(true));

    EXPECT_TRUE(board.apply(RemoteInterface{"Lamp", "i", "theirs", "peer", "unix:c", "rpc", true}));
    EXPECT_TRUE(board.apply(remote(false)));

    EXPECT_TRUE(board.sees("Lamp"));
    EXPECT_FALSE(board.sees("Interface"));
}

TEST_F(BoardTest, AnotherVersionKeepsTheStatesOfEndpointsThatItShares) {
    bound();
    connection(EndpointState::Connected);
    publishAll();

    board.reconfigure({"id",
                       {},
                       {{"new", "rpcservicepublisher", {}, {"unix:b"}, "", ""},
                        {"rpc", "rpcservicepublisher", {"unix:new"}, {"unix:b"}, "", ""}}});

    ASSERT_EQ(board.publishers().size(), 2U);
    EXPECT_EQ(board.publishers().front().endpoints[0].state, EndpointState::Binding)
        << "of another publisher";
    auto const& endpoints = board.publishers().back().endpoints;
    EXPECT_EQ(endpoints[0].state, EndpointState::Bound);
    EXPECT_EQ(endpoints[1].state, EndpointState::Connecting) << "a new one";
    EXPECT_FALSE(board.publishers().back().servicesPublished) << "not this version";
}

TEST_F(BoardTest, ANewConfigurationWithoutPublishersIsReadyAndRemoved) {
    Board const empty(ConfigurationFile{"id", {}, {}});

    EXPECT_TRUE(empty.isReady());
    EXPECT_TRUE(empty.isRemoved());
}

} // namespace
