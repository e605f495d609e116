// The interfaces of peers as services of the registry.
#include <functional>
#include <future>
#include <utility>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceInterface.h>
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/common/Properties.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

class RemoteServices : public BundlesTest {};

TEST_F(RemoteServices, ConnectsAndBothSidesSeeWhatTheOtherOffers) {
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

TEST_F(RemoteServices, RemoteServicesCarryTheirOriginAndTheRequiredProperties) {
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

TEST_F(RemoteServices, AModificationOfPropertiesArrives) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const publish = [&](int count, char const* colour) {
        installation_.publish("one", ConfigurationMap(count)
                                         .interface("i1", "clock", {{"colour", colour}})
                                         .publisher("server", {endpoint})
                                         .publisher("client", {}, {endpoint})
                                         .map("i1", "server")
                                         .build());
    };
    Record<std::string> colours;
    installation_.context().AddServiceListener(
        [&colours](cppmicroservices::ServiceEvent const& event) {
            if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_REGISTERED) {
                colours.add(event.GetServiceReference().GetProperty("colour").ToString());
            }
        },
        "(interface=clock)");
    publish(1, "red");
    ASSERT_TRUE(colours.waitFor("red"));

    publish(2, "blue");

    EXPECT_TRUE(colours.waitFor("blue"));
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
    installation_.stop(); // the listener refers to the record
}

TEST_F(RemoteServices, TheExportFilterKeepsInterfacesFromPeers) {
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

TEST_F(RemoteServices, TheImportFilterKeepsInterfacesOut) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one",
                          ConfigurationMap()
                              .interface("i1", "lamp")
                              .interface("i2", "clock")
                              .publisher("server", {endpoint})
                              .publisher("client", {}, {endpoint}, "(&(interface=cl*)(publisher=server))")
                              .map("i1", "server")
                              .map("i2", "server")
                              .build());

    EXPECT_TRUE(waitForRemoteServices({"clock i2 server via " + endpoint}));
}

TEST_F(RemoteServices, AFilterThatIsNoneIsAnErrorThatQuotesIt) {
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {}, "(colour=").build());

    ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr("importFilter"), HasSubstr("(colour="))));
}

TEST_F(RemoteServices, TheClientFindsPeersThatWereThereBeforeIt) {
    auto const endpoint = socketEndpoint("a.sock");
    auto client = installation_.bundle("agent_spf_remoteserviceclient");
    client.Stop();
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));

    client.Start();

    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_F(RemoteServices, ARequiredPropertyWhoseNameHasDotsTravelsUnderItsWholeName) {
    auto const endpoint = socketEndpoint("a.sock");
    auto inner = agent::spf::bundles::makeMap();
    inner["b"] = std::string("value");
    installation_.publish(
        "one",
        ConfigurationMap()
            .interface("i1", "clock", {{"spf::requiredServiceProperty::a", cppmicroservices::Any(inner)}})
            .publisher("server", {endpoint})
            .publisher("client", {}, {endpoint})
            .map("i1", "server")
            .build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    EXPECT_EQ(installation_.context()
                  .GetServiceReferences<agent::spf::bundles::RemoteService>("(a.b=value)")
                  .size(),
              1U);
}

TEST_F(RemoteServices, TheImportFilterOfTheSideThatWasConnectedToCountsToo) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap()
                                     .interface("i1", "clock")
                                     .interface("i2", "lamp")
                                     .publisher("server", {endpoint}, {}, "(interface=lamp)")
                                     .publisher("client", {}, {endpoint})
                                     .map("i1", "client")
                                     .map("i2", "client")
                                     .build());

    EXPECT_TRUE(waitForRemoteServices({"lamp i2 client via " + endpoint}));
}

TEST_F(RemoteServices, FiltersThatAModificationChangesTakeEffectOnLiveConnections) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const configuration = [&](int count, std::string const& importFilter,
                                   std::string const& exportFilter) {
        return ConfigurationMap(count)
            .interface("i1", "clock")
            .interface("i2", "lamp")
            .interface("i3", "door")
            .publisher("server", {endpoint}, {}, {}, exportFilter)
            .publisher("client", {}, {endpoint}, importFilter)
            .map("i1", "server")
            .map("i2", "server")
            .map("i3", "server")
            .build();
    };
    auto const of = [&](std::string const& interface) { return interface + " server via " + endpoint; };
    installation_.publish("one", configuration(1, {}, {}));
    ASSERT_TRUE(waitForRemoteServices({of("clock i1"), of("door i3"), of("lamp i2")}));

    installation_.publish("one", configuration(2, "(!(interface=door))", {}));
    EXPECT_TRUE(waitForRemoteServices({of("clock i1"), of("lamp i2")}));

    installation_.publish("one", configuration(3, "(!(interface=door))", "(!(interface=lamp))"));
    EXPECT_TRUE(waitForRemoteServices({of("clock i1")}));
    EXPECT_THAT(statuses_.values(), Not(Contains(HasSubstr("lost"))));
}

class OffersOfARawPeer : public BundlesTest {
protected:
    OffersOfARawPeer() {
        installation_.publish("one",
                              ConfigurationMap().publisher("p", {}, {socketEndpoint("a.sock")}).build());
        peer_ = std::make_unique<RawSocket>(server_.accept());
        peer_->sendFrame(R"({"type":"hello","protocol":1,"agent":"raw","publisher":"r"})");
    }

    void offer(std::string const& interfaces) {
        peer_->sendFrame(R"({"type":"offers","interfaces":[)" + interfaces + "]}");
    }

    std::string seen(std::string const& interface) const {
        return interface + " r via " + socketEndpoint("a.sock");
    }

    RawListener const server_{socketPath("a.sock")};
    std::unique_ptr<RawSocket> peer_;
};

TEST_F(OffersOfARawPeer, TakeThePlaceOfEarlierOnes) {
    offer(R"({"name":"clock","uniqueID":"i","version":1,"properties":{}})");
    ASSERT_TRUE(waitForRemoteServices({seen("clock i")}));

    offer(R"({"name":"lamp","uniqueID":"j","version":1,"properties":{}})");

    EXPECT_TRUE(waitForRemoteServices({seen("lamp j")}));
}

TEST_F(OffersOfARawPeer, TheLastOfManyCounts) {
    for (int i = 0; i < 500; ++i) {
        offer(R"({"name":"clock","uniqueID":"i)" + std::to_string(i) + R"(","version":1,"properties":{}})");
    }

    EXPECT_TRUE(waitForRemoteServices({seen("clock i499")}));
}

TEST_F(OffersOfARawPeer, DoNotSetWhatTheRegistryAndTheClientSet) {
    offer(
        R"({"name":"clock","uniqueID":"i","version":2,"properties":{"objectclass":"x","service.id":-1,)"
        R"("service.ranking":9,"service.scope":"x","PEER":"forged","Interface":"forged","localpublisher":"x"}})");
    ASSERT_TRUE(waitForRemoteServices({seen("clock i")}));

    auto const reference = installation_.context().GetServiceReference<agent::spf::bundles::RemoteService>();
    auto const property = [&](std::string const& key) { return reference.GetProperty(key).ToString(); };
    EXPECT_EQ(property("peer"), "raw");
    EXPECT_EQ(property("interface"), "clock");
    EXPECT_EQ(property("localPublisher"), "p");
    EXPECT_EQ(property("version"), "2");
    EXPECT_NE(property("service.id"), "-1");
    EXPECT_TRUE(reference.GetProperty("service.ranking").Empty());
}

TEST_F(OffersOfARawPeer, DoNotSetWhatTheRegistryAndTheClientSetInOtherLetterCase) {
    offer(R"({"name":"clock","uniqueID":"i","version":1,"properties":{"OBJECTCLASS":"x","Service.ID":-1,)"
          R"("SERVICE.RANKING":9,"Service.Scope":"x","PEER":"forged","LocalPublisher":"x"}})");
    ASSERT_TRUE(waitForRemoteServices({seen("clock i")}));

    auto const keys =
        installation_.context().GetServiceReference<agent::spf::bundles::RemoteService>().GetPropertyKeys();

    EXPECT_THAT(keys,
                UnorderedElementsAre("objectclass", "service.id", "service.scope", "interface", "uniqueID",
                                     "version", "publisher", "peer", "endpoint", "localPublisher"));
}

TEST_F(OffersOfARawPeer, VanishWithIt) {
    offer(R"({"name":"clock","uniqueID":"i","version":1,"properties":{}})");
    ASSERT_TRUE(waitForRemoteServices({seen("clock i")}));

    peer_->close();

    EXPECT_TRUE(waitForRemoteServices({}));
}

class Peer : public agent::spf::bundles::RemoteOffers {
public:
    using Offers = std::vector<agent::spf::bundles::RemoteOffer>;

    explicit Peer(std::vector<std::string> const& ids) { offer(ids); }
    explicit Peer(Offers offers) { offer(std::move(offers)); }

    void offer(std::vector<std::string> const& ids) {
        Offers offers;
        for (auto const& id : ids) {
            offers.push_back({"clock", id, 1, agent::spf::bundles::makeMap()});
        }
        offer(std::move(offers));
    }

    void offer(Offers offers) {
        auto next = std::make_shared<agent::spf::bundles::PeerOffers>();
        next->offers = std::move(offers);
        std::lock_guard const lock(mutex_);
        offers_ = std::move(next);
    }

    std::shared_ptr<agent::spf::bundles::PeerOffers const> current() const override {
        std::lock_guard const lock(mutex_);
        return offers_;
    }

private:
    mutable std::mutex mutex_; // guards offers_
    std::shared_ptr<agent::spf::bundles::PeerOffers const> offers_;
};

TEST_F(RemoteServices, AnOfferThatTheRegistryRefusesStandsInTheWayOfNoOther) {
    cppmicroservices::AnyMap twoSpellings(cppmicroservices::AnyMap::UNORDERED_MAP);
    twoSpellings["key"] = 1;
    twoSpellings["KEY"] = 2;
    Peer::Offers const offers{{"clock", "a", 1, twoSpellings},
                              {"clock", "b", 1, agent::spf::bundles::makeMap()}};

    installation_.context().RegisterService<agent::spf::bundles::RemoteOffers>(
        std::make_shared<Peer>(offers));

    EXPECT_TRUE(waitForRemoteServices({"clock b  via "}));
}

// The offers of a peer go, or change, while the client is at work on them: a listener that it calls brings
// that about.
class OffersBeingLookedAt : public BundlesTest {
protected:
    using RemoteOffers = agent::spf::bundles::RemoteOffers;

    void TearDown() override { installation_.stop(); } // the listener refers to the test

    // At the first event of this type.
    void onceAt(cppmicroservices::ServiceEvent::Type type, std::function<void()> const& act) {
        installation_.context().AddServiceListener(
            [this, type, act](cppmicroservices::ServiceEvent const& event) {
                if (event.GetType() == type && !std::exchange(hasActed_, true)) {
                    isRegistered_.get_future().wait();
                    act();
                }
            },
            "(" + cppmicroservices::Constants::OBJECTCLASS + "=" +
                us_service_interface_iid<agent::spf::bundles::RemoteService>() + ")");
    }

    void takeAwayAt(cppmicroservices::ServiceEvent::Type type) {
        onceAt(type, [this] { registration_.Unregister(); });
    }

    void change(std::vector<std::string> const& ids) {
        peer_->offer(ids);
        registration_.SetProperties(cppmicroservices::ServiceProperties());
    }

    void addPeer() {
        registration_ = installation_.context().RegisterService<RemoteOffers>(peer_);
        isRegistered_.set_value();
    }

    // Waits until the client has done all that it had to do.
    bool onlyALaterPeerIsLeft() {
        installation_.context().RegisterService<RemoteOffers>(
            std::make_shared<Peer>(std::vector<std::string>{"later"}));
        return waitForRemoteServices({"clock later  via "});
    }

    std::shared_ptr<Peer> const peer_ = std::make_shared<Peer>(std::vector<std::string>{"a", "b"});
    cppmicroservices::ServiceRegistration<RemoteOffers> registration_;
    std::promise<void> isRegistered_;

private:
    bool hasActed_ = false; // used on the client's thread only
};

TEST_F(OffersBeingLookedAt, LeaveNoServiceBehindWhenTheyGoAsOneIsRegistered) {
    takeAwayAt(cppmicroservices::ServiceEvent::SERVICE_REGISTERED);
    addPeer();

    EXPECT_TRUE(onlyALaterPeerIsLeft()) << testing::PrintToString(remoteServices());
}

TEST_F(OffersBeingLookedAt, LeaveNoServiceBehindWhenTheyGoAsOneIsUnregistered) {
    addPeer();
    ASSERT_TRUE(waitForRemoteServices({"clock a  via ", "clock b  via "}));
    takeAwayAt(cppmicroservices::ServiceEvent::SERVICE_UNREGISTERING);

    change({});

    EXPECT_TRUE(onlyALaterPeerIsLeft()) << testing::PrintToString(remoteServices());
}

TEST_F(OffersBeingLookedAt, AreLookedAtAgainWhenTheyChangeMeanwhile) {
    onceAt(cppmicroservices::ServiceEvent::SERVICE_REGISTERED, [this] { change({"c"}); });
    addPeer();

    EXPECT_TRUE(waitForRemoteServices({"clock c  via "})) << testing::PrintToString(remoteServices());
}

} // namespace
