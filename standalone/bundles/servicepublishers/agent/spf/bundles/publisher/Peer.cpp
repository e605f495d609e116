// The conversation with a peer, from the connection to its end.
#include "agent/spf/bundles/publisher/Peer.hpp"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <variant>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::publisher {

using cppmicroservices::AnyMap;

namespace {

// A text that may quote what the peer has sent, fit to be shown: no control characters, and not too long.
std::string printable(std::string text) {
    constexpr std::size_t limit = 200; // bytes
    if (text.size() > limit) {
        auto cut = limit;
        while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0U) == 0x80U) {
            --cut; // not within a character of UTF-8
        }
        text.resize(cut);
        text += "...";
    }
    std::string shown;
    for (std::size_t at = 0; at < text.size(); ++at) {
        auto const byte = static_cast<unsigned char>(text[at]);
        auto const next = at + 1 < text.size() ? static_cast<unsigned char>(text[at + 1]) : 0U;
        auto const isOfTwoBytes = byte == 0xC2 && next >= 0x80 && next < 0xA0; // U+0080 to U+009F
        auto const isControl = byte < 0x20 || byte == 0x7F || isOfTwoBytes;
        shown += isControl ? '?' : text[at];
        at += isOfTwoBytes ? 1 : 0;
    }
    return shown;
}

} // namespace

// Carries what the connection reports from the provider's thread to the worker.
class Peer::Handler : public ConnectionHandler {
public:
    Handler(std::shared_ptr<WorkerThread> worker, std::weak_ptr<Peer> peer,
            std::weak_ptr<Connection> connection)
        : worker_(std::move(worker))
        , peer_(std::move(peer))
        , connection_(std::move(connection))
        , backlog_(std::make_shared<std::atomic<std::size_t>>(0)) {}

    void received(std::string frame) override {
        auto const size = frame.size() + frameOverhead;
        if (*backlog_ += size; *backlog_ > maximumBacklog) {
            return refuse("the peer sends faster than it can be listened to");
        }
        worker_->post([peer = peer_, backlog = backlog_, size, frame = std::move(frame)] {
            if (auto const alive = peer.lock()) {
                alive->received(frame);
            }
            *backlog -= size;
        });
    }

    void closed(std::string const& reason) override {
        worker_->post([peer = peer_, reason] {
            if (auto const alive = peer.lock()) {
                alive->ended(reason);
            }
        });
    }

private:
    // What a frame that waits takes beside its bytes, roughly: so many small ones are too many, too.
    static constexpr std::size_t frameOverhead = 256; // bytes

    // The end is reported before the connection goes on to the next attempt and reports that.
    void refuse(std::string const& reason) {
        closed(reason);
        if (auto const connection = connection_.lock()) {
            connection->reject(reason);
        }
    }

    std::shared_ptr<WorkerThread> const worker_;
    std::weak_ptr<Peer> const peer_;
    std::weak_ptr<Connection> const connection_;
    std::shared_ptr<std::atomic<std::size_t>> const backlog_; // bytes posted and not yet looked at
};

class Peer::OffersService : public RemoteOffers {
public:
    std::shared_ptr<PeerOffers const> current() const override {
        std::lock_guard lock(mutex_);
        return current_;
    }

    void set(std::shared_ptr<PeerOffers const> offers) {
        std::lock_guard lock(mutex_);
        current_ = std::move(offers);
    }

private:
    mutable std::mutex mutex_; // guards current_
    std::shared_ptr<PeerOffers const> current_;
};

Peer::Peer(PublisherContext& context, PeerOwner& owner, std::shared_ptr<Connection> connection, Side side)
    : context_(context)
    , owner_(owner)
    , connection_(std::move(connection))
    , origin_(connection_->origin())
    , side_(side)
    , handshakeDeadline_(context.worker->context()) {}

Peer::~Peer() {
    try {
        close();
    } catch (...) {
        // A destructor has nobody to tell.
    }
}

void Peer::start() {
    guarded([this] {
        handshakeDeadline_.expires_after(handshakeTimeout);
        handshakeDeadline_.async_wait([weak = weak_from_this()](boost::system::error_code const& error) {
            if (auto const self = weak.lock(); self && !error && !self->established_) {
                self->reject("no answer to the handshake in " + std::to_string(handshakeTimeout.count()) +
                             " seconds");
            }
        });
        connection_->start(std::make_shared<Handler>(context_.worker, weak_from_this(), connection_));
        if (side_ == Side::Connecting) {
            greet();
        }
    });
}

// Does what a peer gives cause to. What goes wrong ends the connection, and nothing else.
template <class Action>
void Peer::guarded(Action const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        reject(printable(error.what()));
    }
}

void Peer::greet() {
    send(encode(Hello{context_.agent, owner_.publisherID()}));
}

void Peer::sendOffers() {
    if (!established_ || !connection_) {
        return;
    }
    try {
        persistently([this] { send(encode(owner_.offers())); });
    } catch (std::exception const& error) {
        owner_.offersFailed(error.what());
    }
}

void Peer::send(AnyMap const& message) {
    if (connection_ && context_.serialiser) {
        connection_->send(context_.serialiser->serialise(message));
    }
}

void Peer::received(std::string const& frame) {
    if (!connection_ || !context_.serialiser) {
        return;
    }
    guarded([&] {
        auto message = decode(context_.serialiser->parse(frame));
        if (auto* const hello = std::get_if<Hello>(&message)) {
            handle(std::move(*hello));
        } else {
            handle(std::get<Offers>(std::move(message)), frame.size());
        }
    });
}

void Peer::handle(Hello hello) {
    if (established_) {
        throw std::runtime_error("the peer greets twice");
    }
    hello_ = std::move(hello);
    established_ = true;
    handshakeDeadline_.cancel();
    if (side_ == Side::Accepting) {
        greet();
    }
    connection_->confirm();
    sendOffers();
    if (connection_) { // not ended by a listener that was told of offers that cannot be sent
        owner_.peerEstablished(*this);
    }
}

void Peer::handle(Offers offers, std::size_t messageSize) {
    if (!established_) {
        throw std::runtime_error("the peer offers before it greets");
    }
    context_.room.replace(origin_, offeredBytes_, messageSize);
    offeredBytes_ = messageSize;
    offers_ = std::move(offers);
    publishOffers();
}

void Peer::applyImportFilter() {
    if (service_) {
        publishOffers();
    }
}

void Peer::publishOffers() {
    auto const known = service_ != nullptr;
    if (!known) {
        service_ = std::make_shared<OffersService>();
    }
    service_->set(std::make_shared<PeerOffers const>(PeerOffers{hello_.agent, hello_.publisher,
                                                                owner_.endpoint(), owner_.publisherID(),
                                                                owner_.importFilter(), offers_.offers}));
    if (known) {
        registration_.SetProperties(cppmicroservices::ServiceProperties());
    } else {
        registration_ = context_.bundle.RegisterService<RemoteOffers>(service_);
        if (!connection_) {
            unregister(); // a listener that was told of the service has ended the peer
        }
    }
}

std::string Peer::agent() const {
    return printable(hello_.agent);
}

void Peer::reject(std::string const& reason) {
    if (connection_) {
        connection_->reject(reason);
        ended(reason);
    }
}

void Peer::ended(std::string const& reason) {
    if (connection_) {
        auto const self = shared_from_this(); // the owner lets go of this object
        release();
        owner_.peerGone(*this, reason);
    }
}

void Peer::close() {
    if (connection_) {
        connection_->close();
        release();
    }
}

void Peer::release() {
    connection_.reset();
    handshakeDeadline_.cancel();
    service_.reset();
    context_.room.replace(origin_, std::exchange(offeredBytes_, 0), 0);
    unregister();
}

void Peer::unregister() {
    if (auto registration = std::exchange(registration_, {})) {
        try {
            persistently([&] { registration.Unregister(); });
        } catch (std::exception const&) {
            // The framework is stopping and has unregistered the service itself.
        }
    }
}

} // namespace agent::spf::bundles::publisher
