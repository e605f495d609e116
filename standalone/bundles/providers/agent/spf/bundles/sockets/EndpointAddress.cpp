// Parsing and writing of endpoints.
#include "agent/spf/bundles/sockets/EndpointAddress.hpp"

#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <sys/un.h>

namespace agent::spf::bundles::sockets {

namespace {

constexpr std::string_view unixScheme = "unix:";
constexpr std::string_view tcpScheme = "tcp:";
constexpr std::size_t longestPath = sizeof(sockaddr_un::sun_path) - 1; // one byte ends the name

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

UnixAddress parseUnix(std::string_view path) {
    if (path.empty()) {
        throw std::invalid_argument("the path after \"unix:\" is missing");
    }
    if (path.find('\0') != std::string_view::npos) {
        throw std::invalid_argument("the path holds a null character");
    }
    if (path.size() > longestPath) {
        throw std::invalid_argument("the path is " + std::to_string(path.size()) +
                                    " bytes long, but the name of a socket has at most " +
                                    std::to_string(longestPath));
    }
    return {std::string(path)};
}

std::uint16_t parsePort(std::string_view text) {
    std::uint16_t port = 0;
    auto const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, port);
    if (text.empty() || error != std::errc() || stop != end) {
        throw std::invalid_argument("\"" + std::string(text) +
                                    "\" is no port, expected a number up to 65535");
    }
    return port;
}

// Splits "<host>:<port>" or "[<IPv6 address>]:<port>".
std::pair<std::string_view, std::string_view> splitHostAndPort(std::string_view text) {
    if (startsWith(text, "[")) {
        auto const bracket = text.find(']');
        if (bracket == std::string_view::npos) {
            throw std::invalid_argument("the bracket around the IPv6 address is not closed");
        }
        if (text.substr(bracket + 1, 1) != ":") {
            throw std::invalid_argument("the port after the IPv6 address is missing");
        }
        return {text.substr(1, bracket - 1), text.substr(bracket + 2)};
    }
    auto const colon = text.find(':');
    if (colon == std::string_view::npos) {
        throw std::invalid_argument("the port is missing, expected \"tcp:<host>:<port>\"");
    }
    if (text.find(':', colon + 1) != std::string_view::npos) {
        throw std::invalid_argument("an IPv6 address stands in brackets: \"tcp:[<address>]:<port>\"");
    }
    return {text.substr(0, colon), text.substr(colon + 1)};
}

TcpAddress parseTcp(std::string_view text) {
    auto const [host, port] = splitHostAndPort(text);
    if (host.empty()) {
        throw std::invalid_argument("the host is missing, expected \"tcp:<host>:<port>\"");
    }
    return {std::string(host), parsePort(port)};
}

} // namespace

EndpointAddress parseEndpoint(std::string const& text) {
    std::string_view const view = text;
    if (startsWith(view, unixScheme)) {
        return parseUnix(view.substr(unixScheme.size()));
    }
    if (startsWith(view, tcpScheme)) {
        return parseTcp(view.substr(tcpScheme.size()));
    }
    auto const colon = view.find(':');
    if (colon == std::string_view::npos) {
        throw std::invalid_argument(R"(it has no scheme, expected "unix:<path>" or "tcp:<host>:<port>")");
    }
    throw std::invalid_argument("unknown scheme \"" + std::string(view.substr(0, colon)) +
                                R"(", expected "unix" or "tcp")");
}

std::string tcpEndpointText(std::string const& host, std::uint16_t port) {
    auto const isIPv6 = host.find(':') != std::string::npos;
    return std::string(tcpScheme) + (isIPv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

} // namespace agent::spf::bundles::sockets
