// Follows the peers, and registers and unregisters the services of each.
#include "agent/spf/bundles/client/RemoteServiceClient.hpp"

#include <atomic>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include <cppmicroservices/ServiceTracker.h>

#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/RemoteService.hpp"
#include "agent/spf/bundles/client/ImportedService.hpp"
#include "agent/spf/bundles/common/ServiceAccess.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::client {

using cppmicroservices::BundleContext;
using cppmicroservices::ServiceProperties;

namespace {

struct Imported {
    std::shared_ptr<ImportedService> service;
    cppmicroservices::ServiceRegistration<RemoteService> registration;
};

using Services = std::map<std::string, std::shared_ptr<ImportedService>>; // by unique ID
using ImportedServices = std::map<std::string, Imported>;                 // by unique ID

// A peer and the services made of its offers. Thread safe, so that whoever takes the peer away need not wait
// for the worker, which may be in a listener of a service that waits in turn.
class ImportedPeer {
public:
    explicit ImportedPeer(std::shared_ptr<RemoteOffers> offers)
        : offers_(std::move(offers)) {}

    std::shared_ptr<PeerOffers const> offers() const { return offers_->current(); }

    std::atomic<bool> isQueued{false}; // the worker is going to look at the offers

    // Whether the service is to be made: the peer has not gone, and it has none of the ID.
    bool lacks(std::string const& uniqueID) const {
        std::lock_guard const lock(mutex_);
        return !isGone_ && services_.count(uniqueID) == 0;
    }

    // Takes over the services, unless the peer has gone, and gives back those that it has not taken.
    ImportedServices keep(ImportedServices imported) {
        std::lock_guard const lock(mutex_);
        if (!isGone_) {
            services_.merge(imported);
        }
        return imported;
    }

    // Gives up the services that are not among those that are wanted.
    ImportedServices takeUnwanted(Services const& wanted) {
        ImportedServices unwanted;
        std::lock_guard const lock(mutex_);
        for (auto entry = services_.begin(); entry != services_.end();) {
            auto const next = std::next(entry);
            auto const same = wanted.find(entry->first);
            if (same == wanted.end() || same->second->properties() != entry->second.service->properties()) {
                unwanted.insert(services_.extract(entry));
            }
            entry = next;
        }
        return unwanted;
    }

    // The peer has gone: gives up its services and keeps none from now on.
    ImportedServices takeAll() {
        std::lock_guard const lock(mutex_);
        isGone_ = true;
        return std::exchange(services_, {});
    }

private:
    std::shared_ptr<RemoteOffers> const offers_;
    mutable std::mutex mutex_; // guards what follows
    bool isGone_ = false;
    ImportedServices services_;
};

void unregister(ImportedServices services) {
    for (auto& [uniqueID, imported] : services) {
        try {
            auto& registration = imported.registration;
            persistently([&registration] { registration.Unregister(); });
        } catch (std::exception const&) {
            // The framework is stopping and has unregistered the service itself.
        }
    }
}

// The services that the peer's offers call for.
Services wantedServices(std::shared_ptr<PeerOffers const> const& peer) {
    Services wanted;
    for (auto const& offer : peer->offers) {
        auto const service = std::make_shared<ImportedService>(peer, offer);
        if (!peer->importFilter || peer->importFilter.Match(service->properties())) {
            wanted.emplace(offer.uniqueID, service);
        }
    }
    return wanted;
}

thread_local bool isRemoving = false; // the thread is in a call of the tracker, and tells listeners

} // namespace

class RemoteServiceClient::PeerTracker
    : private cppmicroservices::ServiceTrackerCustomizer<RemoteOffers, ImportedPeer> {
public:
    explicit PeerTracker(BundleContext const& context)
        : context_(context)
        , worker_("spf-clients")
        , tracker_(context, this) {}

    void open() { tracker_.Open(); }

    // A listener of the services may bring it about: in the middle of a task of the worker, for which `self`
    // is kept then, or of a call of the tracker, which ends before the worker lets go of it.
    void stop(std::shared_ptr<PeerTracker> self) {
        if (isRemoving) {
            return worker_.leave(std::move(self));
        }
        tracker_.Close();
        worker_.stop(self);
    }

private:
    using Reference = cppmicroservices::ServiceReference<RemoteOffers>;
    using Peer = std::shared_ptr<ImportedPeer>;

    Peer AddingService(Reference const& reference) override {
        auto offers = serviceOrNull(context_, reference);
        if (!offers) {
            return nullptr;
        }
        auto peer = std::make_shared<ImportedPeer>(std::move(offers));
        queue(peer);
        return peer;
    }

    void ModifiedService(Reference const&, Peer const& peer) override { queue(peer); }

    void RemovedService(Reference const&, Peer const& peer) override {
        auto const before = std::exchange(isRemoving, true);
        unregister(peer->takeAll());
        isRemoving = before;
    }

    // However often the offers change, the worker has them to look at once at most.
    void queue(Peer const& peer) {
        if (peer->isQueued.exchange(true)) {
            return;
        }
        try {
            persistently([&] {
                worker_.post([this, peer] {
                    peer->isQueued = false;
                    persistently([&] { import(*peer); });
                });
            });
        } catch (...) {
            peer->isQueued = false; // for the next change
            throw;
        }
    }

    // The listeners of the services that come and go may take the peer itself away.
    void import(ImportedPeer& peer) {
        auto const wanted = wantedServices(peer.offers());
        unregister(peer.takeUnwanted(wanted));
        for (auto const& [uniqueID, service] : wanted) {
            if (peer.lacks(uniqueID)) {
                add(peer, service);
            }
        }
    }

    void add(ImportedPeer& peer, std::shared_ptr<ImportedService> const& service) {
        ServiceProperties properties;
        for (auto const& [key, value] : service->properties()) {
            properties.emplace(key, value);
        }
        try {
            ImportedServices imported;
            auto& one = imported[service->uniqueID()];
            one = {service, context_.RegisterService<RemoteService>(service, properties)};
            unregister(peer.keep(std::move(imported)));
        } catch (std::bad_alloc const&) {
            throw;
        } catch (std::exception const&) {
            // The registry refuses what the peer says about the interface, or the framework is stopping.
        }
    }

    BundleContext context_;
    WorkerThread worker_;
    cppmicroservices::ServiceTracker<RemoteOffers, ImportedPeer> tracker_;
};

RemoteServiceClient::RemoteServiceClient(BundleContext const& context)
    : peers_(std::make_shared<PeerTracker>(context)) {
    peers_->open();
}

RemoteServiceClient::~RemoteServiceClient() {
    auto& peers = *peers_;
    peers.stop(std::move(peers_));
}

} // namespace agent::spf::bundles::client
