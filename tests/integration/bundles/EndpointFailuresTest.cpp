// Endpoints that cannot be bound: what is reported, and what is left alone.
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>

#include "BundlesTest.hpp"
#include "RawSocket.hpp"
#include "Unprivileged.hpp"
#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/EndpointProvider.hpp"

namespace {

using namespace bundles_test;
using namespace testing;

class EndpointFailures : public BundlesTest {};

struct ThrowingProvider : agent::spf::bundles::EndpointProvider {
    using Endpoint = agent::spf::bundles::Endpoint;
    using Handler = std::shared_ptr<agent::spf::bundles::EndpointHandler>;

    std::unique_ptr<Endpoint> bind(std::string const&, Handler) override {
        throw std::runtime_error("not today");
    }
    std::unique_ptr<Endpoint> connect(std::string const&, Handler) override {
        throw std::runtime_error("not today");
    }
};

TEST_F(EndpointFailures, AnUnknownSchemeIsAnErrorThatDisturbsNothingElse) {
    auto const good = socketEndpoint("a.sock");
    installation_.publish("one",
                          ConfigurationMap().publisher("bad", {"pipe:x"}).publisher("good", {good}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished good 1"));
    ASSERT_TRUE(events_.waitForOneWith("Error bad 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr("pipe:x"), HasSubstr("unknown scheme \"pipe\""))));
    EXPECT_TRUE(statuses_.waitForOneWith("bad pipe:x failed"));
}

TEST_F(EndpointFailures, AnEndpointThatIsNoTextIsAnErrorThatNamesIt) {
    auto configuration = ConfigurationMap().publisher("p", {}).build();
    namespace keys = agent::spf::bundles::keys;
    using List = std::vector<cppmicroservices::Any>;
    auto publishers =
        cppmicroservices::any_cast<List>(configuration.at(keys::servicePublisherConfigurations));
    auto entry = cppmicroservices::any_cast<cppmicroservices::AnyMap>(publishers[0]);
    auto config = cppmicroservices::any_cast<cppmicroservices::AnyMap>(entry.at(keys::config));
    config[keys::endpointsToBindTo] = List{cppmicroservices::Any(7)};
    entry[keys::config] = config;
    configuration[keys::servicePublisherConfigurations] = List{cppmicroservices::Any(entry)};

    installation_.publish("one", configuration);

    EXPECT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(),
                ElementsAre(HasSubstr("endpoint 7 in \"endpointsToBindTo\" is not a std::string")));
}

TEST_F(EndpointFailures, AnAddressInUseIsAnErrorThatNamesIt) {
    RawListener const other(socketPath("a.sock"));
    auto const endpoint = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());

    ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(),
                ElementsAre(AllOf(HasSubstr(endpoint), HasSubstr("Address already in use"))));
    EXPECT_TRUE(std::filesystem::is_socket(socketPath("a.sock"))) << "the live socket was taken away";
}

TEST_F(EndpointFailures, ATcpPortInUseIsAnErrorThatNamesIt) {
    auto const endpoint = "tcp:127.0.0.1:" + std::to_string(freeTcpPort());
    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());
    ASSERT_TRUE(events_.waitFor("AllServicesPublished p 1"));

    installation_.publish("two", ConfigurationMap().publisher("q", {endpoint}).build());

    ASSERT_TRUE(events_.waitForOneWith("Error q 1"));
    EXPECT_THAT(events_.values(), Contains(AllOf(HasSubstr(endpoint), HasSubstr("Address already in use"))));
}

// Whether the provider is there when the endpoints are published, or comes later.
TEST_F(EndpointFailures, AnEndpointThatAProviderThrowsForFailsAndTheOthersAreLeftAlone) {
    installation_.bundle("agent_spf_socketprovider").Stop();
    installation_.publish("one", ConfigurationMap().publisher("early", {"b"}, {"c"}).build());
    ASSERT_TRUE(statuses_.waitForOneWith("early c connecting"));

    installation_.context().RegisterService<agent::spf::bundles::EndpointProvider>(
        std::make_shared<ThrowingProvider>());
    installation_.publish("two", ConfigurationMap().publisher("late", {"b"}, {"c"}).build());

    for (std::string const publisher : {"early", "late"}) {
        EXPECT_TRUE(events_.waitForOneWith("Error " + publisher + " 1: publisher \"" + publisher +
                                           "\": cannot bind b: not today"));
        EXPECT_TRUE(events_.waitForOneWith("Error " + publisher + " 1: publisher \"" + publisher +
                                           "\": cannot connect to c: not today"));
        EXPECT_TRUE(statuses_.waitForOneWith(publisher + " b failed: cannot bind b: not today"));
        EXPECT_TRUE(statuses_.waitForOneWith(publisher + " c failed: cannot connect to c: not today"));
    }
}

TEST_F(EndpointFailures, ASocketThatADeadProcessLeftIsReplaced) {
    { RawListener const dead(socketPath("a.sock")); } // closes the socket and leaves its file
    ASSERT_TRUE(std::filesystem::is_socket(socketPath("a.sock")));

    installation_.publish("one", ConfigurationMap().publisher("p", {socketEndpoint("a.sock")}).build());

    EXPECT_TRUE(events_.waitFor("AllServicesPublished p 1"));
}

TEST_F(EndpointFailures, AnEndpointThatFailedIsTriedAgainByTheNextModification) {
    auto const endpoint = socketEndpoint("a.sock");
    {
        RawListener const other(socketPath("a.sock"));
        installation_.publish("one", ConfigurationMap(1).publisher("p", {endpoint}).build());
        ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    }

    installation_.publish("one", ConfigurationMap(2).publisher("p", {endpoint}).build());

    EXPECT_TRUE(events_.waitFor("Bound " + endpoint + " p 2"));
}

TEST_F(EndpointFailures, ADirectoryInWhichOneMayNotWriteIsAnErrorThatNamesTheEndpoint) {
    std::filesystem::create_directory(directory_.path() / "locked");
    std::filesystem::permissions(directory_.path() / "locked", std::filesystem::perms::owner_read);
    auto const endpoint = socketEndpoint("locked/a.sock");
    Unprivileged const user;

    installation_.publish("one", ConfigurationMap().publisher("p", {endpoint}).build());

    ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(), ElementsAre(AllOf(HasSubstr(endpoint), HasSubstr("Permission denied"))));
}

TEST_F(EndpointFailures, AHostThatNobodyKnowsCannotBeBoundTo) {
    installation_.publish("one", ConfigurationMap().publisher("p", {"tcp:host.invalid:1"}).build());

    ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(), ElementsAre(HasSubstr("cannot bind tcp:host.invalid:1: no such host")));
}

TEST_F(EndpointFailures, AnAddressOfAnotherMachineIsAnErrorThatNamesTheEndpoint) {
    installation_.publish("one", ConfigurationMap().publisher("p", {"tcp:192.0.2.1:0"}).build());

    ASSERT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_THAT(events_.values(),
                ElementsAre(HasSubstr("cannot bind tcp:192.0.2.1:0: Cannot assign requested address")));
}

TEST_F(EndpointFailures, OneOfTwoEndpointsThatFailsHoldsPublicationBackAndTheOtherIsBound) {
    auto const good = socketEndpoint("a.sock");

    installation_.publish("one", ConfigurationMap().publisher("p", {"pipe:x", good}).build());

    EXPECT_TRUE(events_.waitFor("Bound " + good + " p 1"));
    EXPECT_TRUE(events_.waitForOneWith("Error p 1"));
    EXPECT_EQ(events_.values().size(), 2U);
}

} // namespace
