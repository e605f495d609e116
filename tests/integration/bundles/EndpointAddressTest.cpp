// Endpoint texts.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/bundles/sockets/EndpointAddress.hpp"

namespace {

using namespace agent::spf::bundles::sockets;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(EndpointAddress, AUnixEndpointHasAPath) {
    EXPECT_EQ(std::get<UnixAddress>(parseEndpoint("unix:/run/a b:c.sock")).path, "/run/a b:c.sock");
}

TEST(EndpointAddress, ATcpEndpointHasAHostAndAPort) {
    auto const address = std::get<TcpAddress>(parseEndpoint("tcp:example.org:65535"));

    EXPECT_EQ(address.host, "example.org");
    EXPECT_EQ(address.port, 65535);
}

TEST(EndpointAddress, AnIPv6AddressStandsInBrackets) {
    auto const address = std::get<TcpAddress>(parseEndpoint("tcp:[::1]:80"));

    EXPECT_EQ(address.host, "::1");
    EXPECT_EQ(address.port, 80);
    EXPECT_EQ(tcpEndpointText(address.host, address.port), "tcp:[::1]:80");
}

TEST(EndpointAddress, ThePathMayBeAsLongAsTheSystemsNamesAndNoLonger) {
    EXPECT_NO_THROW(parseEndpoint("unix:" + std::string(107, 'x')));
    EXPECT_THAT([] { parseEndpoint("unix:" + std::string(108, 'x')); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("108 bytes long")));
}

struct BadEndpoint {
    char const* name; // of the test
    char const* text;
    char const* complaint;
};

class BadEndpointAddress : public testing::TestWithParam<BadEndpoint> {};

TEST_P(BadEndpointAddress, IsRefusedWithTheReason) {
    EXPECT_THAT([] { parseEndpoint(GetParam().text); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(GetParam().complaint)));
}

INSTANTIATE_TEST_SUITE_P(
    Bundles, BadEndpointAddress,
    testing::Values(BadEndpoint{"Empty", "", "no scheme"}, BadEndpoint{"NoScheme", "name", "no scheme"},
                    BadEndpoint{"UnknownScheme", "pipe:x", "unknown scheme \"pipe\""},
                    BadEndpoint{"SchemeInCapitals", "UNIX:x", "unknown scheme"},
                    BadEndpoint{"NoPath", "unix:", "path after \"unix:\" is missing"},
                    BadEndpoint{"NoHostAndPort", "tcp:", "port is missing"},
                    BadEndpoint{"NoPort", "tcp:host", "port is missing"},
                    BadEndpoint{"NoHost", "tcp::80", "host is missing"},
                    BadEndpoint{"EmptyPort", "tcp:host:", "is no port"},
                    BadEndpoint{"PortTooLarge", "tcp:host:65536", "\"65536\" is no port"},
                    BadEndpoint{"NegativePort", "tcp:host:-1", "is no port"},
                    BadEndpoint{"PortWithALetter", "tcp:host:8o", "is no port"},
                    BadEndpoint{"PortWithASpace", "tcp:host: 80", "is no port"},
                    BadEndpoint{"IPv6WithoutBrackets", "tcp:::1:80", "stands in brackets"},
                    BadEndpoint{"OpenBracket", "tcp:[::1:80", "not closed"},
                    BadEndpoint{"IPv6WithoutPort", "tcp:[::1]", "port after"},
                    BadEndpoint{"EmptyBrackets", "tcp:[]:80", "host is missing"}),
    [](auto const& tested) { return std::string(tested.param.name); });

} // namespace
