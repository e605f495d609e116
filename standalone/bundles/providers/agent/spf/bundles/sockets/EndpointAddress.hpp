// The texts that name endpoints, "unix:<path>" and "tcp:<host>:<port>", and what they mean.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_ENDPOINT_ADDRESS_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_ENDPOINT_ADDRESS_HPP

#include <cstdint>
#include <string>
#include <variant>

namespace agent::spf::bundles::sockets {

struct UnixAddress {
    std::string path;
};

struct TcpAddress {
    std::string host; // a name or a numeric address, without brackets
    std::uint16_t port;
};

using EndpointAddress = std::variant<UnixAddress, TcpAddress>;

// Throws std::invalid_argument that says what is wrong with the text; it does not repeat the text.
EndpointAddress parseEndpoint(std::string const& text);

// The text of a TCP endpoint, with brackets around an IPv6 address.
std::string tcpEndpointText(std::string const& host, std::uint16_t port);

} // namespace agent::spf::bundles::sockets

#endif
