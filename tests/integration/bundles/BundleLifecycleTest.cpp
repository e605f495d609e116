// Bundles that are stopped and started while others go on.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"
#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/WithdrawalListener.hpp"
#include "agent/spf/bundles/common/Properties.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

class BundleLifecycle : public BundlesTest {};

TEST_F(BundleLifecycle, ALateStatusListenerIsToldThePresentStatuses) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));

    auto const late = std::make_shared<bundles_test::StatusRecorder>();
    installation_.context().RegisterService<agent::spf::bundles::EndpointStatusListener>(late);

    EXPECT_TRUE(late->statuses.waitFor("p " + endpoint + " bound: "));
}

TEST_F(BundleLifecycle, AStatusListenerThatHasGoneIsToldNothingMore) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const gone = std::make_shared<bundles_test::StatusRecorder>();
    auto registration =
        installation_.context().RegisterService<agent::spf::bundles::EndpointStatusListener>(gone);
    registration.Unregister();

    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());

    ASSERT_TRUE(statuses_.waitFor("p " + endpoint + " bound: "));
    EXPECT_THAT(gone->statuses.values(), IsEmpty());
}

TEST_F(BundleLifecycle, EndpointsAreLostWithTheProviderAndComeBackWithIt) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    auto provider = installation_.bundle("agent_spf_socketprovider");
    provider.Stop();
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
    EXPECT_TRUE(statuses_.waitForOneWith("server " + endpoint + " lost: waits for the endpoint provider"));
    EXPECT_TRUE(waitForRemoteServices({}));

    provider.Start();
    EXPECT_TRUE(events_.waitFor("Rebound " + endpoint + " server 1"));
    EXPECT_TRUE(events_.waitFor("Reconnected " + endpoint + " client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

// Leaves the handlers of its endpoints to the test.
struct KeepingProvider : agent::spf::bundles::EndpointProvider {
    using Endpoint = agent::spf::bundles::Endpoint;
    using Handler = std::shared_ptr<agent::spf::bundles::EndpointHandler>;

    std::unique_ptr<Endpoint> bind(std::string const&, Handler handler) override {
        handlers.add(std::move(handler));
        return nullptr;
    }
    std::unique_ptr<Endpoint> connect(std::string const&, Handler handler) override {
        handlers.add(std::move(handler));
        return nullptr;
    }

    Handler firstHandler() const { return handler(0); }

    Handler handler(std::size_t index) const {
        handlers.waitUntil([index](auto const& all) { return all.size() > index; });
        return handlers.values().at(index);
    }

    Record<Handler> handlers;
};

TEST_F(BundleLifecycle, AReasonThatDoesNotChangeIsToldOnce) {
    installation_.bundle("agent_spf_socketprovider").Stop();
    auto const provider = std::make_shared<KeepingProvider>();
    installation_.context().RegisterService<agent::spf::bundles::EndpointProvider>(provider);
    installation_.publish("one", ConfigurationMap().publisher("p", {}, {"e"}).build());
    auto const handler = provider->firstHandler();

    for (auto const* const reason : {"refused", "refused", "no answer"}) {
        handler->retrying(reason);
    }

    EXPECT_TRUE(statuses_.waitFor("p e connecting: no answer"));
    auto const statuses = statuses_.values();
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), "p e connecting: refused"), 1);
}

TEST_F(BundleLifecycle, AnEndpointThatFailsOnceItWasBoundHoldsPublicationBack) {
    installation_.bundle("agent_spf_socketprovider").Stop();
    auto const provider = std::make_shared<KeepingProvider>();
    installation_.context().RegisterService<agent::spf::bundles::EndpointProvider>(provider);
    installation_.publish("one", ConfigurationMap(1).publisher("p", {"first", "second"}).build());
    provider->handler(0)->bound("first");
    provider->handler(0)->failed("gone");
    provider->handler(1)->bound("second");
    ASSERT_TRUE(events_.waitFor("Bound second p 1"));

    installation_.publish("one", ConfigurationMap(2).publisher("p", {"first", "second"}).build());
    provider->handler(2)->bound("first");

    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 2"));
    EXPECT_THAT(events_.values(), Not(Contains("AllServicesPublished p 1")));
}

TEST_F(BundleLifecycle, WhatWasReportedByAProviderThatHasGoneMeanwhileCountsNoMore) {
    using agent::spf::bundles::EndpointProvider;
    installation_.bundle("agent_spf_socketprovider").Stop();
    auto const first = std::make_shared<KeepingProvider>();
    auto const second = std::make_shared<KeepingProvider>();
    auto registration = installation_.context().RegisterService<EndpointProvider>(first);
    installation_.publish("one", ConfigurationMap().publisher("p", {"e"}).build());
    auto const late = first->firstHandler();
    installation_.context().RegisterService<EndpointProvider>(second);
    registration.Unregister();
    auto const present = second->firstHandler();

    late->bound("e");
    present->failed("not today");

    EXPECT_TRUE(events_.waitForOneWith("not today"));
    EXPECT_THAT(events_.values(), ElementsAre(HasSubstr("Error p 1")));
}

// Listeners on the publishers' thread that stop the provider: what they are told of ends in the middle.
class StoppingListeners : public BundlesTest {
protected:
    void TearDown() override { installation_.stop(); } // the listeners refer to the test

    class OnStatus : public agent::spf::bundles::EndpointStatusListener {
    public:
        explicit OnStatus(StoppingListeners& test)
            : test_(test) {}
        void endpointChanged(agent::spf::bundles::EndpointStatus const& status) override {
            if (status.reason == "waits for the peer to answer the handshake") {
                test_.stopProvider();
            }
        }

    private:
        StoppingListeners& test_;
    };

    class OnError : public agent::spf::frameworklistener::FrameworkListener {
    public:
        explicit OnError(StoppingListeners& test)
            : test_(test) {}
        void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event> event) override {
            if (event->eventType == agent::spf::frameworklistener::EventType::FrameworkErrorEvent) {
                test_.stopProvider();
            }
        }

    private:
        StoppingListeners& test_;
    };

    void stopProvider() {
        installation_.bundle("agent_spf_socketprovider").Stop();
        stopped_.add(0);
    }

    // More interfaces than a peer is offered, of the publisher "p".
    static ConfigurationMap tooManyInterfaces(int modificationCount) {
        ConfigurationMap configuration(modificationCount);
        for (int i = 0; i <= 4096; ++i) {
            configuration.interface(std::to_string(i), "clock").map(std::to_string(i), "p");
        }
        return configuration;
    }

    std::string const endpoint_ = socketEndpoint("a.sock");
    std::string const hello_ = R"({"type":"hello","protocol":1,"agent":"a","publisher":"b"})";
    Record<int> stopped_;
};

// Stops the publisher when it is told of the second version.
class StopOfThePublisher : public agent::spf::bundles::EndpointStatusListener {
public:
    explicit StopOfThePublisher(cppmicroservices::Bundle publisher)
        : publisher_(std::move(publisher)) {}
    void endpointChanged(agent::spf::bundles::EndpointStatus const& status) override {
        if (status.modificationCount == 2) {
            publisher_.Stop();
            threadEnded.set_value_at_thread_exit();
        }
    }
    std::promise<void> threadEnded; // of the publisher

private:
    cppmicroservices::Bundle publisher_;
};

TEST_F(StoppingListeners, AreToldNothingMoreOfEndpointsOncePublishersHaveStopped) {
    auto const publish = [this](int count) {
        installation_.publish(
            "one", ConfigurationMap(count).publisher("p", {endpoint_, socketEndpoint("b.sock")}).build());
    };
    publish(1);
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    auto const toldBefore = statuses_.values().size();
    auto const stop =
        std::make_shared<StopOfThePublisher>(installation_.bundle("agent_spf_rpcservicepublisher"));
    installation_.context().RegisterService<agent::spf::bundles::EndpointStatusListener>(stop);

    publish(2);

    ASSERT_EQ(stop->threadEnded.get_future().wait_for(patience), std::future_status::ready);
    EXPECT_EQ(statuses_.values().size(), toldBefore + 1) << PrintToString(statuses_.values());
}

TEST_F(StoppingListeners, MayBeToldOfAConnectionThatAwaitsTheHandshake) {
    installation_.context().RegisterService<agent::spf::bundles::EndpointStatusListener>(
        std::make_shared<OnStatus>(*this));

    installation_.publish("one", clockAndClient(endpoint_).build());

    EXPECT_TRUE(stopped_.waitFor(0));
    EXPECT_TRUE(statuses_.waitFor("client " + endpoint_ + " connecting: waits for the endpoint provider"));
}

TEST_F(StoppingListeners, MayBeToldOfThePeersOffers) {
    auto context = installation_.context();
    context.AddServiceListener(
        [this](cppmicroservices::ServiceEvent const& event) {
            if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_REGISTERED) {
                stopProvider();
            }
        },
        "(objectClass=agent::spf::bundles::RemoteOffers)");

    installation_.publish("one", clockAndClient(endpoint_).build());

    EXPECT_TRUE(stopped_.waitFor(0));
    EXPECT_TRUE(waitForRemoteServices({}));
}

TEST_F(StoppingListeners, MayBeToldThatAPeerWhichHasGreetedCannotBeOfferedTheInterfaces) {
    installation_.context().RegisterService<agent::spf::frameworklistener::FrameworkListener>(
        std::make_shared<OnError>(*this));
    RawListener const server(socketPath("a.sock"));
    installation_.publish("one", tooManyInterfaces(1).publisher("p", {}, {endpoint_}).build());
    auto peer = server.accept();

    peer.sendFrame(hello_);

    ASSERT_TRUE(stopped_.waitFor(0));
    installation_.bundle("agent_spf_rpcservicepublisher").Stop(); // when it has done all that it was about to
    EXPECT_THAT(statuses_.values(), Not(Contains(HasSubstr(" connected: "))));
}

TEST_F(StoppingListeners, MayBeToldThatNoPeerCanBeOfferedTheInterfacesOfAModification) {
    installation_.context().RegisterService<agent::spf::frameworklistener::FrameworkListener>(
        std::make_shared<OnError>(*this));
    installation_.publish("one", ConfigurationMap(1).publisher("p", {endpoint_}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    std::vector<RawSocket> peers;
    for (int i = 0; i < 3; ++i) {
        peers.emplace_back(socketPath("a.sock"));
        peers.back().sendFrame(hello_);
        peers.back().readFrame(); // the answer to the greeting
    }

    installation_.publish("one", tooManyInterfaces(2).publisher("p", {endpoint_}).build());

    EXPECT_TRUE(stopped_.waitFor(0));
    EXPECT_TRUE(statuses_.waitFor("p " + endpoint_ + " binding: waits for the endpoint provider"));
}

// Listeners of events that stop the framework's bundle on the thread that tells them.
class StopOfTheFramework : public BundlesTest {
protected:
    void TearDown() override { installation_.stop(); } // the listener refers to the test

    using Event = agent::spf::frameworklistener::Event;

    class OnEvent : public agent::spf::frameworklistener::FrameworkListener {
    public:
        explicit OnEvent(std::function<void(Event const&)> act)
            : act_(std::move(act)) {}
        void handleEvent(std::shared_ptr<Event> event) override { act_(*event); }

    private:
        std::function<void(Event const&)> const act_;
    };

    template <class Matches>
    void stopAtEventThat(Matches matches) {
        installation_.context().RegisterService<agent::spf::frameworklistener::FrameworkListener>(
            std::make_shared<OnEvent>([this, matches](Event const& event) {
                if (matches(event)) {
                    installation_.bundle("agent_spf_configurationframework").Stop();
                    stopped_.add(0);
                }
            }));
    }

    Record<int> stopped_;
};

TEST_F(StopOfTheFramework, MayComeWhileItReportsARemoval) {
    using namespace agent::spf::frameworklistener;
    auto const endpoint = socketEndpoint("a.sock");
    stopAtEventThat([](auto const& event) {
        return event.eventType == EventType::FrameworkEvent &&
               static_cast<FrameworkEvent const&>(event).kind == FrameworkEvent::Kind::ConfigurationRemoved;
    });
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));
    ASSERT_TRUE(events_.waitFor("AllServicesPublished client 1"));

    installation_.withdraw("one");

    EXPECT_TRUE(stopped_.waitFor(0));
}

TEST_F(StopOfTheFramework, MayComeWhileItReportsAnErrorAndMakesRoomForANewStart) {
    using agent::spf::frameworklistener::EventType;
    stopAtEventThat([](Event const& event) { return event.eventType == EventType::FrameworkErrorEvent; });

    installation_.publish("one", ConfigurationMap().publisher("p", {}).map("nothing", "p").build());
    ASSERT_TRUE(stopped_.waitFor(0));
    installation_.publish("one", ConfigurationMap(2).publisher("p", {}).build());
    installation_.bundle("agent_spf_configurationframework").Start();

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 2"));
}

class WithoutAService : public BundlesTest, public WithParamInterface<char const*> {};

// The publisher has nothing to bind, and so nothing else to wait for.
TEST_P(WithoutAService, NothingIsPublishedUntilThereIsOne) {
    auto const endpoint = socketEndpoint("nobody.sock");
    auto const publish = [&](int count) {
        installation_.publish("one", ConfigurationMap(count).publisher("p", {}, {endpoint}).build());
    };
    installation_.bundle(GetParam()).Stop();
    publish(1);
    ASSERT_TRUE(statuses_.waitForOneWith("p " + endpoint + " connecting: waits for the "));
    publish(2); // once its first status is told, all that the first version causes has been
    ASSERT_TRUE(statuses_.waitUntil([](auto const& all) { return all.size() >= 2; }));
    EXPECT_THAT(events_.values(), IsEmpty());

    installation_.bundle(GetParam()).Start();

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 2"));
    EXPECT_THAT(events_.values(), ElementsAre("AllServicesPublished p 2"));
}

INSTANTIATE_TEST_SUITE_P(Bundles, WithoutAService,
                         Values("agent_spf_socketprovider", "agent_spf_jsonserialiser"),
                         [](auto const& bundle) { return std::string(bundle.param); });

TEST_F(BundleLifecycle, AStoppedPublisherWithdrawsAndPublishesAgainWhenStarted) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));

    auto publisher = installation_.bundle("agent_spf_rpcservicepublisher");
    publisher.Stop();
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));

    publisher.Start();
    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1", 2));
}

TEST_F(BundleLifecycle, RemovalIsReportedWhenThereIsNoPublisherBundle) {
    installation_.publish("one", ConfigurationMap(3).publisher("p", {socketEndpoint("a.sock")}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 3"));
    installation_.bundle("agent_spf_rpcservicepublisher").Stop();

    installation_.withdraw("one");

    EXPECT_TRUE(events_.waitFor("ConfigurationRemoved p 3"));
}

// A publisher that never says that it has withdrawn.
class SilentPublisher : public cppmicroservices::service::cm::ManagedServiceFactory {
public:
    void Updated(std::string const& pid, cppmicroservices::AnyMap const&) override { updated.add(pid); }
    void Removed(std::string const& pid) override { removed.add(pid); }
    Record<std::string> updated;
    Record<std::string> removed;
};

cppmicroservices::ServiceProperties propertiesWith(std::string const& pid) {
    return {{cppmicroservices::Constants::SERVICE_PID, cppmicroservices::Any(pid)}};
}

TEST_F(BundleLifecycle, APublisherThatGoesUnderAnotherPIDIsMissedUnderItsFirst) {
    installation_.bundle("agent_spf_rpcservicepublisher").Stop();
    auto const publisher = std::make_shared<SilentPublisher>();
    auto registration =
        installation_.context().RegisterService<cppmicroservices::service::cm::ManagedServiceFactory>(
            publisher, propertiesWith("qo.spf.rpcservicepublisher"));
    installation_.publish("one", ConfigurationMap(3).publisher("p", {socketEndpoint("a.sock")}).build());
    ASSERT_TRUE(publisher->updated.waitUntil([](auto const& pids) { return !pids.empty(); }));
    registration.SetProperties(propertiesWith("another"));
    installation_.withdraw("one");

    registration.Unregister();

    EXPECT_TRUE(events_.waitFor("ConfigurationRemoved p 3"));
}

TEST_F(BundleLifecycle, OfTwoPublishersUnderOnePIDTheLastToGoEndsTheWaitForItsWithdrawal) {
    using cppmicroservices::service::cm::ManagedServiceFactory;
    installation_.bundle("agent_spf_rpcservicepublisher").Stop();
    auto const publisher = std::make_shared<SilentPublisher>();
    auto const registerPublisher = [&] {
        return installation_.context().RegisterService<ManagedServiceFactory>(
            publisher, propertiesWith("qo.spf.rpcservicepublisher"));
    };
    auto first = registerPublisher();
    auto second = registerPublisher();
    installation_.publish("one", ConfigurationMap(3).publisher("p", {}).build());
    ASSERT_TRUE(publisher->updated.waitUntil([](auto const& pids) { return !pids.empty(); }));
    installation_.withdraw("one");
    ASSERT_TRUE(publisher->removed.waitUntil([](auto const& pids) { return !pids.empty(); }));

    first.Unregister();
    installation_.publish("two", ConfigurationMap().map("nothing", "nobody").build());
    ASSERT_TRUE(events_.waitForOneWith("Error nobody 1")); // the framework has seen the first go
    EXPECT_THAT(events_.values(), Not(Contains("ConfigurationRemoved p 3")));
    second.Unregister();

    EXPECT_TRUE(events_.waitFor("ConfigurationRemoved p 3"));
}

TEST_F(BundleLifecycle, AFactoryWhosePIDIsNoTextIsNobodysPublisher) {
    installation_.context().RegisterService<cppmicroservices::service::cm::ManagedServiceFactory>(
        std::make_shared<SilentPublisher>(),
        {{cppmicroservices::Constants::SERVICE_PID, cppmicroservices::Any(7)}});
    auto framework = installation_.bundle("agent_spf_configurationframework");
    framework.Stop();

    framework.Start();

    installation_.publish("one", ConfigurationMap().publisher("p", {socketEndpoint("a.sock")}).build());
    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
}

// The framework bundle and the publisher are told in any order that their configurations are gone.
TEST_F(BundleLifecycle, ARestartOfConfigurationAdminWithdrawsEverythingAndTheNextConfigurationIsPublished) {
    auto const endpoint = socketEndpoint("a.sock");
    auto admin = installation_.bundle("configuration_admin");
    for (int count = 1; count <= 5; ++count) {
        installation_.publish("one", ConfigurationMap(count).publisher("p", {endpoint}).build());
        ASSERT_TRUE(events_.waitFor("AllServicesPublished p " + std::to_string(count)));

        admin.Stop();
        EXPECT_TRUE(events_.waitFor("ConfigurationRemoved p " + std::to_string(count)));
        admin.Start();
    }
}

TEST_F(BundleLifecycle, WithoutConfigurationAdminAPublisherCannotBeConfiguredAndThatIsAnErrorOfIt) {
    using cppmicroservices::service::cm::ManagedServiceFactory;
    auto context = installation_.context();
    auto const factory = context.GetService(
        context.GetServiceReferences<ManagedServiceFactory>("(service.pid=qo.spf.framework)").at(0));
    installation_.bundle("configuration_admin").Stop();

    factory->Updated("qo.spf.framework~late", ConfigurationMap(4).publisher("p", {}).build());

    EXPECT_TRUE(events_.waitFor("Error p 4: publisher \"p\": there is no Configuration Admin service"));
}

class PublisherConfigurationsByHand : public BundlesTest {
protected:
    static constexpr auto factoryPID = "qo.spf.rpcservicepublisher";

    std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin> admin() const {
        auto context = installation_.context();
        return context.GetService(
            context.GetServiceReference<cppmicroservices::service::cm::ConfigurationAdmin>());
    }
};

TEST_F(PublisherConfigurationsByHand, ThatLackAModificationCountAreErrorsUnderTheCountZero) {
    auto const configuration = admin()->GetFactoryConfiguration(factoryPID, "x");
    auto properties = agent::spf::bundles::makeMap();
    properties["name"] = std::string("rpcservicepublisher");

    configuration->Update(properties);
    EXPECT_TRUE(events_.waitForOneWith("Error  0: publisher configuration: \"uniqueID\" is missing"));

    properties["uniqueID"] = std::string("p");
    configuration->Update(properties);
    EXPECT_TRUE(events_.waitForOneWith("Error p 0: publisher \"p\": \"modificationCount\" is missing"));
}

TEST_F(PublisherConfigurationsByHand, ThatAreNotYetFilledAreNoErrors) {
    auto const configuration = admin()->GetFactoryConfiguration(factoryPID, "x");

    configuration->Update(agent::spf::bundles::makeMap()).get();
    configuration->Update(ConfigurationMap(2).build());

    EXPECT_TRUE(events_.waitForOneWith("Error "));
    EXPECT_THAT(events_.values(), ElementsAre(HasSubstr("Error  2")));
}

TEST_F(PublisherConfigurationsByHand, ThatWereRemovedBeforeAreReportedAsRemovedAllTheSame) {
    class Withdrawals : public agent::spf::bundles::WithdrawalListener {
    public:
        void withdrawn(std::string const& pid) override { pids.add(pid); }
        Record<std::string> pids;
    };
    auto const withdrawals = std::make_shared<Withdrawals>();
    installation_.context().RegisterService<agent::spf::bundles::WithdrawalListener>(withdrawals);
    installation_.publish("one", ConfigurationMap(3).publisher("p", {socketEndpoint("a.sock")}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 3"));
    for (auto const& configuration : admin()->ListConfigurations()) {
        if (configuration->GetFactoryPid() == factoryPID) {
            configuration->Remove().get();
        }
    }
    ASSERT_TRUE(withdrawals->pids.waitForOneWith(factoryPID));

    installation_.withdraw("one");

    EXPECT_TRUE(events_.waitFor("ConfigurationRemoved p 3"));
}

TEST_F(BundleLifecycle, StoppingTheFrameworkWithLiveConnectionsRemovesTheSockets) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", clockAndClient(endpoint).build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    installation_.stop();

    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
}

} // namespace
