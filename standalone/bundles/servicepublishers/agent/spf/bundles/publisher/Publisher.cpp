// A publisher's endpoints: which there are, and when all of them are bound.
#include "agent/spf/bundles/publisher/Publisher.hpp"

#include <algorithm>
#include <functional>
#include <set>
#include <string_view>
#include <utility>

#include "agent/spf/bundles/publisher/OfferedInterface.hpp"

namespace agent::spf::bundles::publisher {

namespace {

using Texts = std::set<std::string_view>;

} // namespace

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
    Texts const toBindTo(configuration_.endpointsToBindTo.begin(), configuration_.endpointsToBindTo.end());
    Texts const toConnectTo(configuration_.endpointsToConnectTo.begin(),
                            configuration_.endpointsToConnectTo.end());
    auto const isGone = [&](std::shared_ptr<PublisherEndpoint> const& endpoint) {
        auto const& texts = endpoint->role() == EndpointRole::Bind ? toBindTo : toConnectTo;
        return texts.count(endpoint->text()) == 0;
    };
    auto const firstGone = std::stable_partition(endpoints_.begin(), endpoints_.end(), std::not_fn(isGone));
    std::vector const gone(firstGone, endpoints_.end());
    endpoints_.erase(firstGone, endpoints_.end());
    awaited_ = 0;
    for (auto const& endpoint : gone) {
        endpoint->close();
    }
}

void Publisher::addEndpoints(EndpointRole role, std::vector<std::string> const& texts) {
    EndpointOwner& owner = *this;
    Texts known;
    for (auto const& endpoint : endpoints_) {
        if (endpoint->role() == role) {
            known.insert(endpoint->text());
        }
    }
    for (auto const& text : texts) {
        if (known.count(text) == 0) {
            endpoints_.push_back(std::make_shared<PublisherEndpoint>(context_, owner, role, text));
            endpoints_.back()->open();
        }
    }
}

// Looks first at the endpoint that was not bound the last time: this is asked whenever one has been bound.
bool Publisher::isEveryEndpointBound() {
    auto const isUnbound = [](auto const& endpoint) {
        return endpoint->role() == EndpointRole::Bind && !endpoint->isBound();
    };
    auto const begin = endpoints_.begin();
    auto const end = endpoints_.end();
    auto const awaited = std::find_if(begin + awaited_, end, isUnbound);
    awaited_ = awaited == end ? 0 : awaited - begin;
    return awaited == end && std::none_of(begin, end, isUnbound);
}

void Publisher::reportIfPublished() {
    auto const canPublish = context_.provider && context_.serialiser;
    if (!reportedPublished_ && canPublish && isEveryEndpointBound()) {
        reportedPublished_ = true;
        context_.reporter.reportPublished(configuration_.uniqueID, configuration_.modificationCount);
    }
}

} // namespace agent::spf::bundles::publisher
