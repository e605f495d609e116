// An endpoint that listens.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_SOCKET_LISTENER_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_SOCKET_LISTENER_HPP

#include <memory>
#include <optional>
#include <string>

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/sockets/EndpointAddress.hpp"
#include "agent/spf/bundles/sockets/IoObject.hpp"
#include "agent/spf/bundles/sockets/SocketConnection.hpp"
#include "agent/spf/bundles/sockets/UnixSocketFile.hpp"

namespace agent::spf::bundles::sockets {

// Used on the io thread only, but for its construction.
class SocketListener : public IoObject, public std::enable_shared_from_this<SocketListener> {
public:
    // `worker` and `objects` outlive the listener.
    SocketListener(std::shared_ptr<WorkerThread> const& worker, std::shared_ptr<IoObjects> objects,
                   std::string endpoint, std::shared_ptr<EndpointHandler> handler);

    void start();
    void close() override;

private:
    void listen(UnixAddress const& address);
    void listen(TcpAddress const& address);
    void listen(boost::asio::ip::tcp::endpoint const& address, std::string const& host);
    void accept();
    void hand(Socket socket);
    void fail(std::string const& reason);

    std::weak_ptr<WorkerThread> const worker_;
    std::shared_ptr<IoObjects> const objects_;
    std::string const endpoint_;
    std::shared_ptr<EndpointHandler> handler_; // null once the listener is closed
    boost::asio::ip::tcp::resolver resolver_;
    boost::asio::basic_socket_acceptor<boost::asio::generic::stream_protocol> acceptor_;
    std::optional<UnixSocketFile> file_;
    boost::asio::steady_timer pause_;
};

} // namespace agent::spf::bundles::sockets

#endif
