// The service properties that an offer makes.
#include "agent/spf/bundles/client/ImportedService.hpp"

#include <utility>

#include <cppmicroservices/Constants.h>

namespace agent::spf::bundles::client {

using cppmicroservices::AnyMap;

namespace {

AnyMap registrationProperties(PeerOffers const& peer, RemoteOffer const& offer) {
    auto properties = offer.properties;
    // The registry's own keys are not a peer's to set.
    for (auto const& key :
         {cppmicroservices::Constants::OBJECTCLASS, cppmicroservices::Constants::SERVICE_ID,
          cppmicroservices::Constants::SERVICE_SCOPE, cppmicroservices::Constants::SERVICE_RANKING}) {
        properties.erase(key);
    }
    auto const set = [&properties](char const* key, auto const& value) {
        properties.erase(key); // with it a spelling of the key in other letter case
        properties[key] = value;
    };
    set(remoteservice::interfaceKey, offer.interfaceName);
    set(remoteservice::uniqueIDKey, offer.uniqueID);
    set(remoteservice::versionKey, offer.majorVersion);
    set(remoteservice::publisherKey, peer.publisher);
    set(remoteservice::peerKey, peer.peer);
    set(remoteservice::endpointKey, peer.endpoint);
    set(remoteservice::localPublisherKey, peer.localPublisher);
    return properties;
}

} // namespace

ImportedService::ImportedService(std::shared_ptr<PeerOffers const> peer, RemoteOffer const& offer)
    : peer_(std::move(peer))
    , offer_(offer)
    , properties_(registrationProperties(*peer_, offer)) {}

} // namespace agent::spf::bundles::client
