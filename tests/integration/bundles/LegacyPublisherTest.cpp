// Publishers whose endpoints are discovery names.
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "ChildProcess.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/DiscoveryService.hpp"
#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/discovery/Announcement.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

// Takes the place of the sockets' provider; calls the functions when an endpoint is bound and when it is
// closed.
class ObservingProvider : public agent::spf::bundles::EndpointProvider {
public:
    using Endpoint = agent::spf::bundles::Endpoint;
    using Handler = std::shared_ptr<agent::spf::bundles::EndpointHandler>;
    using Observer = std::function<void(std::string const& endpoint)>;

    ObservingProvider(Observer binding, Observer closed)
        : binding_(std::move(binding))
        , closed_(std::move(closed)) {}

    std::unique_ptr<Endpoint> bind(std::string const& endpoint, Handler handler) override {
        binding_(endpoint);
        handler->bound(endpoint);
        return std::make_unique<Bound>(closed_, endpoint);
    }
    std::unique_ptr<Endpoint> connect(std::string const&, Handler) override { return nullptr; }

private:
    struct Bound : Endpoint {
        Bound(Observer observer, std::string text)
            : closed(std::move(observer))
            , endpoint(std::move(text)) {}
        ~Bound() override { closed(endpoint); }
        void close() override {}

        Observer const closed;
        std::string const endpoint;
    };

    Observer const binding_;
    Observer const closed_;
};

// Takes the place of the discovery by the runtime directory; the test tells what a name stands for.
class ToldDiscovery : public agent::spf::bundles::DiscoveryService {
public:
    std::unique_ptr<Handle> resolve(std::string const&, Resolved resolved) override {
        lookOuts.add(std::move(resolved));
        return std::make_unique<Handle>();
    }
    std::unique_ptr<Handle> announce(std::string const&, std::string const&) override { return nullptr; }
    std::string privateEndpoint(std::string const&) override { return {}; }

    void tell(std::optional<std::string> const& endpoint) const {
        lookOuts.waitUntil([](auto const& all) { return !all.empty(); });
        lookOuts.values().back()(endpoint);
    }

    Record<Resolved> lookOuts;
};

class LegacyPublisher : public BundlesTest {
protected:
    std::filesystem::path runtimeDirectory() const { return directory_.path() / "runtime"; }

    void useProvider(ObservingProvider::Observer binding, ObservingProvider::Observer closed) {
        installation_.bundle("agent_spf_socketprovider").Stop();
        installation_.context().RegisterService<agent::spf::bundles::EndpointProvider>(
            std::make_shared<ObservingProvider>(std::move(binding), std::move(closed)));
    }
};

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

TEST_F(LegacyPublisher, ANameWaitsForTheDiscoveryServiceAndAnAddressDoesNot) {
    auto discovery = installation_.bundle("agent_spf_runtimedirectorydiscovery");
    discovery.Stop();
    auto const address = socketEndpoint("a.sock");

    installation_.publish("one",
                          ConfigurationMap().legacyPublisher("p", {"name", address}, {"name"}).build());

    EXPECT_TRUE(events_.waitFor("Bound " + address + " p 1"));
    EXPECT_TRUE(statuses_.waitFor("p name binding: waits for the discovery service"));
    EXPECT_TRUE(statuses_.waitFor("p name connecting: waits for the discovery service"));
    discovery.Start();
    EXPECT_TRUE(events_.waitFor("Connected name p 1"));
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

// So that whatever a killed process leaves of its socket is found by the announcement.
TEST_F(LegacyPublisher, AnAnnouncementIsThereBeforeItsSocketAndUntilThatHasGone) {
    Record<std::string> seen;
    auto const see = [&](std::string const& when) {
        return [this, &seen, when](std::string const& endpoint) {
            auto const all = agent::spf::bundles::discovery::readAnnouncements(runtimeDirectory());
            auto const isAnnounced = !all.empty() && all.front().endpoint == endpoint;
            seen.add(when + (isAnnounced ? " announced" : " not announced"));
        };
    };
    useProvider(see("binding"), see("closed"));

    installation_.publish("server", ConfigurationMap().legacyPublisher("server", {"name"}).build());
    ASSERT_TRUE(events_.waitFor("Bound name server 1"));
    installation_.withdraw("server");
    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved server 1"));

    EXPECT_THAT(seen.values(), ElementsAre("binding announced", "closed announced"));
    EXPECT_TRUE(std::filesystem::is_empty(runtimeDirectory()));
}

TEST_F(LegacyPublisher, WhatCannotBeBoundIsNotAnnounced) {
    useProvider([](auto const&) { throw std::runtime_error("not today"); }, {});

    installation_.publish("server", ConfigurationMap().legacyPublisher("server", {"name"}).build());

    EXPECT_TRUE(events_.waitForOneWith("Error server 1: publisher \"server\": cannot bind unix:"));
    EXPECT_TRUE(std::filesystem::is_empty(runtimeDirectory()));
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

// As when what was found is told once more by a look-out that has just been given up.
TEST_F(LegacyPublisher, AnAddressThatIsFoundOnceMoreIsNotConnectedToAnew) {
    installation_.bundle("agent_spf_runtimedirectorydiscovery").Stop();
    auto const discovery = std::make_shared<ToldDiscovery>();
    installation_.context().RegisterService<agent::spf::bundles::DiscoveryService>(discovery);
    RawListener const server(socketPath("a.sock"));
    installation_.publish("client", ConfigurationMap().legacyPublisher("client", {}, {"name"}).build());
    discovery->tell(socketEndpoint("a.sock"));
    auto peer = server.accept();
    peer.sendFrame(R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})");
    ASSERT_TRUE(events_.waitFor("Connected name client 1"));

    discovery->tell(socketEndpoint("a.sock"));
    discovery->tell(std::nullopt);

    auto const lost = statuses_.waitForFirstWith("client name lost");
    EXPECT_EQ(lost, "client name lost: no running process announces \"name\"");
}

TEST_F(LegacyPublisher, WhatIsFoundOnceTheEndpointHasBeenGivenUpCountsNoMore) {
    installation_.bundle("agent_spf_runtimedirectorydiscovery").Stop();
    auto const discovery = std::make_shared<ToldDiscovery>();
    installation_.context().RegisterService<agent::spf::bundles::DiscoveryService>(discovery);
    installation_.publish("client", ConfigurationMap().legacyPublisher("client", {}, {"name"}).build());
    discovery->tell(std::nullopt);
    installation_.bundle("agent_spf_socketprovider").Stop();
    ASSERT_TRUE(statuses_.waitForOneWith("waits for the endpoint provider"));

    discovery->tell("unix:/late");

    installation_.bundle("agent_spf_socketprovider").Start();
    ASSERT_TRUE(discovery->lookOuts.waitUntil([](auto const& all) { return all.size() == 2; }));
    EXPECT_THAT(statuses_.values(), Not(Contains(HasSubstr("found at"))));
}

TEST_F(LegacyPublisher, AnAnnouncerThatIsKilledIsLookedForAgain) {
    RawListener const server(socketPath("a.sock"));
    ChildProcess announcer(
        {BUNDLES_TEST_ANNOUNCER, runtimeDirectory().string(), "name", socketEndpoint("a.sock")});
    installation_.publish("client", ConfigurationMap().legacyPublisher("client", {}, {"name"}).build());
    auto peer = server.accept();
    peer.sendFrame(R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})");
    ASSERT_TRUE(events_.waitFor("Connected name client 1"));

    announcer.kill();

    EXPECT_TRUE(statuses_.waitForOneWith("client name lost: no running process announces \"name\""));
    EXPECT_TRUE(peer.isClosedByPeer());
}

} // namespace
