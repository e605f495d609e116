// How the listener reads a configuration, and how it matches events to publishers. Completion and the waits
// are in the files named so.
#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"

#include <limits>
#include <stdexcept>
#include <type_traits>

#include "tracking/ListenerTest.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::BadAnyCastException;

class FrameworkSetupListenerTest : public ListenerTest {
protected:
    // Delivers a report of published services and tells whether the publisher took it.
    static bool takesEventOf(FrameworkSetupListener& listener, std::uint32_t count) {
        listener.handleEvent(allServicesPublished("p", count));
        return listener.waitForAllServices(now, "p");
    }
};

// The entry of an rpc publisher with one key left out, or one value replaced; `config.` is in front of the
// keys of its "config" map.
AnyMap entryWithout(std::string const& missing) {
    auto const complete = publisherEntry("p", {endpoint("b")}, {endpoint("c")});
    auto config = emptyMap();
    for (auto const& [key, value] : cppmicroservices::ref_any_cast<AnyMap>(complete.at("config"))) {
        if ("config." + key != missing) {
            config[key] = value;
        }
    }
    auto entry = emptyMap();
    for (auto const& [key, value] : complete) {
        if (key != missing) {
            entry[key] = key == "config" ? Any(config) : value;
        }
    }
    return entry;
}

AnyMap entryWith(std::string const& key, Any const& value) {
    auto entry = publisherEntry("p", {endpoint("b")}, {endpoint("c")});
    entry[key] = value;
    return entry;
}

AnyMap entryWithInConfig(std::string const& key, Any const& value) {
    auto config = cppmicroservices::ref_any_cast<AnyMap>(publisherEntry("p").at("config"));
    config[key] = value;
    return entryWith("config", config);
}

} // namespace

static_assert(std::is_base_of_v<frameworklistener::FrameworkListener, FrameworkSetupListener>);
static_assert(!std::is_copy_constructible_v<FrameworkSetupListener>);
static_assert(!std::is_move_constructible_v<FrameworkSetupListener>);

TEST_F(FrameworkSetupListenerTest, TracksTheEndpointsOfEveryRpcPublisher) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")}, {endpoint("c")}),
                                       publisherEntry("q", {endpoint("b2"), endpoint("b1")}, {})});
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect ["c"] bind ["b"])");
    EXPECT_EQ(outstanding(*listener, "q"), R"(connect [] bind ["b2", "b1"])");
}

TEST_F(FrameworkSetupListenerTest, APublisherWithAnotherNameHasNoEndpointsEvenIfItsConfigListsSome) {
    for (auto const* const name :
         {"legacyservicepublisher", "RPCServicePublisher", "rpcservicepublisher ", ""}) {
        auto const listener = listenerFor({publisherEntry("p", {endpoint("b")}, {endpoint("c")}, name)});
        EXPECT_EQ(outstanding(*listener, "p"), "connect [] bind []") << name;
        EXPECT_TRUE(listener->waitForAllEndpoints(now, "p")) << name;
    }
}

TEST_F(FrameworkSetupListenerTest, APublisherWithAnotherNameNeedsNoEndpointKeys) {
    auto entry = entryWith("name", std::string("legacyservicepublisher"));
    entry["config"] = emptyMap();
    EXPECT_EQ(outstanding(*listenerFor({entry}), "p"), "connect [] bind []");
}

TEST_F(FrameworkSetupListenerTest, TheNameIsReadFromTheEntryAndNotFromItsConfig) {
    auto const listener = listenerFor({entryWithInConfig("name", std::string("legacyservicepublisher"))});
    listener->handleEvent(allServicesPublished("p"));
    auto entry = entryWithInConfig("name", std::string("rpcservicepublisher"));
    entry["name"] = std::string("legacyservicepublisher");
    EXPECT_EQ(outstanding(*listenerFor({entry}), "p"), "connect [] bind []");
}

TEST_F(FrameworkSetupListenerTest, KeysAreReadWithoutRegardToCaseFromACaseInsensitiveMap) {
    auto config = emptyMap();
    config["ENDPOINTSTOBINDTO"] = Endpoints{endpoint("b")};
    config["endpointstoconnectto"] = Endpoints{endpoint("c")};
    auto entry = emptyMap();
    entry["UniqueId"] = std::string("p");
    entry["NAME"] = std::string("rpcservicepublisher");
    entry["Config"] = config;
    EXPECT_EQ(outstanding(*listenerFor({entry}), "p"), R"(connect ["c"] bind ["b"])");
}

TEST_F(FrameworkSetupListenerTest, OfPublishersWithOneUniqueIDTheFirstCounts) {
    auto const listener =
        listenerFor({publisherEntry("p", {endpoint("first")}), publisherEntry("p", {endpoint("second")})});
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect [] bind ["first"])");
    listener->handleEvent(configurationRemoved("p"));
    EXPECT_EQ(completions, 1) << "the publishers count as one";
}

TEST_F(FrameworkSetupListenerTest, UniqueIDsAreComparedWithRegardToCase) {
    auto const listener =
        listenerFor({publisherEntry("p", {endpoint("lower")}), publisherEntry("P", {endpoint("upper")})});
    EXPECT_EQ(outstanding(*listener, "P"), R"(connect [] bind ["upper"])");
}

TEST_F(FrameworkSetupListenerTest, AMissingKeyIsAnOutOfRangeError) {
    for (auto const* const missing : {"modificationCount", "servicePublisherConfigurations"}) {
        auto configuration = emptyMap();
        for (auto const& [key, value] : configurationMap(1, {publisherEntry("p")})) {
            if (key != missing) {
                configuration[key] = value;
            }
        }
        EXPECT_THROW(listenerForConfiguration(configuration), std::out_of_range) << missing;
    }
    for (auto const* const missing :
         {"config", "name", "uniqueID", "config.endpointsToBindTo", "config.endpointsToConnectTo"}) {
        EXPECT_THROW(listenerFor({entryWithout(missing)}), std::out_of_range) << missing;
    }
}

TEST_F(FrameworkSetupListenerTest, AValueOfAnotherTypeIsABadAnyCast) {
    auto count = configurationMap(1, {});
    for (auto const& value : {Any(std::string("1")), Any(1U), Any(1L), Any()}) {
        count["modificationCount"] = value;
        EXPECT_THROW(listenerForConfiguration(count), BadAnyCastException);
    }
    auto publishers = configurationMap(1, {});
    for (auto const& value : {Any(publisherEntry("p")), Any(std::vector<std::string>()), Any()}) {
        publishers["servicePublisherConfigurations"] = value;
        EXPECT_THROW(listenerForConfiguration(publishers), BadAnyCastException);
    }
    publishers["servicePublisherConfigurations"] = Endpoints{endpoint("no map")};
    EXPECT_THROW(listenerForConfiguration(publishers), BadAnyCastException);

    EXPECT_THROW(listenerFor({entryWith("config", endpoint("no map"))}), BadAnyCastException);
    EXPECT_THROW(listenerFor({entryWith("name", Any(static_cast<char const*>("p")))}), BadAnyCastException);
    EXPECT_THROW(listenerFor({entryWith("uniqueID", Any(1))}), BadAnyCastException);
    EXPECT_THROW(listenerFor({entryWithInConfig("endpointsToBindTo", endpoint("b"))}), BadAnyCastException);
    EXPECT_THROW(listenerFor({entryWithInConfig("endpointsToConnectTo", std::vector<std::string>{"c"})}),
                 BadAnyCastException);
}

TEST_F(FrameworkSetupListenerTest, WhatIsMissingFirstDecidesTheError) {
    // In this order: the count, the publishers; of an entry the config, the name, the endpoints, the ID.
    auto configuration = emptyMap();
    configuration["servicePublisherConfigurations"] = endpoint("wrong");
    EXPECT_THROW(listenerForConfiguration(configuration), std::out_of_range);

    auto entry = entryWithout("config");
    entry["name"] = Any(1);
    EXPECT_THROW(listenerFor({entry}), std::out_of_range);

    entry = entryWith("name", Any(1));
    entry["config"] = emptyMap();
    EXPECT_THROW(listenerFor({entry}), BadAnyCastException);

    entry = entryWithout("config.endpointsToBindTo");
    entry["uniqueID"] = Any(1);
    EXPECT_THROW(listenerFor({entry}), std::out_of_range);

    auto config = emptyMap();
    config["endpointsToConnectTo"] = endpoint("wrong");
    EXPECT_THROW(listenerFor({entryWith("config", config)}), std::out_of_range);
}

TEST_F(FrameworkSetupListenerTest, AFailedConstructionReleasesTheCallback) {
    auto const held = std::make_shared<int>();
    EXPECT_THROW(FrameworkSetupListener([held] {}, emptyMap()), std::out_of_range);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(FrameworkSetupListenerTest, EventsOfTheSameOrALaterModificationAreTakenAndEarlierOnesIgnored) {
    auto const listener = listenerForConfiguration(configurationMap(5, {publisherEntry("p")}));
    EXPECT_FALSE(takesEventOf(*listener, 0));
    EXPECT_FALSE(takesEventOf(*listener, 4));
    EXPECT_TRUE(takesEventOf(*listener, 5));
    EXPECT_TRUE(takesEventOf(*listenerForConfiguration(configurationMap(5, {publisherEntry("p")})), 6));
}

TEST_F(FrameworkSetupListenerTest, EveryKindOfEventOfAnEarlierModificationIsIgnored) {
    auto const listener = listenerForConfiguration(
        configurationMap(5, {publisherEntry("p", {endpoint("b")}, {endpoint("c")})}));
    for (std::uint32_t kind = 0; kind < 4; ++kind) {
        listener->handleEvent(routerEvent(kind, endpoint(kind < 2 ? "b" : "c"), "p", 4));
    }
    listener->handleEvent(allServicesPublished("p", 4));
    listener->handleEvent(configurationRemoved("p", 4));
    listener->handleEvent(errored(errorWith("stale"), "p", 4));
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect ["c"] bind ["b"])");
    EXPECT_FALSE(listener->waitForAllServices(now, "p"));
    EXPECT_FALSE(listener->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_EQ(completions, 0);
}

TEST_F(FrameworkSetupListenerTest, CountsAreComparedUnsigned) {
    constexpr auto highest = std::numeric_limits<std::uint32_t>::max();
    auto const minusOne = listenerForConfiguration(configurationMap(-1, {publisherEntry("p")}));
    EXPECT_FALSE(takesEventOf(*minusOne, 0));
    EXPECT_FALSE(takesEventOf(*minusOne, highest - 1));
    EXPECT_TRUE(takesEventOf(*minusOne, highest));

    auto const lowest =
        listenerForConfiguration(configurationMap(std::numeric_limits<int>::min(), {publisherEntry("p")}));
    EXPECT_FALSE(takesEventOf(*lowest, 0x7FFFFFFFU));
    EXPECT_TRUE(takesEventOf(*lowest, 0x80000000U));

    EXPECT_TRUE(takesEventOf(*listenerForConfiguration(configurationMap(1, {publisherEntry("p")})), highest));
    EXPECT_TRUE(takesEventOf(*listenerForConfiguration(configurationMap(0, {publisherEntry("p")})), 0));
}

TEST_F(FrameworkSetupListenerTest, EventsForAnUnknownPublisherAreIgnored) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    listener->handleEvent(bound("b", "unknown"));
    listener->handleEvent(allServicesPublished("P"));
    listener->handleEvent(configurationRemoved(""));
    listener->handleEvent(errored(errorWith("not mine"), "unknown"));
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect [] bind ["b"])");
    EXPECT_FALSE(listener->waitForAllServices(now, "p"));
    EXPECT_EQ(completions, 0);
}

TEST_F(FrameworkSetupListenerTest, ANullEventIsIgnored) {
    auto const listener = listenerFor({publisherEntry("p")});
    EXPECT_NO_THROW(listener->handleEvent(nullptr));
    EXPECT_EQ(completions, 0);
}

TEST_F(FrameworkSetupListenerTest, EventsOfUnknownTypeAreIgnored) {
    auto const listener = listenerFor({publisherEntry("p")});
    for (auto const type : {3U, 4U, std::numeric_limits<std::uint32_t>::max()}) {
        auto const event =
            std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::ConfigurationRemoved, "p", 1U);
        event->eventType = static_cast<frameworklistener::EventType>(type);
        listener->handleEvent(event);
    }
    EXPECT_FALSE(listener->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_EQ(completions, 0);
}

TEST_F(FrameworkSetupListenerTest, RouterEventsOfUnknownKindChangeNothing) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("x")}, {endpoint("x")})});
    for (auto const kind : {4U, 5U, std::numeric_limits<std::uint32_t>::max()}) {
        listener->handleEvent(routerEvent(kind, endpoint("x"), "p"));
    }
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect ["x"] bind ["x"])");

    auto const finished = listenerFor({publisherEntry("p")});
    finished->handleEvent(allServicesPublished("p"));
    finished->handleEvent(routerEvent(4, endpoint("x"), "p"));
    EXPECT_EQ(completions, 1) << "an unknown kind does not report completion again";
}

TEST_F(FrameworkSetupListenerTest, FrameworkEventsOfUnknownKindChangeNothing) {
    auto const listener = listenerFor({publisherEntry("p")});
    for (auto const kind : {2U, 3U, std::numeric_limits<std::uint32_t>::max()}) {
        listener->handleEvent(frameworkEvent(kind, "p"));
    }
    EXPECT_FALSE(listener->waitForAllServices(now, "p"));
    EXPECT_FALSE(listener->waitForAllServicesToBeUnpublished(now, "p"));
    EXPECT_EQ(completions, 0);
}

TEST_F(FrameworkSetupListenerTest, RouterEventsOfKinds0And1BindAndOfKinds2And3Connect) {
    for (std::uint32_t kind = 0; kind < 4; ++kind) {
        auto const listener = listenerFor({publisherEntry("p", {endpoint("x")}, {endpoint("x")})});
        listener->handleEvent(routerEvent(kind, endpoint("x"), "p"));
        EXPECT_EQ(outstanding(*listener, "p"),
                  kind < 2 ? R"(connect ["x"] bind [])" : R"(connect [] bind ["x"])")
            << kind;
    }
}

TEST_F(FrameworkSetupListenerTest, FrameworkEventsOfKind0PublishAndOfKind1Remove) {
    auto const listener = listenerFor({publisherEntry("p")});
    listener->handleEvent(frameworkEvent(0, "p"));
    EXPECT_TRUE(listener->waitForAllServices(now, "p"));
    EXPECT_FALSE(listener->waitForAllServicesToBeUnpublished(now, "p"));
    listener->handleEvent(frameworkEvent(1, "p"));
    EXPECT_TRUE(listener->waitForAllServicesToBeUnpublished(now, "p"));
}

TEST_F(FrameworkSetupListenerTest, AnEventMovesOnTheTrackerOfItsPublisherOnly) {
    auto const listener =
        listenerFor({publisherEntry("p", {endpoint("x")}), publisherEntry("q", {endpoint("x")})});
    listener->handleEvent(bound("x", "q"));
    listener->handleEvent(errored(errorWith("port in use"), "q"));
    EXPECT_EQ(outstanding(*listener, "p"), R"(connect [] bind ["x"])");
    EXPECT_FALSE(listener->waitForAllServices(now, "p"));
    EXPECT_EQ(outstanding(*listener, "q"), "connect [] bind []");
    EXPECT_THROW(listener->waitForAllServices(now, "q"), std::runtime_error);
}

TEST_F(FrameworkSetupListenerTest, AnEmptyEndpointInAnEventOrInTheConfigurationCompletesNothing) {
    auto const listener = listenerFor({publisherEntry("p", {Any(), endpoint("b")}, {Any()})});
    for (std::uint32_t kind = 0; kind < 4; ++kind) {
        listener->handleEvent(routerEvent(kind, Any(), "p"));
    }
    listener->handleEvent(bound("b", "p"));
    EXPECT_EQ(outstanding(*listener, "p"), "connect [<empty>] bind [<empty>]");
}

TEST_F(FrameworkSetupListenerTest, TheHandlersMayBeCalledDirectly) {
    auto const listener = listenerFor({publisherEntry("p", {endpoint("b")})});
    listener->handleRouterEvent(RouterEvent(RouterEvent::Kind::Bound, endpoint("b"), "p", 1));
    listener->handleFrameworkEvent(FrameworkEvent(FrameworkEvent::Kind::AllServicesPublished, "p", 1));
    EXPECT_EQ(completions, 1);
    listener->handleFrameworkErrorEvent(FrameworkErrorEvent(errorWith("late"), "p", 1));
    EXPECT_EQ(completions, 2);
    EXPECT_TRUE(listener->waitForAllServices(now, "p"));
}

} // namespace agent::spf::frameworksetup::test
