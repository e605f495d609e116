// Listeners that stop a bundle, or the framework, on the thread that tells them something.
#include <atomic>
#include <filesystem>
#include <tuple>
#include <utility>

#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/cm/ConfigurationListener.hpp>
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/RemoteService.hpp"

namespace {

using namespace bundles_test;
using namespace testing;
using cppmicroservices::ServiceEvent;

// What is told, to whom, and what brings it about.
struct Occasion {
    enum class Listener { OfEvents, OfStatuses, OfOffers, OfRemoteServices, OfConfigurations, OfBundles };
    enum class Cause { Publication, Modification, LossOfAService, Withdrawal };

    char const* name;
    Cause cause;
    Listener listener;
    char const* text = "";        // that the event or the status holds
    ServiceEvent::Type type = {}; // of the event of a service
};

constexpr char const* provider = "agent_spf_socketprovider";
constexpr char const* serialiser = "agent_spf_jsonserialiser";
constexpr char const* rpcPublisher = "agent_spf_rpcservicepublisher";
constexpr char const* legacyPublisher = "agent_spf_legacyservicepublisher";
constexpr char const* client = "agent_spf_remoteserviceclient";
constexpr char const* framework = "system_bundle"; // whose stop is only begun

class ListenerThatStops : public BundlesTest, public WithParamInterface<std::tuple<char const*, Occasion>> {
protected:
    void TearDown() override { installation_.stop(); } // the listeners refer to the test

    std::string stoppedBundle() const { return std::get<0>(GetParam()); }
    Occasion const& occasion() const { return std::get<1>(GetParam()); }

    class OfEvents : public EventRecorder {
    public:
        OfEvents(ListenerThatStops& test, std::string text)
            : test_(test)
            , text_(std::move(text)) {}
        void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event> event) override {
            EventRecorder::handleEvent(std::move(event));
            test_.stopAt(events.values().back(), text_);
        }

    private:
        ListenerThatStops& test_;
        std::string const text_;
    };

    class OfStatuses : public StatusRecorder {
    public:
        OfStatuses(ListenerThatStops& test, std::string text)
            : test_(test)
            , text_(std::move(text)) {}
        void endpointChanged(agent::spf::bundles::EndpointStatus const& status) override {
            StatusRecorder::endpointChanged(status);
            test_.stopAt(statuses.values().back(), text_);
        }

    private:
        ListenerThatStops& test_;
        std::string const text_;
    };

    class OfConfigurations : public cppmicroservices::service::cm::ConfigurationListener {
    public:
        OfConfigurations(ListenerThatStops& test, std::string text)
            : test_(test)
            , text_(std::move(text)) {}
        void configurationEvent(cppmicroservices::service::cm::ConfigurationEvent const& event) override {
            test_.stopAt(event.getFactoryPid(), text_);
        }

    private:
        ListenerThatStops& test_;
        std::string const text_;
    };

    void stopAt(std::string const& said, std::string const& text) {
        if (said.find(text) != std::string::npos) {
            stop();
        }
    }

    void stop() {
        if (!hasBegun_.exchange(true)) {
            installation_.bundle(stoppedBundle()).Stop();
            stopped_.add(0);
        }
    }

    void listen() {
        auto context = installation_.context();
        switch (occasion().listener) {
        case Occasion::Listener::OfEvents:
            context.RegisterService<agent::spf::frameworklistener::FrameworkListener>(
                std::make_shared<OfEvents>(*this, occasion().text));
            return;
        case Occasion::Listener::OfStatuses:
            context.RegisterService<agent::spf::bundles::EndpointStatusListener>(
                std::make_shared<OfStatuses>(*this, occasion().text));
            return;
        case Occasion::Listener::OfConfigurations:
            context.RegisterService<cppmicroservices::service::cm::ConfigurationListener>(
                std::make_shared<OfConfigurations>(*this, occasion().text));
            return;
        case Occasion::Listener::OfBundles:
            context.AddBundleListener([this](cppmicroservices::BundleEvent const& event) {
                if (event.GetType() == cppmicroservices::BundleEvent::BUNDLE_STOPPING) {
                    stop();
                }
            });
            return;
        case Occasion::Listener::OfOffers:
            return listenTo(us_service_interface_iid<agent::spf::bundles::RemoteOffers>(), occasion().type);
        case Occasion::Listener::OfRemoteServices:
            return listenTo(us_service_interface_iid<agent::spf::bundles::RemoteService>(), occasion().type);
        }
    }

    void listenTo(std::string const& interface, ServiceEvent::Type type) {
        installation_.context().AddServiceListener(
            [this, type](ServiceEvent const& event) {
                if (event.GetType() == type) {
                    stop();
                }
            },
            "(" + cppmicroservices::Constants::OBJECTCLASS + "=" + interface + ")");
    }

    // One of several configurations: endpoints, peers, and an endpoint that cannot be bound.
    cppmicroservices::AnyMap configuration(std::string const& name, int count) const {
        auto const endpoint = socketEndpoint(name + ".sock");
        ConfigurationMap map(count);
        map.interface("i", count == 1 ? "clock" : "bell").map("i", name + "-server");
        if (stoppedBundle() == legacyPublisher) {
            map.legacyPublisher(name + "-server", {endpoint, "nonsense:"});
            map.legacyPublisher(name + "-client", {}, {endpoint});
        } else {
            map.publisher(name + "-server", {endpoint, "nonsense:"});
            map.publisher(name + "-client", {}, {endpoint});
        }
        return map.build();
    }

    // The listener may stop the framework meanwhile, which then does not do what it is asked for.
    template <class Action>
    void unlessStopped(Action const& action) {
        try {
            action();
        } catch (std::exception const& error) {
            EXPECT_EQ(stoppedBundle(), framework) << error.what();
        }
    }

    void publishAll(int count) {
        for (auto const& name : names_) {
            unlessStopped([&] { installation_.publish(name, configuration(name, count)); });
        }
    }

    bool waitForAllPeers() {
        std::vector<std::string> expected;
        for (auto const& name : names_) {
            expected.push_back("clock i " + name + "-server via " + socketEndpoint(name + ".sock"));
        }
        return waitForRemoteServices(expected);
    }

    void loseAService() {
        unlessStopped(
            [this] { installation_.bundle(stoppedBundle() == provider ? serialiser : provider).Stop(); });
    }

    void cause() {
        switch (occasion().cause) {
        case Occasion::Cause::Publication:
            return;
        case Occasion::Cause::Modification:
            return publishAll(2);
        case Occasion::Cause::LossOfAService:
            return loseAService();
        case Occasion::Cause::Withdrawal:
            for (auto const& name : names_) {
                unlessStopped([&] { installation_.withdraw(name); });
            }
        }
    }

    std::vector<std::string> const names_{"a", "b", "c"};
    Record<int> stopped_;

private:
    std::atomic<bool> hasBegun_{false};
};

TEST_P(ListenerThatStops, HoldsUpNothing) {
    if (occasion().cause != Occasion::Cause::Publication) {
        publishAll(1);
        ASSERT_TRUE(waitForAllPeers());
        listen();
        cause();
    } else {
        listen();
        publishAll(1);
    }

    ASSERT_TRUE(stopped_.waitFor(0));
    installation_.stop();
    for (auto const& name : names_) {
        EXPECT_FALSE(std::filesystem::exists(socketPath(name + ".sock")));
    }
}

using C = Occasion::Cause;
using L = Occasion::Listener;

INSTANTIATE_TEST_SUITE_P(
    Bundles, ListenerThatStops,
    Combine(Values(provider, serialiser, rpcPublisher, legacyPublisher, client, framework),
            Values(Occasion{"Bound", C::Publication, L::OfEvents, "Bound "},
                   Occasion{"Connected", C::Publication, L::OfEvents, "Connected "},
                   Occasion{"Published", C::Publication, L::OfEvents, "AllServicesPublished "},
                   Occasion{"Error", C::Publication, L::OfEvents, "Error "},
                   Occasion{"Binding", C::Publication, L::OfStatuses, " binding: "},
                   Occasion{"StatusBound", C::Publication, L::OfStatuses, " bound: "},
                   Occasion{"Connecting", C::Publication, L::OfStatuses, " connecting: "},
                   Occasion{"StatusConnected", C::Publication, L::OfStatuses, " connected: "},
                   Occasion{"StatusFailed", C::Publication, L::OfStatuses, " failed: "},
                   Occasion{"OffersCome", C::Publication, L::OfOffers, "", ServiceEvent::SERVICE_REGISTERED},
                   Occasion{"RemoteServiceComes", C::Publication, L::OfRemoteServices, "",
                            ServiceEvent::SERVICE_REGISTERED},
                   Occasion{"PublisherConfigurationComes", C::Publication, L::OfConfigurations,
                            "servicepublisher"},
                   Occasion{"PublisherConfigurationGoes", C::Withdrawal, L::OfConfigurations,
                            "servicepublisher"},
                   Occasion{"BundleStops", C::LossOfAService, L::OfBundles},
                   Occasion{"Rebound", C::Modification, L::OfEvents, "Rebound "},
                   Occasion{"Reconnected", C::Modification, L::OfEvents, "Reconnected "},
                   Occasion{"OffersChange", C::Modification, L::OfOffers, "", ServiceEvent::SERVICE_MODIFIED},
                   Occasion{"RemoteServiceIsReplaced", C::Modification, L::OfRemoteServices, "",
                            ServiceEvent::SERVICE_UNREGISTERING},
                   Occasion{"Lost", C::LossOfAService, L::OfStatuses, " lost: "},
                   Occasion{"Removed", C::Withdrawal, L::OfEvents, "ConfigurationRemoved "},
                   Occasion{"OffersGo", C::Withdrawal, L::OfOffers, "", ServiceEvent::SERVICE_UNREGISTERING},
                   Occasion{"RemoteServiceGoes", C::Withdrawal, L::OfRemoteServices, "",
                            ServiceEvent::SERVICE_UNREGISTERING})),
    [](auto const& param) {
        return std::string(std::get<1>(param.param).name) + "_" + std::get<0>(param.param);
    });

} // namespace
