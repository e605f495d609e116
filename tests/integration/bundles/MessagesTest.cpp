// What publishers say to each other: how much of it is taken from a peer, and sent to one.
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/publisher/Messages.hpp"

namespace {

using namespace agent::spf::bundles;
using namespace agent::spf::bundles::publisher;
using testing::ThrowsMessage;

Offers offersOf(std::size_t count) {
    Offers offers;
    for (std::size_t i = 0; i < count; ++i) {
        offers.offers.push_back({"clock", std::to_string(i), 1, makeMap()});
    }
    return offers;
}

// What encode() makes of one interface, as often as that. As often as encode() would refuse it.
cppmicroservices::AnyMap messageWith(std::size_t count) {
    auto message = encode(Offers{});
    auto const one = listAt(encode(offersOf(1)), "interfaces", "offers").front();
    AnyList interfaces;
    for (std::size_t i = 0; i < count; ++i) {
        auto interface = cppmicroservices::any_cast<cppmicroservices::AnyMap>(one);
        interface["uniqueID"] = std::to_string(i);
        interfaces.emplace_back(interface);
    }
    message["interfaces"] = interfaces;
    return message;
}

TEST(Messages, NamesThatGreetHaveALimitBothWays) {
    std::string const longest(maximumNameSize, 'x');
    auto const tooLong = longest + 'x';

    auto const hello = std::get<Hello>(decode(encode(Hello{longest, longest})));
    EXPECT_EQ(hello.agent, longest);
    EXPECT_EQ(hello.publisher, longest);

    auto message = encode(Hello{"a", "p"});
    message["agent"] = tooLong;
    EXPECT_THAT([&] { decode(message); },
                ThrowsMessage<std::runtime_error>("hello: \"agent\" has 1025 bytes, allowed are 1024"));
    EXPECT_THAT(
        [&] {
            encode(Hello{"a", tooLong});
        },
        ThrowsMessage<std::runtime_error>("hello: \"publisher\" has 1025 bytes, allowed are 1024"));
}

TEST(Messages, NamesAndUniqueIDsOfInterfacesHaveALimitBothWays) {
    std::string const longest(maximumNameSize, 'x');
    auto const tooLong = longest + 'x';

    auto const offers = std::get<Offers>(decode(encode(Offers{{{longest, longest, 1, makeMap()}}})));
    EXPECT_EQ(offers.offers.at(0).interfaceName, longest);
    EXPECT_EQ(offers.offers.at(0).uniqueID, longest);

    auto const isRefusedAs = [](std::string const& name, std::string const& uniqueID, char const* reason) {
        auto interface = cppmicroservices::any_cast<cppmicroservices::AnyMap>(
            listAt(encode(offersOf(1)), "interfaces", "offers").front());
        interface["name"] = name;
        interface["uniqueID"] = uniqueID;
        auto message = encode(Offers{});
        message["interfaces"] = AnyList{interface};
        EXPECT_THAT([&] { decode(message); }, ThrowsMessage<std::runtime_error>(reason));
        EXPECT_THAT(
            [&] {
                encode(Offers{{{name, uniqueID, 1, makeMap()}}});
            },
            ThrowsMessage<std::runtime_error>(reason));
    };
    isRefusedAs(tooLong, "i", R"(offers: interface "i": "name" has 1025 bytes, allowed are 1024)");
    isRefusedAs("n", tooLong, R"(offers: "uniqueID" has 1025 bytes, allowed are 1024)");
}

TEST(Messages, TheNumberOfInterfacesHasALimitBothWays) {
    EXPECT_EQ(std::get<Offers>(decode(encode(offersOf(maximumInterfaces)))).offers.size(), maximumInterfaces);

    auto const refusal = ThrowsMessage<std::runtime_error>("offers: 4097 interfaces, allowed are 4096");
    EXPECT_THAT([&] { decode(messageWith(maximumInterfaces + 1)); }, refusal);
    EXPECT_THAT([&] { encode(offersOf(maximumInterfaces + 1)); }, refusal);
}

} // namespace
