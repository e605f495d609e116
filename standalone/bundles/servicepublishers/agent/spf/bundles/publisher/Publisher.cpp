#include "agent/spf/bundles/publisher/Publisher.hpp"

#include <algorithm>
#include <functional>
#include <utility>

#include "agent/spf/bundles/publisher/OfferedInterface.hpp"

namespace agent::spf::bundles::publisher {

Publisher::Publisher(PublisherContext& context)
    : context_(context) {}

void Publisher::reconfigure(PublisherConfiguration configuration) {
    configuration_ = std::move(configuration);
    reportedPublished_ = false;
    closeEndpointsNotConfigured();
    for (auto const& endpoint : std::vector(endpoints_)) {
        endpoint->renew();
        endpoint->refreshPeers();
    }
    addEndpoints(EndpointRole::Bind, configuration_.endpointsToBindTo);
    addEndpoints(EndpointRole::Connect, configuration_.endpointsToConnectTo);
    reportIfPublished();
}

void Publisher::servicesChanged() {
    for (auto const& endpoint : endpoints_) {
        endpoint->open();
    }
    reportIfPublished();
}

void Publisher::tellStatus(EndpointStatusListener& listener) const {
    for (auto const& endpoint : endpoints_) {
        tell(listener, endpoint->status());
    }
}

void Publisher::close() {
    for (auto const& endpoint : endpoints_) {
        endpoint->close();
    }
}

Offers Publisher::offers() const {
    Offers result;
    for (auto const& interface : configuration_.interfaces) {
        if (passes(configuration_.exportFilter, interface)) {
            result.offers.push_back(interface);
        }
    }
    return result;
}

void Publisher::closeEndpointsNotConfigured() {
    auto const isGone = [this](std::shared_ptr<PublisherEndpoint> const& endpoint) {
        auto const& texts = endpoint->role() == EndpointRole::Bind ? configuration_.endpointsToBindTo
                                                                   : configuration_.endpointsToConnectTo;
        return std::find(texts.begin(), texts.end(), endpoint->text()) == texts.end();
    };
    auto const firstGone = std::stable_partition(endpoints_.begin(), endpoints_.end(), std::not_fn(isGone));
    std::vector const gone(firstGone, endpoints_.end());
    endpoints_.erase(firstGone, endpoints_.end());
    for (auto const& endpoint : gone) {
        endpoint->close();
    }
}

void Publisher::addEndpoints(EndpointRole role, std::vector<std::string> const& texts) {
    EndpointOwner& owner = *this;
    for (auto const& text : texts) {
        auto const isIt = [&](auto const& endpoint) {
            return endpoint->role() == role && endpoint->text() == text;
        };
        if (std::none_of(endpoints_.begin(), endpoints_.end(), isIt)) {
            endpoints_.push_back(std::make_shared<PublisherEndpoint>(context_, owner, role, text));
            endpoints_.back()->open();
        }
    }
}

void Publisher::reportIfPublished() {
    auto const isUnbound = [](auto const& endpoint) {
        return endpoint->role() == EndpointRole::Bind && !endpoint->isBound();
    };
    auto const canPublish = context_.provider && context_.serialiser;
    if (!reportedPublished_ && canPublish && std::none_of(endpoints_.begin(), endpoints_.end(), isUnbound)) {
        reportedPublished_ = true;
        context_.reporter.reportPublished(configuration_.uniqueID, configuration_.modificationCount);
    }
}

} // namespace agent::spf::bundles::publisher
