// A connection over a stream socket, and the handle through which its user holds it.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_SOCKET_CONNECTION_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_SOCKET_CONNECTION_HPP

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/sockets/FrameDecoder.hpp"
#include "agent/spf/bundles/sockets/IoObject.hpp"
#include "agent/spf/bundles/sockets/StreamSockets.hpp"

namespace agent::spf::bundles::sockets {

// Reads and writes frames. Used on the io thread only. A frame of a size that is not allowed ends the
// connection, and so does a peer that lets more than maximumQueue bytes pile up.
class SocketConnection : public IoObject, public std::enable_shared_from_this<SocketConnection> {
public:
    static constexpr std::size_t maximumQueue = 8 * maximumFrameSize; // bytes

    // What the maker of the connection wants to know; either may be empty.
    struct Owner {
        std::function<void()> confirmed;
        std::function<void(std::string_view reason)> ended;
    };

    SocketConnection(Socket socket, Owner owner);

    std::string const& origin() const noexcept { return origin_; } // on any thread
    void start(std::shared_ptr<ConnectionHandler> handler);
    void send(std::string const& frame);
    void confirm() const;

    // Ends the connection without a call to the handler; the owner gets the reason.
    void reject(std::string_view reason);
    void close() override;

private:
    template <class Action>
    void guarded(Action const& action);
    void awaitBytes();
    void readBytes();
    void decode(std::string_view bytes);
    void flush();
    void writeWhatTheSystemTakes();
    void finish(std::string_view reason) noexcept; // ends the connection, tells the handler, then the owner

    Socket socket_;
    std::string const origin_;
    Owner owner_;
    std::shared_ptr<ConnectionHandler> handler_;
    FrameDecoder decoder_;
    std::deque<std::string> queue_; // encoded frames; of the first one, `written_` bytes are gone
    std::size_t written_ = 0;
    std::size_t queued_ = 0; // bytes in queue_
    bool awaitingWrite_ = false;
    bool ended_ = false;
};

// The user's handle on a connection; thread safe.
class SocketConnectionHandle : public Connection {
public:
    SocketConnectionHandle(std::shared_ptr<WorkerThread> worker,
                           std::shared_ptr<SocketConnection> connection);
    ~SocketConnectionHandle() override;

    std::string const& origin() const noexcept override { return connection_->origin(); }
    void start(std::shared_ptr<ConnectionHandler> handler) override;
    void send(std::string frame) override;
    void confirm() override;
    void close() override;
    void reject(std::string const& reason) override;

private:
    std::shared_ptr<WorkerThread> const worker_; // outlives the connection, whose socket is of its context
    std::shared_ptr<SocketConnection> const connection_;
};

} // namespace agent::spf::bundles::sockets

#endif
