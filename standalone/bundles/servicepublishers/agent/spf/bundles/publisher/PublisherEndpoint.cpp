// How an endpoint opens, changes its state, and takes peers.
#include "agent/spf/bundles/publisher/PublisherEndpoint.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::publisher {

// Carries what the provider reports from its thread to the worker.
class PublisherEndpoint::Handler : public EndpointHandler {
public:
    explicit Handler(PublisherEndpoint& endpoint)
        : worker_(endpoint.context_.worker)
        , endpoint_(endpoint.weak_from_this())
        , generation_(endpoint.generation_) {}

    void bound(std::string const& address) override {
        post([address](auto& endpoint) { persistently([&] { endpoint.bound(address); }); });
    }
    void opened(std::shared_ptr<Connection> connection) override {
        post([connection = std::move(connection)](auto& endpoint) { endpoint.opened(connection); });
    }
    void retrying(std::string const& reason) override {
        post([reason](auto& endpoint) { endpoint.retrying(reason); });
    }
    void failed(std::string const& reason) override {
        persistently(
            [&] { post([reason](auto& endpoint) { persistently([&] { endpoint.failed(reason); }); }); });
    }

private:
    template <class Report>
    void post(Report report) {
        worker_->post([weak = endpoint_, generation = generation_, report = std::move(report)] {
            auto const endpoint = weak.lock();
            if (endpoint && endpoint->generation_ == generation) {
                report(*endpoint);
            }
        });
    }

    std::shared_ptr<WorkerThread> const worker_;
    std::weak_ptr<PublisherEndpoint> const endpoint_;
    std::uint64_t const generation_;
};

PublisherEndpoint::PublisherEndpoint(PublisherContext& context, EndpointOwner& owner, EndpointRole role,
                                     std::string text)
    : context_(context)
    , owner_(owner)
    , role_(role)
    , text_(std::move(text))
    , state_(downState()) {}

PublisherEndpoint::~PublisherEndpoint() {
    close();
}

EndpointStatus PublisherEndpoint::status() const {
    return {owner_.publisherID(), text_, role_, state_, reason_, owner_.modificationCount()};
}

bool PublisherEndpoint::isName() const {
    return context_.naming == Naming::DiscoveryNames && text_.find(':') == std::string::npos;
}

char const* PublisherEndpoint::missingService() const {
    if (!context_.provider) {
        return "endpoint provider";
    }
    if (!context_.serialiser) {
        return "serialiser";
    }
    return isName() && !context_.discovery ? "discovery service" : nullptr;
}

void PublisherEndpoint::open() {
    if (auto const* const missing = missingService()) {
        return lose("waits for the " + std::string(missing));
    }
    if (isOpen_) {
        return;
    }
    isOpen_ = true;
    if (!setState(downState(), {})) {
        return;
    }
    if (!isName()) {
        return openAddress(text_);
    }
    try {
        openName();
    } catch (std::exception const& error) {
        cannotUse(text_, error);
    }
}

void PublisherEndpoint::openAddress(std::string const& address) {
    address_ = address;
    try {
        auto handler = std::make_shared<Handler>(*this);
        handle_ = role_ == EndpointRole::Bind ? context_.provider->bind(address, std::move(handler))
                                              : context_.provider->connect(address, std::move(handler));
    } catch (std::exception const& error) {
        cannotUse(address, error);
    }
}

// A name to bind gets an address of the process's own, which is announced for as long as the endpoint is
// open. A name to connect to is looked up for as long.
void PublisherEndpoint::openName() {
    if (role_ == EndpointRole::Bind) {
        auto const address = context_.discovery->privateEndpoint(text_);
        discovery_ = context_.discovery->announce(text_, address);
        return openAddress(address);
    }
    discovery_ = context_.discovery->resolve(text_, [worker = context_.worker, weak = weak_from_this()](
                                                        std::optional<std::string> const& address) {
        worker->post([weak, address] {
            if (auto const self = weak.lock(); self && self->isOpen_) {
                persistently([&] { self->resolved(address); });
            }
        });
    });
}

void PublisherEndpoint::resolved(std::optional<std::string> const& address) {
    if (address.value_or("") == address_ && !address_.empty()) {
        return;
    }
    auto const wasUp = isUp();
    closeAddress();
    auto const isStillOpen =
        setDown(wasUp, address ? "found at " + *address : "no running process announces \"" + text_ + "\"");
    if (isStillOpen && address) {
        openAddress(*address);
    }
}

void PublisherEndpoint::closeAddress() {
    ++generation_;
    for (auto const& peer : std::exchange(peers_, {})) {
        peer->close();
    }
    handle_.reset();
    address_.clear();
}

void PublisherEndpoint::close() {
    closeAddress();
    discovery_.reset();
    isOpen_ = false;
}

// Gives up what is open, and reports why.
void PublisherEndpoint::lose(std::string const& reason) {
    auto const wasUp = isUp();
    close();
    setDown(wasUp, reason);
}

bool PublisherEndpoint::setDown(bool wasUp, std::string const& reason) {
    return (!wasUp || setState(EndpointState::Lost, reason)) && setState(downState(), reason);
}

bool PublisherEndpoint::isUp() const noexcept {
    return state_ == EndpointState::Bound || state_ == EndpointState::Connected;
}

EndpointState PublisherEndpoint::downState() const noexcept {
    return role_ == EndpointRole::Bind ? EndpointState::Binding : EndpointState::Connecting;
}

void PublisherEndpoint::renew() {
    if (state_ == EndpointState::Failed) {
        close();
        open();
        return;
    }
    context_.reporter.reportStatus(status());
    if (isUp()) {
        reportUp();
    }
}

void PublisherEndpoint::refreshPeers() {
    for (auto const& peer : std::vector(peers_)) { // a listener that is told an error may end them
        peer->sendOffers();
        peer->applyImportFilter();
    }
}

void PublisherEndpoint::bound(std::string const& address) {
    if (setState(EndpointState::Bound, address == text_ ? std::string() : "listens at " + address)) {
        reportUp();
        owner_.endpointBound();
    }
}

void PublisherEndpoint::opened(std::shared_ptr<Connection> connection) {
    auto const generation = generation_;
    makeRoomForPeer();
    if (generation != generation_) {
        return; // closed by a listener that was told of the peer that made room
    }
    PeerOwner& owner = *this;
    auto const isBind = role_ == EndpointRole::Bind;
    auto const peer = std::make_shared<Peer>(context_, owner, std::move(connection),
                                             isBind ? Peer::Side::Accepting : Peer::Side::Connecting);
    peers_.push_back(peer);
    peer->start();
    if (!isBind) {
        setState(EndpointState::Connecting, "waits for the peer to answer the handshake");
    }
}

// The oldest makes room, since a peer in earnest greets at once: the oldest from the origin that has most of
// them, so that no flood of connections ends those of others.
void PublisherEndpoint::makeRoomForPeer() {
    std::multiset<std::string> pending; // the origins of the peers that have not greeted
    for (auto const& peer : peers_) {
        if (!peer->isEstablished()) {
            pending.insert(peer->origin());
        }
    }
    if (pending.size() < maximumPendingPeers) {
        return;
    }
    auto const& most = *std::max_element(pending.begin(), pending.end(), [&](auto const& a, auto const& b) {
        return pending.count(a) < pending.count(b);
    });
    auto const oldest = std::find_if(peers_.begin(), peers_.end(), [&](auto const& peer) {
        return !peer->isEstablished() && peer->origin() == most;
    });
    auto const peer = *oldest;
    peers_.erase(oldest);
    peer->close();
}

void PublisherEndpoint::retrying(std::string const& reason) {
    setState(EndpointState::Connecting, reason);
}

void PublisherEndpoint::cannotUse(std::string const& endpoint, std::exception const& error) {
    persistently([&] {
        failed((role_ == EndpointRole::Bind ? "cannot bind " : "cannot connect to ") + endpoint + ": " +
               error.what());
    });
}

void PublisherEndpoint::failed(std::string const& reason) {
    closeAddress();
    if (role_ == EndpointRole::Bind) {
        discovery_.reset();
    }
    setState(EndpointState::Failed, reason);
    context_.reporter.reportError("publisher \"" + owner_.publisherID() + "\": " + reason,
                                  owner_.publisherID(), owner_.modificationCount());
}

void PublisherEndpoint::peerEstablished(Peer& peer) {
    if (role_ == EndpointRole::Connect && setState(EndpointState::Connected, "peer " + peer.agent())) {
        reportUp();
    }
}

void PublisherEndpoint::peerGone(Peer& peer, std::string const& reason) {
    auto const isPeer = [&peer](auto const& one) { return one.get() == &peer; };
    peers_.erase(std::remove_if(peers_.begin(), peers_.end(), isPeer), peers_.end());
    if (role_ == EndpointRole::Connect && peer.isEstablished()) {
        setState(EndpointState::Lost, reason);
    }
}

void PublisherEndpoint::offersFailed(std::string const& reason) {
    context_.reporter.reportError("publisher \"" + owner_.publisherID() +
                                      "\" cannot offer its interfaces at " + text_ + ": " + reason,
                                  owner_.publisherID(), owner_.modificationCount());
}

bool PublisherEndpoint::setState(EndpointState state, std::string reason) {
    if (state == state_ && reason == reason_ && !reason.empty()) {
        return true;
    }
    auto const generation = generation_;
    state_ = state;
    reason_ = std::move(reason);
    context_.reporter.reportStatus(persistently([this] { return status(); }));
    return generation == generation_;
}

void PublisherEndpoint::reportUp() {
    using Kind = frameworklistener::RouterEvent::Kind;
    bool const again = std::exchange(wasUp_, true);
    auto const kind = role_ == EndpointRole::Bind ? (again ? Kind::Rebound : Kind::Bound)
                                                  : (again ? Kind::Reconnected : Kind::Connected);
    context_.reporter.reportRouterEvent(kind, text_, owner_.publisherID(), owner_.modificationCount());
}

} // namespace agent::spf::bundles::publisher
