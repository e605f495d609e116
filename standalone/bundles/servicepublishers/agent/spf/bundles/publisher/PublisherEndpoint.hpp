// One endpoint of a publisher: how far it has come, and the peers that it has brought.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_ENDPOINT_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_ENDPOINT_HPP

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/spf/bundles/DiscoveryService.hpp"
#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/EndpointStatusListener.hpp"
#include "agent/spf/bundles/publisher/Peer.hpp"
#include "agent/spf/bundles/publisher/PublisherContext.hpp"

namespace agent::spf::bundles::publisher {

// The publisher that an endpoint belongs to.
class EndpointOwner {
public:
    virtual ~EndpointOwner() = default;

    virtual std::string const& publisherID() const = 0;
    virtual std::uint32_t modificationCount() const = 0;
    virtual cppmicroservices::LDAPFilter const& importFilter() const = 0;
    virtual Offers offers() const = 0;
    virtual void endpointBound() = 0;
};

class PublisherEndpoint : private PeerOwner, public std::enable_shared_from_this<PublisherEndpoint> {
public:
    // So many peers may be connected that have not greeted yet.
    static constexpr std::size_t maximumPendingPeers = 32;

    // `context` and `owner` outlive the endpoint or its close().
    PublisherEndpoint(PublisherContext& context, EndpointOwner& owner, EndpointRole role, std::string text);
    ~PublisherEndpoint() override;

    EndpointRole role() const noexcept { return role_; }
    std::string const& text() const noexcept { return text_; }
    bool isBound() const noexcept { return state_ == EndpointState::Bound; }
    EndpointStatus status() const;

    // Binds or connects as soon as the services that this takes are there. To be called again whenever one of
    // them comes or goes; when one has gone the endpoint is lost.
    void open();

    // Reports the present status anew, and what is bound or connected as an event again, and tries again what
    // has failed: the configuration has a new modification count.
    void renew();

    // Sends the owner's offers to all peers, and hands their offers on with the owner's importFilter.
    void refreshPeers();

    // Gives up the endpoint and its peers, without a report. Idempotent.
    void close();

private:
    class Handler;

    // PeerOwner
    std::string const& endpoint() const override { return text_; }
    std::string const& publisherID() const override { return owner_.publisherID(); }
    cppmicroservices::LDAPFilter const& importFilter() const override { return owner_.importFilter(); }
    Offers offers() const override { return owner_.offers(); }
    void peerEstablished(Peer& peer) override;
    void peerGone(Peer& peer, std::string const& reason) override;
    void offersFailed(std::string const& reason) override;

    bool isName() const;
    char const* missingService() const;
    void openAddress(std::string const& address);
    void openName();
    void resolved(std::optional<std::string> const& address);
    void closeAddress();
    void lose(std::string const& reason);
    bool setDown(bool wasUp, std::string const& reason); // as setState()
    bool isUp() const noexcept;
    EndpointState downState() const noexcept;

    void bound(std::string const& address);
    void opened(std::shared_ptr<Connection> connection);
    void makeRoomForPeer();
    void retrying(std::string const& reason);
    void cannotUse(std::string const& endpoint, std::exception const& error);
    void failed(std::string const& reason);

    // False if a listener that is told of the state has closed what was open.
    bool setState(EndpointState state, std::string reason);

    void reportUp();

    PublisherContext& context_;
    EndpointOwner& owner_;
    EndpointRole const role_;
    std::string const text_; // as the configuration has it
    EndpointState state_;
    std::string reason_;
    bool isOpen_ = false;          // in the hands of the provider or of the discovery service
    bool wasUp_ = false;           // was bound or connected before
    std::uint64_t generation_ = 0; // tells what is reported of the present address from what is late
    std::string address_;          // what the provider has been given; empty for none
    std::unique_ptr<Endpoint> handle_;
    std::unique_ptr<DiscoveryService::Handle> discovery_; // the name's resolution or announcement
    std::vector<std::shared_ptr<Peer>> peers_;
};

} // namespace agent::spf::bundles::publisher

#endif
