// An endpoint that listens.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_SOCKET_LISTENER_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_SOCKET_LISTENER_HPP

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/sockets/EndpointAddress.hpp"
#include "agent/spf/bundles/sockets/HostResolver.hpp"
#include "agent/spf/bundles/sockets/IoObject.hpp"
#include "agent/spf/bundles/sockets/SocketConnection.hpp"
#include "agent/spf/bundles/sockets/StreamSockets.hpp"
#include "agent/spf/bundles/sockets/UnixSocketFile.hpp"

namespace agent::spf::bundles::sockets {

// Used on the io thread only, but for its construction. While maximumConnections of its connections are open
// it accepts no further one: whoever comes then waits in the system's queue. Of one origin it keeps half as
// many and closes the others at once, so that no peer alone takes the places of all.
class SocketListener : public IoObject, public std::enable_shared_from_this<SocketListener> {
public:
    static constexpr std::size_t maximumConnections = 256;
    static constexpr std::size_t maximumConnectionsOfOneOrigin = maximumConnections / 2;

    // `worker` and `objects` outlive the listener.
    SocketListener(std::shared_ptr<WorkerThread> const& worker, std::shared_ptr<IoObjects> objects,
                   std::string endpoint, std::shared_ptr<EndpointHandler> handler);

    void start();
    void close() override;

private:
    using Tcp = boost::asio::ip::tcp;

    template <class Action>
    void guarded(Action const& action);
    void listen(UnixAddress const& address);
    void listen(TcpAddress const& address);
    void listen(std::vector<Tcp::endpoint> const& candidates, std::string const& host);
    void open(Tcp::endpoint const& address);
    void waitForAddress(std::string const& reason, std::function<void()> listenAgain);
    void reportBound(std::string const& address);
    void accept();
    void acceptWaiting();
    void pauseAccepting();
    void hand(Socket socket);
    void connectionEnded(std::string const& origin);
    void fail(std::string_view reason);

    std::weak_ptr<WorkerThread> const worker_;
    std::shared_ptr<IoObjects> const objects_;
    std::string const endpoint_;
    std::shared_ptr<EndpointHandler> handler_; // null once the listener is closed
    HostResolver resolver_;
    Acceptor acceptor_;
    std::optional<UnixSocketFile> file_;
    boost::asio::steady_timer pause_;    // before it listens again, or accepts again
    std::multiset<std::string> origins_; // one for each open connection
    std::chrono::milliseconds patience_; // before the next look whether an address in use is free
    bool accepting_ = false;             // or pausing before it accepts again
};

} // namespace agent::spf::bundles::sockets

#endif
