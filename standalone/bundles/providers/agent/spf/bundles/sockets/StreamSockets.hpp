// Stream sockets that no program which this process executes inherits: it would hold a peer's connection or
// an endpoint's address for long after this process has given it up. Those that Boost.Asio opens by itself
// are inherited.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_STREAM_SOCKETS_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_STREAM_SOCKETS_HPP

#include <string>

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>

namespace agent::spf::bundles::sockets {

using Socket = boost::asio::generic::stream_protocol::socket;
using Acceptor = boost::asio::basic_socket_acceptor<boost::asio::generic::stream_protocol>;

// Open a closed socket for addresses of the family, such as AF_UNIX; it does not block.
boost::system::error_code openSocket(Socket& socket, int family);
boost::system::error_code openSocket(Acceptor& acceptor, int family);

// Accepts one of the peers that wait, into a closed socket. An error of boost::asio::error::would_block says
// that none waits.
boost::system::error_code acceptSocket(Acceptor& acceptor, Socket& accepted);

// Whom the system, not the peer itself, says that a connection is from: the process at the other end of a
// unix socket, the address at that of a TCP one. Empty if the peer has gone.
std::string originOf(Socket& connected);

} // namespace agent::spf::bundles::sockets

#endif
