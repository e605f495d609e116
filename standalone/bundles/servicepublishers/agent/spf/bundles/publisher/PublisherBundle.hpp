// What a publisher bundle does between start and stop.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_BUNDLE_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_BUNDLE_HPP

#include <memory>
#include <string>

#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/publisher/PublisherContext.hpp"

namespace agent::spf::bundles::publisher {

// The framework property that names this process's agent to its peers; without it, the host's name and the
// process ID do.
inline constexpr char const* agentProperty = "qo.spf.agent";

// Has a publisher at work for each configuration of the factory PID, from construction to destruction. All of
// them live on one thread of the bundle's own.
class PublisherBundle {
public:
    using Naming = publisher::Naming;

    PublisherBundle(cppmicroservices::BundleContext const& context, std::string const& factoryPID,
                    Naming naming);

    // Withdraws everything that is published: when it returns the sockets are closed. May come in the middle
    // of what a publisher tells a listener.
    ~PublisherBundle();
    PublisherBundle(PublisherBundle const&) = delete;
    PublisherBundle& operator=(PublisherBundle const&) = delete;

private:
    class Impl;
    std::shared_ptr<Impl> const impl_;
};

} // namespace agent::spf::bundles::publisher

#endif
