// The socket provider alone: endpoints, connections and frames.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "EndpointRecorder.hpp"
#include "RawSocket.hpp"
#include "SystemCalls.hpp"
#include "agent/spf/bundles/sockets/HostResolver.hpp"
#include "agent/spf/bundles/sockets/IoObject.hpp"
#include "agent/spf/bundles/sockets/SocketConnector.hpp"
#include "agent/spf/bundles/sockets/SocketListener.hpp"
#include "agent/spf/bundles/sockets/SocketProvider.hpp"

namespace {

using namespace agent::spf::bundles;
using agent::spf::bundles::sockets::IoObjects;
using agent::spf::bundles::sockets::SocketConnector;
using agent::spf::bundles::sockets::SocketListener;
using agent::spf::bundles::sockets::SocketProvider;
using bundles_test::EndpointRecorder;
using bundles_test::RawListener;
using bundles_test::RawSocket;
using bundles_test::Record;
using bundles_test::TemporaryDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Frames : public ConnectionHandler {
public:
    void received(std::string frame) override { reports.add(std::move(frame)); }
    void closed(std::string const& reason) override { reports.add("closed: " + reason); }
    Record<std::string> reports;
};

// The sockets that this process has open: the descriptor of each, by the name that no other socket ever has.
std::map<std::string, int> openSockets() {
    std::map<std::string, int> sockets;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closedMeanwhile;
        auto const name = std::filesystem::read_symlink(entry, closedMeanwhile).string();
        if (name.find("socket:") == 0) {
            sockets.emplace(name, std::stoi(entry.path().filename()));
        }
    }
    return sockets;
}

// The descriptors of those opened since then that are open still. Others may have been closed meanwhile.
std::vector<int> socketsOpenedSince(std::map<std::string, int> const& before) {
    std::vector<int> opened;
    for (auto const& [name, descriptor] : openSockets()) {
        if (before.count(name) == 0) {
            opened.push_back(descriptor);
        }
    }
    return opened;
}

class SocketProviderTest : public testing::Test {
protected:
    std::filesystem::path path(std::string const& name = "s") const { return directory_.path() / name; }
    std::string endpoint(std::string const& name = "s") const { return "unix:" + path(name).string(); }

    // Binds and waits until that is done.
    std::unique_ptr<Endpoint> bind() {
        auto bound = provider_.bind(endpoint(), listener_);
        EXPECT_TRUE(listener_->reports.waitFor("bound " + endpoint()));
        return bound;
    }

    TemporaryDirectory directory_;
    std::shared_ptr<EndpointRecorder> const listener_ = std::make_shared<EndpointRecorder>();
    std::shared_ptr<EndpointRecorder> const connector_ = std::make_shared<EndpointRecorder>();
    std::shared_ptr<Frames> const frames_ = std::make_shared<Frames>();
    SocketProvider provider_;
};

TEST_F(SocketProviderTest, FramesArriveWholeAndInOrderBothWays) {
    auto const bound = bind();
    auto const connected = provider_.connect(endpoint(), connector_);
    auto const server = listener_->firstConnection();
    auto const client = connector_->firstConnection();
    auto const clientFrames = std::make_shared<Frames>();
    server->start(frames_);
    client->start(clientFrames);
    std::string const large(maximumFrameSize, 'x');

    client->send("one");
    client->send(large);
    client->send("two");
    server->send("back");

    ASSERT_TRUE(frames_->reports.waitFor("two"));
    EXPECT_EQ(frames_->reports.values(), (std::vector<std::string>{"one", large, "two"}));
    EXPECT_TRUE(clientFrames->reports.waitFor("back"));
}

TEST_F(SocketProviderTest, FramesOfSizesThatAreNotAllowedAreNotSent) {
    auto const bound = bind();
    auto const connected = provider_.connect(endpoint(), connector_);
    auto const client = connector_->firstConnection();

    EXPECT_THROW(client->send(""), std::length_error);
    EXPECT_THROW(client->send(std::string(maximumFrameSize + 1, 'x')), std::length_error);
}

TEST_F(SocketProviderTest, AFrameThatArrivesInPiecesIsPutTogether) {
    auto const bound = bind();
    RawSocket peer(path());
    listener_->firstConnection()->start(frames_);

    for (char const byte : RawSocket::frame("abc")) {
        peer.send(std::string(1, byte));
    }

    EXPECT_TRUE(frames_->reports.waitFor("abc"));
}

TEST_F(SocketProviderTest, APeerThatEndsWithinAFrameIsClosedWithoutIt) {
    auto const bound = bind();
    RawSocket peer(path());
    listener_->firstConnection()->start(frames_);

    peer.send(RawSocket::frame("abc").substr(0, 6));
    peer.close();

    ASSERT_TRUE(frames_->reports.waitFor("closed: connection closed by the peer"));
    EXPECT_EQ(frames_->reports.values().size(), 1U);
}

TEST_F(SocketProviderTest, WhatIsQueuedIsSentBeforeTheConnectionCloses) {
    auto const bound = bind();
    RawSocket peer(path());
    auto const connection = listener_->firstConnection();
    connection->start(frames_);

    connection->send("last words");
    connection->close();

    EXPECT_EQ(peer.readFrame(), "last words");
    EXPECT_TRUE(peer.isClosedByPeer());
}

TEST_F(SocketProviderTest, NoCallRunsAfterCloseHasReturned) {
    auto const bound = bind();
    RawSocket peer(path());
    auto const connection = listener_->firstConnection();
    connection->start(frames_);
    peer.sendFrame("one");
    ASSERT_TRUE(frames_->reports.waitFor("one"));

    connection->close();
    connection->close();
    auto const reported = frames_->reports.values();
    peer.sendFrame("two");
    ASSERT_TRUE(peer.isClosedByPeer());

    EXPECT_EQ(frames_->reports.values(), reported);
}

TEST_F(SocketProviderTest, AConnectionMayBeClosedByItsHandler) {
    class Closing : public ConnectionHandler {
    public:
        void received(std::string) override {
            connection->close();
            closedInCallback.add(0);
        }
        void closed(std::string const&) override { ADD_FAILURE() << "called after close()"; }
        std::shared_ptr<Connection> connection;
        Record<int> closedInCallback;
    };
    auto const bound = bind();
    RawSocket peer(path());
    auto const closing = std::make_shared<Closing>();
    closing->connection = listener_->firstConnection();
    closing->connection->start(closing);

    peer.sendFrame("now");

    EXPECT_TRUE(closing->closedInCallback.waitFor(0));
    EXPECT_TRUE(peer.isClosedByPeer());
    closing->connection.reset(); // the handler and the connection hold each other
}

TEST_F(SocketProviderTest, APeerThatDoesNotReadIsClosed) {
    auto const bound = bind();
    RawSocket const peer(path());
    auto const connection = listener_->firstConnection();
    connection->start(frames_);

    for (int i = 0; i < 12; ++i) {
        connection->send(std::string(maximumFrameSize, 'x'));
    }

    EXPECT_TRUE(frames_->reports.waitFor("closed: the peer does not read what is sent to it"));
}

TEST_F(SocketProviderTest, APeerThatReadsMayBeSentAnyAmount) {
    auto const bound = bind();
    RawSocket peer(path());
    auto const connection = listener_->firstConnection();
    connection->start(frames_);
    std::string const large(maximumFrameSize, 'x');

    for (int i = 0; i < 12; ++i) {
        connection->send(large);
        ASSERT_EQ(peer.readFrame(), large);
    }

    EXPECT_THAT(frames_->reports.values(), testing::IsEmpty());
}

TEST_F(SocketProviderTest, AConnectionThatNobodyHoldsIsClosed) {
    class Dropping : public EndpointRecorder {
    public:
        void opened(std::shared_ptr<Connection> connection) override {
            connection->start(std::make_shared<Frames>());
        }
    };
    auto const dropping = std::make_shared<Dropping>();
    auto const bound = provider_.bind(endpoint(), dropping);
    ASSERT_TRUE(dropping->reports.waitFor("bound " + endpoint()));

    EXPECT_TRUE(RawSocket(path()).isClosedByPeer());
}

TEST_F(SocketProviderTest, TheSystemWatchesOverTcpConnections) {
    auto const before = openSockets();
    auto const bound = provider_.bind("tcp:127.0.0.1:0", listener_);
    auto const address = listener_->reports.waitForFirstWith("bound ").substr(6);
    auto const connected = provider_.connect(address, connector_);
    connector_->firstConnection();
    listener_->firstConnection();
    auto const option = [](int descriptor, int level, int name) {
        int value = 0;
        socklen_t size = sizeof(value);
        EXPECT_EQ(::getsockopt(descriptor, level, name, &value, &size), 0);
        return value;
    };

    auto connections = 0;
    for (auto const descriptor : socketsOpenedSince(before)) {
        if (option(descriptor, SOL_SOCKET, SO_ACCEPTCONN) == 0) {
            ++connections;
            EXPECT_NE(option(descriptor, SOL_SOCKET, SO_KEEPALIVE), 0);
            EXPECT_NE(option(descriptor, IPPROTO_TCP, TCP_NODELAY), 0);
            EXPECT_EQ(option(descriptor, IPPROTO_TCP, TCP_KEEPIDLE), 10) << "seconds";
            EXPECT_EQ(option(descriptor, IPPROTO_TCP, TCP_KEEPINTVL), 5) << "seconds";
            EXPECT_EQ(option(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT), 30000) << "milliseconds";
        }
    }
    EXPECT_EQ(connections, 2);
}

TEST_F(SocketProviderTest, ClosingAnEndpointRemovesTheSocketAndKeepsItsConnections) {
    auto bound = bind();
    RawSocket peer(path());
    auto const connection = listener_->firstConnection();
    connection->start(frames_);

    bound->close();
    bound->close();

    EXPECT_FALSE(std::filesystem::exists(path()));
    peer.sendFrame("still here");
    EXPECT_TRUE(frames_->reports.waitFor("still here"));
}

TEST_F(SocketProviderTest, AnAddressInUseIsBoundToWhenItIsGivenUpSoon) {
    Record<int> attempts; // each takes the lock of the path
    bundles_test::BeforeFlock const counting([&] {
        attempts.add(0);
        return 0;
    });
    std::optional<RawListener> other(path());

    auto const bound = provider_.bind(endpoint(), listener_);
    ASSERT_TRUE(attempts.waitFor(0, 2));
    other.reset();

    EXPECT_TRUE(listener_->reports.waitFor("bound " + endpoint()));
}

TEST_F(SocketProviderTest, AnEndpointThatWaitsForAnAddressInUseCanBeClosed) {
    std::atomic<bool> isInUse = true;
    Record<int> attempts;
    bundles_test::BeforeFlock const counting([&] {
        attempts.add(0);
        return isInUse ? EWOULDBLOCK : 0;
    });
    auto bound = provider_.bind(endpoint(), listener_);
    ASSERT_TRUE(attempts.waitFor(0));

    bound.reset();
    isInUse = false;
    provider_.stop();

    EXPECT_THAT(listener_->reports.values(), testing::IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(SocketProviderTest, OfAHostThatThisMachineHasOneAddressOfThatIsBoundTo) {
    bundles_test::HostWithAddresses const host("two.test", {"192.0.2.1", "127.0.0.1"});
    auto const port = std::to_string(bundles_test::freeTcpPort());

    auto const bound = provider_.bind("tcp:two.test:" + port, listener_);

    EXPECT_TRUE(listener_->reports.waitFor("bound tcp:two.test:" + port));
}

TEST_F(SocketProviderTest, AHostOfWhichOneAddressIsInUseIsNotBoundToAtAnother) {
    bundles_test::HostWithAddresses const host("two.test", {"127.0.0.2", "127.0.0.1"});
    auto const endpoint = "tcp:two.test:" + std::to_string(bundles_test::freeTcpPort());
    auto const bound = provider_.bind(endpoint, listener_);
    ASSERT_TRUE(listener_->reports.waitFor("bound " + endpoint));

    auto const second = std::make_shared<EndpointRecorder>();
    auto const boundAgain = provider_.bind(endpoint, second);

    EXPECT_TRUE(second->reports.waitFor("failed: cannot bind " + endpoint + ": Address already in use"));
}

TEST_F(SocketProviderTest, OfAHostOfWhichNoAddressCanBeBoundToTheReasonIsThatOfTheFirst) {
    bundles_test::HostWithAddresses const host("two.test", {"192.0.2.1", "::1"});
    bundles_test::WithoutFamily const noIPv6(AF_INET6);

    auto const bound = provider_.bind("tcp:two.test:0", listener_);

    EXPECT_EQ(listener_->reports.waitForFirstWith("failed: "),
              "failed: cannot bind tcp:two.test:0: Cannot assign requested address");
}

TEST_F(SocketProviderTest, APeerThatCannotBeAcceptedIsTriedNowAndThenUntilItCan) {
    auto const bound = bind();
    std::optional<bundles_test::WithoutAccepting> tooManyFiles(std::in_place);
    auto const begin = std::chrono::steady_clock::now();

    RawSocket const peer(path());

    tooManyFiles->waitForAttempts(4);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300)) << "100 each between";
    EXPECT_THAT(listener_->connections.values(), testing::IsEmpty());
    tooManyFiles.reset();
    EXPECT_NE(listener_->firstConnection(), nullptr);
}

TEST_F(SocketProviderTest, ASocketFileThatIsSomebodyElsesByNowIsNotRemoved) {
    auto bound = bind();
    std::filesystem::remove(path());
    RawListener const other(path());

    bound->close();

    EXPECT_TRUE(std::filesystem::is_socket(path()));
}

TEST_F(SocketProviderTest, AFileThatIsNoSocketIsNotTouched) {
    std::filesystem::create_directory(path());

    auto const bound = provider_.bind(endpoint(), listener_);

    EXPECT_TRUE(listener_->reports.waitFor("failed: cannot bind " + endpoint() +
                                           ": the file exists and is not a socket"));
    EXPECT_TRUE(std::filesystem::is_directory(path()));
}

TEST_F(SocketProviderTest, AMissingDirectoryIsNamed) {
    auto const bound = provider_.bind(endpoint("no/s"), listener_);

    EXPECT_TRUE(listener_->reports.waitFor("failed: cannot bind " + endpoint("no/s") + ": directory " +
                                           path("no").string() + ": No such file or directory"));
}

TEST_F(SocketProviderTest, APortLeftToTheSystemIsReported) {
    auto const bound = provider_.bind("tcp:127.0.0.1:0", listener_);

    ASSERT_TRUE(listener_->reports.waitUntil([](auto const& reports) { return !reports.empty(); }));
    auto const report = listener_->reports.values().at(0);
    EXPECT_THAT(report, testing::MatchesRegex("bound tcp:127\\.0\\.0\\.1:[1-9][0-9]*"));
    auto const connected = provider_.connect(report.substr(6), connector_);
    EXPECT_NE(connector_->firstConnection(), nullptr);
}

// As when an agent is restarted.
TEST_F(SocketProviderTest, APortWhoseConnectionsHaveJustBeenClosedCanBeBoundToAgain) {
    auto const port = "tcp:127.0.0.1:" + std::to_string(bundles_test::freeTcpPort());
    auto bound = provider_.bind(port, listener_);
    ASSERT_TRUE(listener_->reports.waitFor("bound " + port));
    auto const connected = provider_.connect(port, connector_);
    connector_->firstConnection()->start(frames_);
    bound->close();
    listener_->firstConnection()->close();
    ASSERT_TRUE(frames_->reports.waitFor("closed: connection closed by the peer"));

    bound = provider_.bind(port, listener_);

    EXPECT_TRUE(listener_->reports.waitFor("bound " + port, 2));
}

TEST_F(SocketProviderTest, PortZeroCannotBeConnectedTo) {
    auto const connected = provider_.connect("tcp:127.0.0.1:0", connector_);

    ASSERT_TRUE(connector_->reports.waitUntil([](auto const& reports) { return !reports.empty(); }));
    EXPECT_THAT(connector_->reports.values(),
                ElementsAre(HasSubstr("failed: cannot connect to tcp:127.0.0.1:0: nobody")));
}

TEST_F(SocketProviderTest, EveryAddressOfAHostIsTriedUntilOneIsConnected) {
    auto const port = std::to_string(bundles_test::freeTcpPort());
    auto const bound = provider_.bind("tcp:127.0.0.1:" + port, listener_);
    ASSERT_TRUE(listener_->reports.waitFor("bound tcp:127.0.0.1:" + port));
    bundles_test::HostWithAddresses const host("two.test", {"127.0.0.2", "127.0.0.1"});

    auto const connected = provider_.connect("tcp:two.test:" + port, connector_);

    EXPECT_NE(connector_->firstConnection(), nullptr);
    EXPECT_THAT(connector_->reports.values(), testing::IsEmpty()) << "in one attempt";
}

TEST_F(SocketProviderTest, AnAddressThatDoesNotAnswerDoesNotKeepTheNextFromBeingTried) {
    SocketProvider provider(std::chrono::milliseconds(50));
    bundles_test::SilentPort const silent;
    auto const port = std::to_string(silent.number());
    auto const bound = provider_.bind("tcp:127.0.0.2:" + port, listener_);
    ASSERT_TRUE(listener_->reports.waitFor("bound tcp:127.0.0.2:" + port));
    bundles_test::HostWithAddresses const host("two.test", {"127.0.0.1", "127.0.0.2"});

    auto const connected = provider.connect("tcp:two.test:" + port, connector_);

    EXPECT_NE(connector_->firstConnection(), nullptr);
    EXPECT_THAT(connector_->reports.values(), testing::IsEmpty()) << "in one attempt";
}

TEST_F(SocketProviderTest, AHostOfWhichNoAddressAnswersFailsTheAttempt) {
    SocketProvider provider(std::chrono::milliseconds(50));
    bundles_test::SilentPort const silent;
    bundles_test::HostWithAddresses const host("two.test", {"127.0.0.1", "127.0.0.1"});

    auto const connected = provider.connect("tcp:two.test:" + std::to_string(silent.number()), connector_);

    EXPECT_TRUE(connector_->reports.waitForOneWith("retrying: no answer in "));
}

TEST_F(SocketProviderTest, AHostOfWhichOneAddressDoesNotAnswerIsTriedAgainThoughAnotherIsOfAMissingFamily) {
    SocketProvider provider(std::chrono::milliseconds(50));
    bundles_test::SilentPort const silent;
    bundles_test::HostWithAddresses const host("two.test", {"127.0.0.1", "::1"});
    bundles_test::WithoutFamily const noIPv6(AF_INET6);

    auto const connected = provider.connect("tcp:two.test:" + std::to_string(silent.number()), connector_);

    EXPECT_TRUE(connector_->reports.waitFor("retrying: Connection timed out"));
}

TEST_F(SocketProviderTest, AHostThatIsStillBeingLookedUpDoesNotHoldUpOtherHosts) {
    auto const port = std::to_string(bundles_test::freeTcpPort());
    auto const bound = provider_.bind("tcp:127.0.0.1:" + port, listener_);
    bundles_test::HostWithAddresses const host("one.test", {"127.0.0.1"});
    bundles_test::HangingHost const hanging("hanging.test");
    auto const waiting = provider_.connect("tcp:hanging.test:1", std::make_shared<EndpointRecorder>());
    hanging.waitForLookUp();

    auto const connected = provider_.connect("tcp:one.test:" + port, connector_);

    EXPECT_NE(connector_->firstConnection(), nullptr);
}

TEST_F(SocketProviderTest, AHostThatIsLookedUpForTooLongFailsTheAttempt) {
    SocketProvider provider(std::chrono::seconds(2));
    bundles_test::HangingHost const hanging("hanging.test");

    auto const connected = provider.connect("tcp:hanging.test:1", connector_);

    EXPECT_TRUE(connector_->reports.waitFor("retrying: no answer in 2 seconds"));
}

// The provider's thread is kept busy from the beginning of the attempt until its time is up, and then finds
// both at once: that there is a connection, and that the time is up.
TEST_F(SocketProviderTest, AnAttemptThatSucceedsAsItsTimeIsUpHasSucceeded) {
    class Busy : public EndpointRecorder {
    public:
        explicit Busy(std::function<void()> work)
            : work_(std::move(work)) {}
        void failed(std::string const& reason) override {
            EndpointRecorder::failed(reason);
            work_();
        }

    private:
        std::function<void()> const work_;
    };
    constexpr std::chrono::milliseconds timeout{50};
    SocketProvider provider(timeout);
    auto const bound = provider_.bind("tcp:127.0.0.1:0", listener_);
    auto const address = listener_->reports.waitForFirstWith("bound ").substr(6);
    std::promise<void> othersAreQueued;
    auto const first = std::make_shared<Busy>([&] { othersAreQueued.get_future().wait(); });
    auto const failed = provider.bind("nonsense", first);
    ASSERT_TRUE(first->reports.waitForOneWith("failed: "));
    auto const connected = provider.connect(address, connector_);
    auto const failedToo = provider.bind(
        "nonsense", std::make_shared<Busy>([timeout] { std::this_thread::sleep_for(timeout); }));
    othersAreQueued.set_value();
    connector_->firstConnection()->start(frames_);

    listener_->firstConnection()->close();

    ASSERT_TRUE(connector_->reports.waitForOneWith("retrying: "));
    EXPECT_EQ(connector_->reports.values().front(), "retrying: connection closed by the peer");
}

TEST_F(SocketProviderTest, AHostThatIsStillBeingLookedUpDoesNotHoldUpTheEnd) {
    std::future<void> stopped;
    bundles_test::HangingHost const hanging("hanging.test");
    auto const waiting = provider_.connect("tcp:hanging.test:1", connector_);
    auto const listening = provider_.bind("tcp:hanging.test:1", listener_);
    hanging.waitForLookUp();

    stopped = std::async(std::launch::async, [this] { provider_.stop(); });

    EXPECT_EQ(stopped.wait_for(bundles_test::patience), std::future_status::ready);
}

TEST(HostResolver, ACancelledLookUpThatGoesOnIsTakenUpByTheNext) {
    auto const worker = std::make_shared<WorkerThread>("resolving");
    Record<std::string> reports;
    sockets::HostResolver resolver(worker);
    auto const resolve = [&](std::string const& name) {
        worker->run([&] {
            resolver.resolve({"hanging.test", 1}, {},
                             [&reports, name](auto const&, std::string const& reason) {
                                 reports.add(name + ": " + reason);
                             });
        });
    };
    {
        bundles_test::HangingHost const hanging("hanging.test");
        resolve("first");
        hanging.waitForLookUp();
        worker->run([&] { resolver.cancel(); });
        EXPECT_TRUE(reports.waitFor("first: cancelled"));

        resolve("second");

        EXPECT_EQ(hanging.lookUps(), 1);
    }
    EXPECT_TRUE(reports.waitForOneWith("second: no such host \"hanging.test\""));
    worker->stop();
    EXPECT_EQ(reports.values().size(), 2U);
}

TEST(HostResolver, ALookUpThatHasEndedIsFollowedByAnother) {
    auto const worker = std::make_shared<WorkerThread>("resolving");
    Record<std::string> found;
    sockets::HostResolver resolver(worker);

    for (std::string const address : {"127.0.0.1", "127.0.0.2"}) {
        bundles_test::HostWithAddresses const host("moving.test", {address});
        worker->run([&] {
            resolver.resolve({"moving.test", 1}, {}, [&found](auto const& addresses, auto const&) {
                found.add(addresses.at(0).address().to_string());
            });
        });
        EXPECT_TRUE(found.waitFor(address));
    }
}

TEST_F(SocketProviderTest, ARefusedConnectionIsTriedAgainUntilItSucceeds) {
    { RawListener const dead(path()); }
    auto const connected = provider_.connect(endpoint(), connector_);
    ASSERT_TRUE(connector_->reports.waitFor("retrying: Connection refused", 2));

    auto const bound = bind();

    EXPECT_NE(connector_->firstConnection(), nullptr);
}

TEST_F(SocketProviderTest, AHostOfWhichOneAddressRefusesIsTriedAgainThoughAnotherIsOfAMissingFamily) {
    bundles_test::HostWithAddresses const host("two.test", {"127.0.0.1", "::1"});
    bundles_test::WithoutFamily const noIPv6(AF_INET6);
    auto const port = std::to_string(bundles_test::freeTcpPort());

    auto const connected = provider_.connect("tcp:two.test:" + port, connector_);

    ASSERT_TRUE(connector_->reports.waitUntil([](auto const& reports) { return !reports.empty(); }));
    EXPECT_EQ(connector_->reports.values().at(0), "retrying: Connection refused");
}

TEST_F(SocketProviderTest, ASocketThatTheSystemConnectsToItselfIsNoConnection) {
    bundles_test::ConnectingFromTheSamePort const samePort;
    auto const port = std::to_string(bundles_test::freeTcpPort());

    auto const connected = provider_.connect("tcp:127.0.0.1:" + port, connector_);

    EXPECT_TRUE(connector_->reports.waitFor("retrying: Connection refused"));
    EXPECT_THAT(connector_->connections.values(), testing::IsEmpty());
}

TEST_F(SocketProviderTest, AConnectionThatEndsIsMadeAgain) {
    auto const bound = bind();
    auto const connected = provider_.connect(endpoint(), connector_);
    connector_->firstConnection()->start(frames_);

    listener_->firstConnection()->close();

    EXPECT_TRUE(frames_->reports.waitFor("closed: connection closed by the peer"));
    EXPECT_TRUE(connector_->reports.waitFor("retrying: connection closed by the peer"));
    EXPECT_TRUE(connector_->connections.waitUntil([](auto const& all) { return all.size() == 2; }));
}

TEST_F(SocketProviderTest, NoFrameFollowsTheOneInWhoseCallTheConnectionIsClosed) {
    class Closing : public Frames {
    public:
        void received(std::string frame) override {
            Frames::received(std::move(frame));
            connection->close();
        }
        std::shared_ptr<Connection> connection;
    };
    auto const bound = bind();
    RawSocket peer(path());
    auto const closing = std::make_shared<Closing>();
    closing->connection = listener_->firstConnection();

    peer.send(RawSocket::frame("first") + RawSocket::frame("second"));
    closing->connection->start(closing);

    EXPECT_TRUE(peer.isClosedByPeer());
    provider_.stop();
    EXPECT_THAT(closing->reports.values(), ElementsAre("first"));
    closing->connection.reset();
}

TEST_F(SocketProviderTest, AConnectionThatHasEndedBeforeItIsStartedSaysSo) {
    auto const bound = bind();
    RawSocket peer(path());
    auto const connection = listener_->firstConnection();
    for (int i = 0; i < 10; ++i) { // more than is kept for a peer that does not read
        connection->send(std::string(maximumFrameSize, 'x'));
    }

    connection->start(frames_);

    EXPECT_TRUE(frames_->reports.waitFor("closed: connection closed"));
}

TEST_F(SocketProviderTest, TheReasonOfARejectionIsThatOfTheFailedAttempt) {
    auto const bound = bind();
    auto const connected = provider_.connect(endpoint(), connector_);
    auto const connection = connector_->firstConnection();
    connection->start(frames_);

    connection->reject("not whom I wanted");

    EXPECT_TRUE(connector_->reports.waitFor("retrying: not whom I wanted"));
}

TEST_F(SocketProviderTest, AProgramThatIsExecutedInheritsNoSocket) {
    auto const before = openSockets();
    auto const bound = bind();
    auto const boundToPort = provider_.bind("tcp:127.0.0.1:0", std::make_shared<EndpointRecorder>());
    auto const connected = provider_.connect(endpoint(), connector_);
    connector_->firstConnection();
    listener_->firstConnection();

    auto const sockets = socketsOpenedSince(before);

    EXPECT_EQ(sockets.size(), 4U);
    for (auto const descriptor : sockets) {
        EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << "descriptor " << descriptor;
    }
}

TEST_F(SocketProviderTest, StoppingRemovesSocketsAndLeavesHandlesHarmless) {
    auto const bound = bind();
    auto const connected = provider_.connect(endpoint(), connector_);
    auto const connection = connector_->firstConnection();
    connection->start(frames_);

    provider_.stop();

    EXPECT_FALSE(std::filesystem::exists(path()));
    connection->send("nobody listens");
    connection->close();
    connected->close();
}

TEST_F(SocketProviderTest, StoppingEndsTheConnectionsOfPeersThatStay) {
    std::future<void> stopped;
    auto const bound = bind();
    RawListener const server(path("server"));
    auto const connected = provider_.connect(endpoint("server"), connector_);
    connector_->firstConnection()->start(frames_);
    auto accepted = server.accept();
    RawSocket peer(path());
    listener_->firstConnection()->start(std::make_shared<Frames>());

    stopped = std::async(std::launch::async, [this] { provider_.stop(); });

    EXPECT_TRUE(peer.isClosedByPeer());
    EXPECT_TRUE(accepted.isClosedByPeer());
}

// As when somebody binds while the provider stops.
template <class Object>
void startAfterTheEnd(std::string const& endpoint, std::shared_ptr<EndpointHandler> const& handler) {
    auto const worker = std::make_shared<WorkerThread>("worker");
    auto const objects = std::make_shared<IoObjects>();
    auto const object = std::make_shared<Object>(worker, objects, endpoint, handler);
    worker->run([&] {
        objects->closeAll();
        object->start();
    });
}

TEST_F(SocketProviderTest, AnEndpointThatStartsAfterTheEndOfTheProviderIsClosed) {
    startAfterTheEnd<SocketListener>(endpoint(), listener_);
    startAfterTheEnd<SocketConnector>(endpoint(), connector_);

    EXPECT_THAT(listener_->reports.values(), IsEmpty());
    EXPECT_THAT(connector_->reports.values(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(SocketProviderTest, ClosingWhileEverythingIsUnderWayIsClean) {
    for (int i = 0; i < 50; ++i) {
        auto bound = provider_.bind(endpoint(), listener_);
        auto connected = provider_.connect(endpoint(), connector_);
        if (i % 2 == 0) {
            bound.reset();
        }
    }
    EXPECT_FALSE(std::filesystem::exists(path()));
}

} // namespace
