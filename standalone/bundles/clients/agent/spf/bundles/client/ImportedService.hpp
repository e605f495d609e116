// The remote service that is made of one offer of a peer.
#ifndef AGENT_SPF_BUNDLES_CLIENT_IMPORTED_SERVICE_HPP
#define AGENT_SPF_BUNDLES_CLIENT_IMPORTED_SERVICE_HPP

#include <memory>
#include <string>

#include <cppmicroservices/AnyMap.h>

#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/RemoteService.hpp"

namespace agent::spf::bundles::client {

class ImportedService : public RemoteService {
public:
    ImportedService(std::shared_ptr<PeerOffers const> peer, RemoteOffer const& offer);

    std::string const& interfaceName() const noexcept override { return offer_.interfaceName; }
    std::string const& uniqueID() const noexcept override { return offer_.uniqueID; }
    std::string const& publisher() const noexcept override { return peer_->publisher; }
    std::string const& peer() const noexcept override { return peer_->peer; }
    std::string const& endpoint() const noexcept override { return peer_->endpoint; }
    std::string const& localPublisher() const noexcept override { return peer_->localPublisher; }
    cppmicroservices::AnyMap const& properties() const noexcept override { return properties_; }

private:
    std::shared_ptr<PeerOffers const> const peer_;
    RemoteOffer const& offer_; // of peer_
    cppmicroservices::AnyMap const properties_;
};

} // namespace agent::spf::bundles::client

#endif
