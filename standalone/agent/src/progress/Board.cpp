// What is known about a configuration at one moment.
#include "progress/Board.hpp"

#include <algorithm>
#include <tuple>
#include <utility>

namespace agent::program {

namespace {

// The one kind of publisher whose endpoints the service framework reports for a configuration's readiness.
constexpr char const* trackedPublisherName = "rpcservicepublisher";

// The name comes first, so that those of one name follow each other.
auto identity(RemoteInterface const& remote) {
    return std::tie(remote.interfaceName, remote.peer, remote.publisher, remote.uniqueID,
                    remote.localPublisher, remote.endpoint);
}

Board::Publisher toPublisher(PublisherEntry const& entry) {
    Board::Publisher publisher;
    publisher.uniqueID = entry.uniqueID;
    publisher.awaitsEndpoints = entry.name == trackedPublisherName;
    auto const now = Board::Clock::now();
    for (auto const& endpoint : entry.endpointsToBindTo) {
        publisher.endpoints.push_back({endpoint, EndpointRole::Bind, EndpointState::Binding, {}, now});
    }
    for (auto const& endpoint : entry.endpointsToConnectTo) {
        publisher.endpoints.push_back({endpoint, EndpointRole::Connect, EndpointState::Connecting, {}, now});
    }
    return publisher;
}

} // namespace

char const* wordFor(EndpointRole role) {
    return role == EndpointRole::Bind ? "bind" : "connect";
}

char const* wordFor(EndpointState state) {
    switch (state) {
    case EndpointState::Binding:
        return "binding";
    case EndpointState::Bound:
        return "bound";
    case EndpointState::Connecting:
        return "connecting";
    case EndpointState::Connected:
        return "connected";
    case EndpointState::Lost:
        return "lost";
    case EndpointState::Failed:
        return "failed";
    }
    return "unknown";
}

bool isUp(Board::Endpoint const& endpoint) {
    return endpoint.state == EndpointState::Bound || endpoint.state == EndpointState::Connected;
}

bool Board::ByIdentity::operator()(RemoteInterface const& one, RemoteInterface const& other) const {
    return identity(one) < identity(other);
}

Board::Board(ConfigurationFile const& configuration) {
    for (auto const& entry : configuration.publishers) {
        publishers_.push_back(toPublisher(entry));
    }
}

void Board::reconfigure(ConfigurationFile const& configuration) {
    Board next(configuration);
    for (auto& publisher : next.publishers_) {
        auto* const before = find(publisher.uniqueID);
        if (before == nullptr) {
            continue;
        }
        for (auto& endpoint : publisher.endpoints) {
            if (auto* const known = find(*before, endpoint.endpoint, endpoint.role)) {
                endpoint = *known;
            }
        }
    }
    publishers_ = std::move(next.publishers_);
}

Board::Publisher* Board::find(std::string const& publisher) {
    auto const found =
        std::find_if(publishers_.begin(), publishers_.end(),
                     [&publisher](Publisher const& candidate) { return candidate.uniqueID == publisher; });
    return found == publishers_.end() ? nullptr : &*found;
}

Board::Endpoint* Board::find(Publisher& publisher, std::string const& endpoint, EndpointRole role) {
    auto const found =
        std::find_if(publisher.endpoints.begin(), publisher.endpoints.end(), [&](Endpoint const& candidate) {
            return candidate.endpoint == endpoint && candidate.role == role;
        });
    return found == publisher.endpoints.end() ? nullptr : &*found;
}

bool Board::apply(EndpointStatus const& status) {
    auto* const publisher = find(status.publisher);
    auto* const endpoint = publisher == nullptr ? nullptr : find(*publisher, status.endpoint, status.role);
    if (endpoint == nullptr || (endpoint->state == status.state && endpoint->reason == status.reason)) {
        return false;
    }
    bool const newState = endpoint->state != status.state;
    bool const stillUp = !newState && isUp(*endpoint); // only the words differ: nothing has happened
    if (newState) {
        endpoint->since = Clock::now();
    }
    endpoint->state = status.state;
    endpoint->reason = status.reason;
    return !stillUp;
}

bool Board::apply(ServicesPublished const& message) {
    auto* const publisher = find(message.publisher);
    return publisher != nullptr && !std::exchange(publisher->servicesPublished, true);
}

bool Board::apply(PublisherRemoved const& message) {
    auto* const publisher = find(message.publisher);
    return publisher != nullptr && !std::exchange(publisher->removed, true);
}

bool Board::apply(PublisherFailed const& message) {
    auto* const publisher = find(message.publisher);
    return publisher != nullptr && std::exchange(publisher->failure, message.reason) != message.reason;
}

bool Board::apply(RemoteInterface const& message) {
    if (message.available) {
        return ++remoteInterfaces_[message] == 1;
    }
    auto const known = remoteInterfaces_.find(message);
    if (known == remoteInterfaces_.end() || --known->second > 0) {
        return false;
    }
    remoteInterfaces_.erase(known);
    return true;
}

bool Board::isReady() const {
    return std::all_of(publishers_.begin(), publishers_.end(), [](Publisher const& publisher) {
        bool const endpoints = !publisher.awaitsEndpoints ||
                               std::all_of(publisher.endpoints.begin(), publisher.endpoints.end(), isUp);
        return endpoints && publisher.servicesPublished;
    });
}

bool Board::isRemoved() const {
    return std::all_of(publishers_.begin(), publishers_.end(),
                       [](Publisher const& publisher) { return publisher.removed; });
}

bool Board::sees(std::string const& interfaceName) const {
    RemoteInterface first{}; // none of this name comes before it
    first.interfaceName = interfaceName;
    auto const found = remoteInterfaces_.lower_bound(first);
    return found != remoteInterfaces_.end() && found->first.interfaceName == interfaceName;
}

} // namespace agent::program
