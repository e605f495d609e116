// Bundles that run out of memory: as they start or stop, and at work.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/RemoteOffers.hpp"
#include "support/AllocationFailure.hpp"

namespace {

using namespace bundles_test;
using agent::spf::frameworksetup::test::AllocationFailure;
using agent::spf::frameworksetup::test::AllocationFailureOfThread;

class BundleFaults : public BundlesTest, public testing::WithParamInterface<char const*> {};

// Whether the operation has an n-th allocation. That one fails, or from that one on all.
template <typename Operation>
bool runsOutOfMemoryAt(std::size_t n, AllocationFailure::Duration duration, Operation const& operation) {
    AllocationFailure const failure(n, duration);
    try {
        operation();
    } catch (std::exception const&) {
        EXPECT_TRUE(failure.happened()) << "an exception without a fault";
    }
    return failure.happened();
}

// The other bundles are at work meanwhile: what they have registered is found, and calls back, while the
// bundle starts.
TEST_P(BundleFaults, WhicheverAllocationOfItsStartFailsTheBundleCanBeStartedAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
    auto bundle = installation_.bundle(GetParam());

    std::size_t step = 0;
    do {
        bundle.Stop();
        ++step;
    } while (runsOutOfMemoryAt(step, AllocationFailure::Duration::Once, [&] { bundle.Start(); }) &&
             !HasFailure());

    EXPECT_GT(step, 10U);
    bundle.Start();
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_P(BundleFaults, WhicheverAllocationsOfItsStopFailTheBundleStopsAndCanBeStartedAgain) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    auto bundle = installation_.bundle(GetParam());

    std::size_t step = 0;
    bool failed = true;
    while (failed && !HasFailure()) {
        ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint})) << step;
        failed = runsOutOfMemoryAt(++step, AllocationFailure::Duration::Lasting, [&] { bundle.Stop(); });
        EXPECT_NE(bundle.GetState(), cppmicroservices::Bundle::STATE_STOPPING) << step;
        bundle.Start();
    }

    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

INSTANTIATE_TEST_SUITE_P(Bundles, BundleFaults,
                         testing::Values("agent_spf_jsonserialiser", "agent_spf_runtimedirectorydiscovery",
                                         "agent_spf_socketprovider", "agent_spf_configurationframework",
                                         "agent_spf_rpcservicepublisher", "agent_spf_legacyservicepublisher",
                                         "agent_spf_remoteserviceclient"),
                         [](auto const& bundle) { return std::string(bundle.param); });

std::string const hello = R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})";
std::string const offers =
    R"({"type":"offers","interfaces":[{"name":"clock","uniqueID":"i","version":1,"properties":{}}]})";

// Bundles of which a thread has no memory at one moment while they work.
class BundlesAtWork : public BundlesTest {
protected:
    // Does the first thing once for each of the thread's allocations, which fails, and then the other.
    template <class During, class After>
    void forEachAllocation(char const* thread, During const& during, After const& after) {
        std::size_t n = 0;
        bool happened = true;
        while (happened && !HasFailure()) {
            SCOPED_TRACE(testing::Message() << thread << ", allocation " << ++n);
            {
                AllocationFailureOfThread const failure(thread, n);
                during();
                happened = failure.happened();
            }
            after();
        }
    }

    // Whether the publisher at `endpoint_` answers the peer. False if it closes the connection instead.
    static bool answers(RawSocket& peer) {
        try {
            peer.sendFrame(hello);
            peer.readFrame();
            peer.readFrame();
            return true;
        } catch (std::runtime_error const&) {
            return false;
        }
    }

    // Whether it answers the peer, hands on what it offers, and takes that back. False as above.
    bool serves(RawSocket peer) {
        if (!answers(peer)) {
            return false;
        }
        peer.sendFrame(offers);
        for (auto const end = std::chrono::steady_clock::now() + patience; remoteServices().empty();) {
            if (peer.hasInput()) {
                return false;
            }
            if (std::chrono::steady_clock::now() > end) {
                ADD_FAILURE() << "the peer is neither served nor closed";
                return false;
            }
            std::this_thread::yield();
        }
        peer.close();
        return waitForRemoteServices({});
    }

    std::string const endpoint_ = socketEndpoint("a.sock");
};

class PeersOfBundlesAtWork : public BundlesAtWork, public testing::WithParamInterface<char const*> {};

TEST_P(PeersOfBundlesAtWork, AreServedOrClosedAndLaterOnesServed) {
    installation_.publish("one", ConfigurationMap().publisher("server", {endpoint_}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));

    forEachAllocation(
        GetParam(), [this] { serves(RawSocket(socketPath("a.sock"))); },
        [this] {
            EXPECT_TRUE(waitForRemoteServices({})) << "what a peer that was closed has offered is left";
            EXPECT_TRUE(serves(RawSocket(socketPath("a.sock"))));
        });
}

INSTANTIATE_TEST_SUITE_P(Threads, PeersOfBundlesAtWork, testing::Values("spf-sockets", "spf-clients"),
                         [](auto const& thread) { return std::string(thread.param).substr(4); });

TEST_F(BundlesAtWork, AnswerAPeerOrCloseItWhicheverAllocationFails) {
    installation_.publish("one", ConfigurationMap().publisher("server", {endpoint_}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));

    auto const connect = [this] {
        RawSocket peer(socketPath("a.sock"));
        return answers(peer);
    };

    forEachAllocation("spf-rpc", connect, [&] { EXPECT_TRUE(connect()); });
}

TEST_F(BundlesAtWork, TakeBackWhatAPeerHasOfferedWhicheverAllocationFailsAtItsEnd) {
    installation_.publish("one", ConfigurationMap().publisher("server", {endpoint_}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    std::optional<RawSocket> peer;
    auto const connect = [&] {
        peer.emplace(socketPath("a.sock"));
        ASSERT_TRUE(answers(*peer));
        peer->sendFrame(offers);
        EXPECT_TRUE(waitForRemoteServices({"clock i r via " + endpoint_}));
    };

    connect();
    forEachAllocation(
        "spf-rpc",
        [&] {
            peer.reset();
            EXPECT_TRUE(waitForRemoteServices({}));
        },
        connect);
}

// What a peer offers, as a publisher hands it on.
class GivenOffers : public agent::spf::bundles::RemoteOffers {
public:
    void set(std::vector<agent::spf::bundles::RemoteOffer> all) {
        auto const now = std::make_shared<agent::spf::bundles::PeerOffers const>(
            agent::spf::bundles::PeerOffers{"a", "p", "e", "q", {}, std::move(all)});
        std::lock_guard const lock(mutex_);
        offers_ = now;
    }
    std::shared_ptr<agent::spf::bundles::PeerOffers const> current() const override {
        std::lock_guard const lock(mutex_);
        return offers_;
    }

private:
    mutable std::mutex mutex_; // guards offers_
    std::shared_ptr<agent::spf::bundles::PeerOffers const> offers_;
};

TEST_F(BundlesAtWork, LookAtOffersThatChangeThoughThereWasNoMemoryForAnEarlierLook) {
    auto const given = std::make_shared<GivenOffers>();
    given->set({});
    auto registration = installation_.context().RegisterService<agent::spf::bundles::RemoteOffers>(given);

    std::size_t n = 0;
    for (bool failed = true; failed && !HasFailure();) {
        SCOPED_TRACE(testing::Message() << "allocation " << ++n);
        failed = runsOutOfMemoryAt(n, AllocationFailure::Duration::Lasting,
                                   [&] { registration.SetProperties({}); });
        given->set({{"clock", "i", 1, {}}});
        registration.SetProperties({});
        EXPECT_TRUE(waitForRemoteServices({"clock i p via e"}));
        given->set({});
        registration.SetProperties({});
        EXPECT_TRUE(waitForRemoteServices({}));
    }
}

TEST_F(BundlesAtWork, ConnectAgainWhicheverAllocationFails) {
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", ConfigurationMap().publisher("client", {}, {endpoint_}).build());

    auto const connects = [&server] {
        auto peer = server.accept();
        peer.sendFrame(hello);
        try {
            peer.readFrame();
            peer.readFrame();
        } catch (std::runtime_error const&) {
            return false; // closed
        }
        return true;
    };

    ASSERT_TRUE(connects());

    forEachAllocation("spf-sockets", connects, [&] { EXPECT_TRUE(connects()); });
}

// What a publisher reports last, kept without memory of its own.
class LastReport : public agent::spf::frameworklistener::FrameworkListener {
public:
    enum class Kind { None, Published, Removed, Error };

    void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event> event) override {
        using namespace agent::spf::frameworklistener;
        std::lock_guard const lock(mutex_);
        if (event->eventType == EventType::FrameworkErrorEvent) {
            set(Kind::Error, static_cast<FrameworkErrorEvent const&>(*event).modificationCount);
        } else if (event->eventType == EventType::FrameworkEvent) {
            auto const& ofFramework = static_cast<FrameworkEvent const&>(*event);
            auto const isRemoval = ofFramework.kind == FrameworkEvent::Kind::ConfigurationRemoved;
            set(isRemoval ? Kind::Removed : Kind::Published, ofFramework.modificationCount);
        }
    }

    // Of this modification; waits for it.
    Kind of(std::uint32_t count, Kind other = Kind::None) const {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, patience, [&] { return count_ == count && kind_ != other; });
        return count_ == count && kind_ != other ? kind_ : Kind::None;
    }

private:
    void set(Kind kind, std::uint32_t count) {
        kind_ = kind;
        count_ = count;
        changed_.notify_all();
    }

    mutable std::mutex mutex_; // guards what follows
    mutable std::condition_variable changed_;
    Kind kind_ = Kind::None;
    std::uint32_t count_ = 0;
};

class ModificationsAtWork : public BundlesAtWork {
protected:
    using Kind = LastReport::Kind;

    ModificationsAtWork() {
        installation_.context().RegisterService<agent::spf::frameworklistener::FrameworkListener>(report_);
    }

    // What the publisher reports of the next modification, in which it has these endpoints.
    Kind modify(std::vector<std::string> const& endpoints) {
        installation_.publish("one", ConfigurationMap(++count_).publisher("server", endpoints).build());
        return report_->of(static_cast<std::uint32_t>(count_));
    }

    std::shared_ptr<LastReport> const report_ = std::make_shared<LastReport>();
    std::string const second_ = socketEndpoint("b.sock");
    int count_ = 0;
};

class ModificationsOfBundlesAtWork : public ModificationsAtWork,
                                     public testing::WithParamInterface<char const*> {};

TEST_P(ModificationsOfBundlesAtWork, ArePublishedOrAnErrorAndLaterOnesPublished) {
    forEachAllocation(
        GetParam(),
        [this] {
            EXPECT_NE(modify({endpoint_, second_}), Kind::None);
        },
        [this] {
            EXPECT_EQ(modify({endpoint_}), Kind::Published);
            EXPECT_EQ(modify({endpoint_, second_}), Kind::Published) << "the second was not given up";
            EXPECT_EQ(modify({endpoint_}), Kind::Published);
        });
}

TEST_P(ModificationsOfBundlesAtWork, ThatCannotBePublishedAreAnErrorAndLaterOnesPublished) {
    for (char const* const filter : {"", "no filter"}) {
        forEachAllocation(
            GetParam(),
            [&] {
                installation_.publish(
                    "one", ConfigurationMap(++count_).publisher("server", {"pipe:x"}, {}, filter).build());
                EXPECT_EQ(report_->of(static_cast<std::uint32_t>(count_)), Kind::Error);
            },
            [&] { EXPECT_EQ(modify({}), Kind::Published); });
    }
}

TEST_F(ModificationsAtWork, ArePublishedOrAnErrorWhicheverAllocationOfItsLookUpFails) {
    forEachAllocation(
        "spf-resolver", [this] { EXPECT_NE(modify({"tcp:localhost:0"}), Kind::None); },
        [this] { EXPECT_EQ(modify({}), Kind::Published); });
}

TEST_P(ModificationsOfBundlesAtWork, AreWithdrawnAndReportedSo) {
    modify({endpoint_});
    forEachAllocation(
        GetParam(),
        [this] {
            installation_.withdraw("one");
            EXPECT_EQ(report_->of(static_cast<std::uint32_t>(count_), Kind::Published), Kind::Removed);
        },
        [this] {
            EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
            EXPECT_EQ(modify({endpoint_}), Kind::Published);
        });
}

INSTANTIATE_TEST_SUITE_P(Threads, ModificationsOfBundlesAtWork,
                         testing::Values("spf-sockets", "spf-rpc", "spf-framework"),
                         [](auto const& thread) { return std::string(thread.param).substr(4); });

} // namespace
