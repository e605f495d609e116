// A publisher at work on one publisher configuration.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_PUBLISHER_HPP

#include <cstddef>
#include <memory>
#include <vector>

#include "agent/spf/bundles/publisher/PublisherConfiguration.hpp"
#include "agent/spf/bundles/publisher/PublisherContext.hpp"
#include "agent/spf/bundles/publisher/PublisherEndpoint.hpp"

namespace agent::spf::bundles::publisher {

// Its services are published once every endpoint to bind is bound: from then on whoever comes is offered
// them. Endpoints to connect to do not hold that back, since their peers come and go.
//
// An endpoint that a new configuration keeps stays as it is, with its peers, and is reported again under the
// new modification count, as rebound or reconnected.
class Publisher : private EndpointOwner {
public:
    explicit Publisher(PublisherContext& context);

    void reconfigure(PublisherConfiguration configuration);

    // A service of the context has come or gone.
    void servicesChanged();

    void tellStatus(EndpointStatusListener& listener) const;

    // Gives up its endpoints, without a report.
    void close();

private:
    std::string const& publisherID() const override { return configuration_.uniqueID; }
    std::uint32_t modificationCount() const override { return configuration_.modificationCount; }
    cppmicroservices::LDAPFilter const& importFilter() const override { return configuration_.importFilter; }
    Offers offers() const override;
    void endpointBound() override { reportIfPublished(); }

    void closeEndpointsNotConfigured();
    void addEndpoints(EndpointRole role, std::vector<std::string> const& texts);
    bool isEveryEndpointBound();
    void reportIfPublished();

    PublisherContext& context_;
    PublisherConfiguration configuration_;
    std::vector<std::shared_ptr<PublisherEndpoint>> endpoints_;
    std::ptrdiff_t awaited_ = 0;     // index of the first endpoint that was not bound the last time, or 0
    bool reportedPublished_ = false; // for the present configuration
};

} // namespace agent::spf::bundles::publisher

#endif
