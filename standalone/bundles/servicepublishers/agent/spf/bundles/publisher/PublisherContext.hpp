// What all publishers of a bundle share.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_CONTEXT_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_CONTEXT_HPP

#include <memory>
#include <string>

#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/DiscoveryService.hpp"
#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/Serialiser.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/publisher/OffersRoom.hpp"
#include "agent/spf/bundles/publisher/Reporter.hpp"

namespace agent::spf::bundles::publisher {

// How the endpoints of a publisher are written.
enum class Naming {
    Addresses,      // as the endpoint provider takes them
    DiscoveryNames, // a text without a scheme is a name that the discovery service resolves
};

// Used on the worker only, as is everything that publishers consist of.
struct PublisherContext {
    std::shared_ptr<WorkerThread> worker;
    cppmicroservices::BundleContext bundle;
    Reporter& reporter;
    std::string agent; // this process's agent identity
    Naming naming;

    OffersRoom room{};

    // The services that there are now; publishers are told when one comes or goes.
    std::shared_ptr<Serialiser> serialiser{};
    std::shared_ptr<EndpointProvider> provider{};
    std::shared_ptr<DiscoveryService> discovery{};
};

} // namespace agent::spf::bundles::publisher

#endif
