// What becomes of the endpoints to bind and of a configuration from its publication to its removal.
#include <filesystem>

#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

class Publishing : public BundlesTest {};

TEST_F(Publishing, BindsAUnixEndpointAndPublishes) {
    auto const endpoint = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());

    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    EXPECT_THAT(events_.values(), ElementsAre("Bound " + endpoint + " p 1", "AllServicesPublished p 1"));
    EXPECT_TRUE(std::filesystem::is_socket(socketPath("a.sock")));
}

TEST_F(Publishing, AListenerThatThrowsKeepsNoOtherFromItsEvents) {
    struct Throwing : agent::spf::frameworklistener::FrameworkListener {
        void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event>) override { throw 1; }
    };
    using agent::spf::frameworklistener::FrameworkListener;
    std::vector<std::shared_ptr<EventRecorder>> others; // some before and some behind those that throw
    for (int i = 0; i < 10; ++i) {
        installation_.context().RegisterService<FrameworkListener>(std::make_shared<Throwing>());
        others.push_back(std::make_shared<EventRecorder>());
        installation_.context().RegisterService<FrameworkListener>(others.back());
    }

    installation_.publish("one", ConfigurationMap().publisher("p", {}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    for (auto const& other : others) {
        EXPECT_TRUE(other->events.waitFor("AllServicesPublished p 1"));
    }
}

TEST_F(Publishing, UnixSocketsAreTheirUsersAlone) {
    installation_.publish("one", ConfigurationMap().publisher("p", {socketEndpoint("a.sock")}).build());

    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(socketPath("a.sock")).permissions(),
              perms::owner_read | perms::owner_write);
}

TEST_F(Publishing, BindsAndConnectsTcp) {
    auto const endpoint = "tcp:127.0.0.1:" + std::to_string(freeTcpPort());

    installation_.publish("one", clockAndClient(endpoint).build());

    EXPECT_TRUE(events_.waitFor("Bound " + endpoint + " server 1"));
    EXPECT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));
    EXPECT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));
}

TEST_F(Publishing, APublisherWithoutEndpointsToBindPublishesAtOnce) {
    installation_.publish("one",
                          ConfigurationMap().publisher("p", {}, {socketEndpoint("nobody.sock")}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
}

TEST_F(Publishing, WaitsForEachEndpointWhicheverIsBoundFirst) {
    std::vector<std::string> endpoints;
    for (int i = 0; i < 20; ++i) {
        endpoints.push_back(i % 3 == 0 ? "tcp:127.0.0.1:0" : socketEndpoint(std::to_string(i)));
    }
    installation_.publish("one", ConfigurationMap(1).publisher("p", endpoints).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    EXPECT_EQ(events_.values().back(), "AllServicesPublished p 1");
    EXPECT_EQ(events_.values().size(), 15U); // one for each different endpoint, and the last

    endpoints.erase(endpoints.begin() + 1);
    endpoints.push_back(socketEndpoint("another"));
    installation_.publish("one", ConfigurationMap(2).publisher("p", endpoints).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 2"));
    EXPECT_EQ(events_.values().back(), "AllServicesPublished p 2");
    EXPECT_EQ(events_.values().size(), 30U);
}

TEST_F(Publishing, EndpointsToConnectToDoNotHoldPublicationBack) {
    auto const bound = socketEndpoint("a.sock");

    installation_.publish(
        "one", ConfigurationMap().publisher("p", {bound}, {socketEndpoint("nobody.sock")}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Connected"))));
}

TEST_F(Publishing, AMappingToAnUnknownInterfaceIsAnErrorOfThePublisher) {
    installation_.publish(
        "one", ConfigurationMap().publisher("p", {}).publisher("q", {}).map("nothing", "p").build());

    ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr("configuration \"one\": publisher \"p\""),
                                                 HasSubstr("unknown interface \"nothing\""))));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished q 1"));
}

TEST_F(Publishing, RemovalIsReportedForEachPublisherWhenSocketsAndServicesAreGone) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap(7)
                                     .interface("i1", "clock")
                                     .publisher("server", {endpoint})
                                     .publisher("client", {}, {endpoint})
                                     .map("i1", "server")
                                     .build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + endpoint}));

    installation_.withdraw("one");

    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved server 7"));
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved client 7"));
    EXPECT_THAT(remoteServices(), IsEmpty());
}

TEST_F(Publishing, AModificationReportsWhatStaysUnderTheNewCount) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const configuration = [&](int count) {
        return ConfigurationMap(count)
            .publisher("server", {endpoint})
            .publisher("client", {}, {endpoint})
            .build();
    };
    installation_.publish("one", configuration(1));
    ASSERT_TRUE(events_.waitFor("Connected " + endpoint + " client 1"));

    installation_.publish("one", configuration(2));

    EXPECT_TRUE(events_.waitFor("Rebound " + endpoint + " server 2"));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished server 2"));
    EXPECT_TRUE(events_.waitFor("Reconnected " + endpoint + " client 2"));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished client 2"));
}

TEST_F(Publishing, AModificationAddsAndRemovesEndpointsInterfacesAndPublishers) {
    auto const first = socketEndpoint("a.sock");
    auto const second = socketEndpoint("b.sock");
    installation_.publish("one", ConfigurationMap(1)
                                     .interface("i1", "clock")
                                     .publisher("server", {first})
                                     .publisher("client", {}, {first})
                                     .publisher("idle", {})
                                     .map("i1", "server")
                                     .build());
    ASSERT_TRUE(waitForRemoteServices({"clock i1 server via " + first}));

    installation_.publish("one", ConfigurationMap(2)
                                     .interface("i2", "lamp")
                                     .publisher("server", {second})
                                     .publisher("client", {}, {second})
                                     .map("i2", "server")
                                     .build());

    EXPECT_TRUE(events_.waitFor("Bound " + second + " server 2"));
    EXPECT_TRUE(events_.waitFor("ConfigurationRemoved idle 1"));
    EXPECT_TRUE(waitForRemoteServices({"lamp i2 server via " + second}));
    EXPECT_FALSE(std::filesystem::exists(socketPath("a.sock")));
}

TEST_F(Publishing, AModificationMayConnectToWhatIsBoundToAsWell) {
    auto const endpoint = socketEndpoint("a.sock");
    installation_.publish("one", ConfigurationMap(1).publisher("p", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));

    installation_.publish("one", ConfigurationMap(2).publisher("p", {endpoint}, {endpoint}).build());

    EXPECT_TRUE(events_.waitFor("Connected " + endpoint + " p 2"));
}

TEST_F(Publishing, AModificationMayGiveToOnePublisherWhatItTakesFromAnother) {
    auto const tcp = "tcp:127.0.0.1:" + std::to_string(freeTcpPort());
    auto const path = socketEndpoint("a.sock");
    auto const publish = [&](int count, std::string const& first, std::string const& second) {
        installation_.publish(
            "one", ConfigurationMap(count).publisher("p", {first}).publisher("q", {second}).build());
    };
    publish(1, tcp, path);
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));
    ASSERT_TRUE(events_.waitFor("AllServicesPublished q 1"));

    publish(2, path, tcp);

    EXPECT_TRUE(events_.waitFor("Bound " + path + " p 2"));
    EXPECT_TRUE(events_.waitFor("Bound " + tcp + " q 2"));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 2"));
    EXPECT_TRUE(events_.waitFor("AllServicesPublished q 2"));
    EXPECT_THAT(events_.values(), Not(Contains(HasSubstr("Error"))));
}

TEST_F(Publishing, AConfigurationThatComesAgainIsAppliedAfterItsRemovalWasReported) {
    auto const endpoint = socketEndpoint("a.sock");
    auto const configuration = ConfigurationMap(1).publisher("server", {endpoint}).build();
    installation_.publish("one", configuration);
    ASSERT_TRUE(events_.waitFor("AllServicesPublished server 1"));

    installation_.withdraw("one");
    ASSERT_TRUE(events_.waitFor("ConfigurationRemoved server 1"));
    installation_.publish("one", configuration);

    EXPECT_TRUE(events_.waitFor("AllServicesPublished server 1", 2));
}

} // namespace
