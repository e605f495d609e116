// An endpoint that connects, again and again.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_SOCKET_CONNECTOR_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_SOCKET_CONNECTOR_HPP

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include <boost/asio/steady_timer.hpp>

#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/sockets/Backoff.hpp"
#include "agent/spf/bundles/sockets/EndpointAddress.hpp"
#include "agent/spf/bundles/sockets/HostResolver.hpp"
#include "agent/spf/bundles/sockets/IoObject.hpp"
#include "agent/spf/bundles/sockets/SocketConnection.hpp"
#include "agent/spf/bundles/sockets/StreamSockets.hpp"

namespace agent::spf::bundles::sockets {

// Used on the io thread only, but for its construction.
class SocketConnector : public IoObject, public std::enable_shared_from_this<SocketConnector> {
public:
    static constexpr std::chrono::seconds attemptTimeout{10}; // the bundle's

    // `worker` and `objects` outlive the connector. Longer than `timeout` no look-up of a host takes, nor the
    // attempt to connect to one of its addresses.
    SocketConnector(std::shared_ptr<WorkerThread> const& worker, std::shared_ptr<IoObjects> objects,
                    std::string endpoint, std::shared_ptr<EndpointHandler> handler,
                    std::chrono::milliseconds timeout = attemptTimeout);

    void start();
    void close() override;

private:
    using Addresses = std::deque<boost::asio::generic::stream_protocol::endpoint>;

    template <class Action>
    void guarded(Action const& action);
    void attempt();
    void limitTime();
    void resolve(UnixAddress const& address);
    void resolve(TcpAddress const& address);
    void connect(Addresses addresses);
    void connectToNext();
    void notConnected(boost::system::error_code const& error);
    void ended(boost::system::error_code const& error);
    void hand();
    void retry(std::string_view reason);
    void fail(std::string_view reason);

    std::weak_ptr<WorkerThread> const worker_;
    std::shared_ptr<IoObjects> const objects_;
    std::string const endpoint_;
    std::chrono::milliseconds const timeout_;
    std::shared_ptr<EndpointHandler> handler_; // null once the connector is closed
    EndpointAddress address_;
    HostResolver resolver_;
    Addresses untried_;                 // of the attempt under way
    boost::system::error_code failure_; // of those tried; one that may pass rather than a permanent one
    Socket socket_;
    boost::asio::steady_timer deadline_; // of the step under way
    boost::asio::steady_timer pause_;    // before the next attempt
    Backoff backoff_;
    bool timedOut_ = false;
};

} // namespace agent::spf::bundles::sockets

#endif
