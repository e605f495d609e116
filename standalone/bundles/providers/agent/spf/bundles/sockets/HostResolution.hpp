// From the host of a TCP endpoint to the addresses that it stands for.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_HOST_RESOLUTION_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_HOST_RESOLUTION_HPP

#include <functional>
#include <string>
#include <vector>

#include <boost/asio/ip/tcp.hpp>

#include "agent/spf/bundles/sockets/EndpointAddress.hpp"

namespace agent::spf::bundles::sockets {

// The addresses, in the order in which they are to be tried; or none, and the reason why.
using ResolutionHandler = std::function<void(std::vector<boost::asio::ip::tcp::endpoint> const& addresses,
                                             std::string const& reason)>;

// Calls `done` once: at once for a numeric address, else on the resolver's thread when the name is resolved
// or the resolver is cancelled.
void resolveHost(boost::asio::ip::tcp::resolver& resolver, TcpAddress const& address,
                 boost::asio::ip::tcp::resolver::flags flags, ResolutionHandler done);

} // namespace agent::spf::bundles::sockets

#endif
