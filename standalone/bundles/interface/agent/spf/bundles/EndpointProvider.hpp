// The service interface through which publishers reach the network: endpoints that listen, endpoints that
// connect, and the framed connections that both bring forth.
#ifndef AGENT_SPF_BUNDLES_ENDPOINT_PROVIDER_HPP
#define AGENT_SPF_BUNDLES_ENDPOINT_PROVIDER_HPP

#include <cstddef>
#include <memory>
#include <string>

namespace agent::spf::bundles {

// Larger frames are neither sent nor received.
inline constexpr std::size_t maximumFrameSize = std::size_t{1024} * 1024; // bytes

// The user's side of a connection. Called on the provider's thread, never two calls at once, with no lock of
// the provider held; must not block and must not throw.
class ConnectionHandler {
public:
    virtual ~ConnectionHandler() = default;

    // May throw for want of memory: that ends the connection.
    virtual void received(std::string frame) = 0;

    // The connection has ended, not by the user's close(). The last call that the handler gets.
    virtual void closed(std::string const& reason) = 0;
};

// A connection that carries frames: byte strings of 1 to maximumFrameSize bytes, delivered whole and in
// order. Thread safe. Whoever holds the last reference to a connection and lets go of it closes it.
class Connection {
public:
    virtual ~Connection() = default;

    // Whom the system, not the peer itself, says that the connection is to: the same for all connections of
    // one process, or of one machine.
    virtual std::string const& origin() const noexcept = 0;

    // Begins to deliver frames to the handler. To be called once.
    virtual void start(std::shared_ptr<ConnectionHandler> handler) = 0;

    // Queues a frame. Throws std::length_error when the frame is empty or too large. A peer that does not
    // read what is sent is closed. Does nothing on a closed connection.
    virtual void send(std::string frame) = 0;

    // The peer proved to be what was wanted. An endpoint that connects then waits as little before its next
    // attempt as before its first.
    virtual void confirm() = 0;

    // Ends the connection once what is queued has been handed to the system, or at once if it does not take
    // it. Idempotent. When it returns no call to the handler is under way or will follow, unless it is called
    // by the handler itself, whose running call is then the last.
    virtual void close() = 0;

    // As close(), but the user has a complaint about the peer: an endpoint that connects reports it as the
    // reason of its failed attempt.
    virtual void reject(std::string const& reason) = 0;
};

// The user's side of an endpoint. Called as ConnectionHandler is.
class EndpointHandler {
public:
    virtual ~EndpointHandler() = default;

    // The endpoint's socket listens; `address` is where, with the port that the system has chosen if it was
    // asked to. Only for endpoints that are bound.
    virtual void bound(std::string const& address) = 0;

    // A connection is there: one of many for an endpoint that is bound; the only one, until it is closed, for
    // one that connects.
    virtual void opened(std::shared_ptr<Connection> connection) = 0;

    // An attempt to connect has failed, or the connection has ended; the next attempt follows by itself.
    virtual void retrying(std::string const& reason) = 0;

    // The endpoint cannot be used, and no attempt follows. `reason` names the endpoint. The last call that
    // the handler gets.
    virtual void failed(std::string const& reason) = 0;
};

// An endpoint in use. Destroying it closes it.
class Endpoint {
public:
    virtual ~Endpoint() = default;

    // Stops listening or connecting, and removes the socket's file if there is one. Connections that were
    // handed out stay open. Idempotent, thread safe; when it returns no call to the handler is under way or
    // will follow, unless it is called by the handler itself.
    virtual void close() = 0;
};

// Endpoints are written "unix:<path>" or "tcp:<host>:<port>", an IPv6 address in brackets. Thread safe.
class EndpointProvider {
public:
    virtual ~EndpointProvider() = default;

    // Listens on the endpoint. Whatever is wrong with it is reported to the handler.
    virtual std::unique_ptr<Endpoint> bind(std::string const& endpoint,
                                           std::shared_ptr<EndpointHandler> handler) = 0;

    // Connects to the endpoint, again and again with growing intervals until there is a connection, and anew
    // when it has ended. An endpoint that can never be connected to is reported to the handler as failed.
    virtual std::unique_ptr<Endpoint> connect(std::string const& endpoint,
                                              std::shared_ptr<EndpointHandler> handler) = 0;
};

} // namespace agent::spf::bundles

#endif
