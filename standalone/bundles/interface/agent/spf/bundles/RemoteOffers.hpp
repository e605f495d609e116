// What one connected peer offers, as publishers hand it to whoever makes services of it.
#ifndef AGENT_SPF_BUNDLES_REMOTE_OFFERS_HPP
#define AGENT_SPF_BUNDLES_REMOTE_OFFERS_HPP

#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

namespace agent::spf::bundles {

// One interface that a peer offers.
struct RemoteOffer {
    std::string interfaceName;
    std::string uniqueID;
    int majorVersion;
    cppmicroservices::AnyMap
        properties; // what the service is to carry: required runtime and requested properties
};

// All that a peer offers at one moment, and how it is reached.
struct PeerOffers {
    std::string peer;                          // the peer's agent identity
    std::string publisher;                     // unique ID of the peer's publisher
    std::string endpoint;                      // the local endpoint
    std::string localPublisher;                // unique ID of the local publisher
    cppmicroservices::LDAPFilter importFilter; // of the local publisher; an empty one lets everything pass
    std::vector<RemoteOffer> offers;
};

// Registered as a service by a publisher for each connected peer, and unregistered when the peer is gone.
// When the offers change the publisher sets the service's properties, of which there are none, so that those
// who track it look again.
class RemoteOffers {
public:
    virtual ~RemoteOffers() = default;

    // Thread safe; never null.
    virtual std::shared_ptr<PeerOffers const> current() const = 0;
};

} // namespace agent::spf::bundles

#endif
