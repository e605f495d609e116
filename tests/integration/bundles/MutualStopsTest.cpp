// Listeners on the threads of several bundles that stop each other's bundles at the same time.
#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <pthread.h>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>

#include "BundlesTest.hpp"
#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/RemoteService.hpp"
#include "agent/spf/bundles/common/Properties.hpp"

namespace {

using namespace bundles_test;

std::map<std::string, std::string> const bundlesByThread{
    {"spf-rpc", "agent_spf_rpcservicepublisher"},     {"spf-legacy", "agent_spf_legacyservicepublisher"},
    {"spf-clients", "agent_spf_remoteserviceclient"}, {"spf-framework", "agent_spf_configurationframework"},
    {"spf-sockets", "agent_spf_socketprovider"}, // on which no listener is called
};

class OneOffer : public agent::spf::bundles::RemoteOffers {
public:
    std::shared_ptr<agent::spf::bundles::PeerOffers const> current() const override {
        auto offers = std::make_shared<agent::spf::bundles::PeerOffers>();
        offers->offers.push_back({"clock", "i", 1, agent::spf::bundles::makeMap()});
        return offers;
    }
};

// The parameter: threads, and the one whose bundle a listener on each stops. The configuration framework's is
// the last: those before it need it to get there.
using Stops = std::vector<std::pair<std::string, std::string>>;

class ListenersThatStopEachOthersBundles : public BundlesTest, public testing::WithParamInterface<Stops> {
protected:
    void SetUp() override {
        auto context = installation_.context();
        context.RegisterService<agent::spf::frameworklistener::FrameworkListener>(
            std::make_shared<Listener>(*this));
        context.AddServiceListener([this](cppmicroservices::ServiceEvent const&) { told(); },
                                   "(" + cppmicroservices::Constants::OBJECTCLASS + "=" +
                                       us_service_interface_iid<agent::spf::bundles::RemoteService>() + ")");
    }

    void TearDown() override { installation_.stop(); } // the listeners refer to the test

    // Has a listener called on the thread.
    void causeCallOn(std::string const& thread) {
        if (thread == "spf-rpc") {
            installation_.publish("rpc", ConfigurationMap().publisher("p", {socketEndpoint("rpc")}).build());
        } else if (thread == "spf-legacy") {
            installation_.publish(
                "legacy", ConfigurationMap().legacyPublisher("q", {socketEndpoint("legacy")}).build());
        } else if (thread == "spf-clients") {
            installation_.context().RegisterService<agent::spf::bundles::RemoteOffers>(
                std::make_shared<OneOffer>());
        } else {
            installation_.publish("bad", ConfigurationMap().map("nothing", "nobody").build());
        }
    }

    Record<std::string> arrived_; // threads whose listener has been called
    Record<std::string> ended_;   // threads whose listener has stopped a bundle

private:
    class Listener : public agent::spf::frameworklistener::FrameworkListener {
    public:
        explicit Listener(ListenersThatStopEachOthersBundles& test)
            : test_(test) {}
        void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event>) override { test_.told(); }

    private:
        ListenersThatStopEachOthersBundles& test_;
    };

    void told() {
        std::string name(16, '\0');
        ::pthread_getname_np(::pthread_self(), name.data(), name.size());
        name.resize(name.find('\0'));
        for (auto const& [thread, stopped] : GetParam()) {
            auto const before = arrived_.values();
            if (thread == name && std::count(before.begin(), before.end(), name) == 0) {
                arrived_.add(name);
                arrived_.waitUntil([](auto const& names) { return names.size() == GetParam().size(); });
                installation_.bundle(bundlesByThread.at(stopped)).Stop();
                ended_.add(name);
            }
        }
    }
};

TEST_P(ListenersThatStopEachOthersBundles, DoNotWaitForEachOther) {
    for (auto const& [thread, stopped] : GetParam()) {
        causeCallOn(thread);
        ASSERT_TRUE(arrived_.waitFor(thread));
    }

    for (auto const& [thread, stopped] : GetParam()) {
        ASSERT_TRUE(ended_.waitFor(thread)) << thread;
    }
    installation_.stop();
    EXPECT_FALSE(std::filesystem::exists(socketPath("rpc")));
    EXPECT_FALSE(std::filesystem::exists(socketPath("legacy")));
}

Stops ring(std::vector<std::string> const& threads) {
    Stops stops;
    for (std::size_t i = 0; i < threads.size(); ++i) {
        stops.emplace_back(threads[i], threads[(i + 1) % threads.size()]);
    }
    return stops;
}

INSTANTIATE_TEST_SUITE_P(
    Bundles, ListenersThatStopEachOthersBundles,
    testing::Values(ring({"spf-rpc", "spf-clients"}), ring({"spf-legacy", "spf-clients"}),
                    ring({"spf-rpc", "spf-framework"}), ring({"spf-legacy", "spf-framework"}),
                    ring({"spf-clients", "spf-framework"}), ring({"spf-rpc", "spf-legacy"}),
                    ring({"spf-rpc", "spf-legacy", "spf-clients", "spf-framework"}),
                    Stops{{"spf-rpc", "spf-framework"},
                          {"spf-legacy", "spf-rpc"},
                          {"spf-clients", "spf-legacy"},
                          {"spf-framework", "spf-clients"}},
                    Stops{{"spf-rpc", "spf-sockets"}, {"spf-legacy", "spf-rpc"}},
                    Stops{{"spf-legacy", "spf-sockets"}, {"spf-rpc", "spf-legacy"}},
                    Stops{{"spf-rpc", "spf-clients"}, {"spf-clients", "spf-sockets"}}),
    [](auto const& stops) {
        std::string name;
        for (auto const& [thread, stopped] : stops.param) {
            name += thread.substr(4) + "Stops" + stopped.substr(4);
        }
        return name;
    });

} // namespace
