// A connection to a peer: the greeting, the offers of both sides, and the service that holds the peer's.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_PEER_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_PEER_HPP

#include <memory>
#include <string>

#include <boost/asio/steady_timer.hpp>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/publisher/Messages.hpp"
#include "agent/spf/bundles/publisher/PublisherContext.hpp"

namespace agent::spf::bundles::publisher {

class Peer;

// The endpoint that a peer belongs to.
class PeerOwner {
public:
    virtual ~PeerOwner() = default;

    virtual std::string const& endpoint() const = 0;
    virtual std::string const& publisherID() const = 0;
    virtual cppmicroservices::LDAPFilter const& importFilter() const = 0;
    virtual Offers offers() const = 0;

    // The peer has answered the handshake.
    virtual void peerEstablished(Peer& peer) = 0;

    // The connection has ended, not by close(). The owner lets go of the peer.
    virtual void peerGone(Peer& peer, std::string const& reason) = 0;

    // What is offered cannot be sent.
    virtual void offersFailed(std::string const& reason) = 0;
};

// A peer that says anything but what the protocol allows loses its connection, and nothing else happens.
class Peer : public std::enable_shared_from_this<Peer> {
public:
    static constexpr std::chrono::seconds handshakeTimeout{5};

    // More bytes than these a peer may not have sent that are still to be looked at, each frame counted with
    // what it takes to keep it.
    static constexpr std::size_t maximumBacklog = 4 * maximumFrameSize;

    enum class Side { Connecting, Accepting }; // the connecting side greets first

    // `context` and `owner` outlive the peer or its close().
    Peer(PublisherContext& context, PeerOwner& owner, std::shared_ptr<Connection> connection, Side side);
    ~Peer();

    void start();

    // Sends what the owner offers now, if the peer has been greeted.
    void sendOffers();

    // Hands the peer's offers on with the owner's present importFilter.
    void applyImportFilter();

    // Ends the connection and unregisters what came over it. Idempotent.
    void close();

    bool isEstablished() const noexcept { return established_; }
    std::string agent() const; // the peer's agent identity, fit to be shown
    std::string const& origin() const noexcept { return origin_; } // see Connection::origin()

private:
    class Handler;
    class OffersService;

    template <class Action>
    void guarded(Action const& action);
    void received(std::string const& frame);
    void handle(Hello hello);
    void handle(Offers offers, std::size_t messageSize);
    void publishOffers();
    void greet();
    void send(cppmicroservices::AnyMap const& message);
    void reject(std::string const& reason);
    void ended(std::string const& reason);
    void release();
    void unregister();

    PublisherContext& context_;
    PeerOwner& owner_;
    std::shared_ptr<Connection> connection_; // null once the peer is closed or gone
    std::string const origin_;
    Side const side_;
    boost::asio::steady_timer handshakeDeadline_;
    bool established_ = false;
    Hello hello_;                  // the peer's
    Offers offers_;                // the peer's
    std::size_t offeredBytes_ = 0; // of the message that offers_ came in
    std::shared_ptr<OffersService> service_;
    cppmicroservices::ServiceRegistration<RemoteOffers> registration_;
};

} // namespace agent::spf::bundles::publisher

#endif
