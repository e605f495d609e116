#include "agent/spf/bundles/client/RemoteServiceClient.hpp"

#include <atomic>
#include <iterator>
#include <map>
#include <string>
#include <utility>

#include <cppmicroservices/ServiceTracker.h>

#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/RemoteService.hpp"
#include "agent/spf/bundles/client/ImportedService.hpp"
#include "agent/spf/bundles/common/ServiceAccess.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"

namespace agent::spf::bundles::client {

using cppmicroservices::BundleContext;
using cppmicroservices::ServiceProperties;

namespace {

struct Imported {
    std::shared_ptr<ImportedService> service;
    cppmicroservices::ServiceRegistration<RemoteService> registration;
};

// A peer and the services made of its offers.
struct ImportedPeer {
    explicit ImportedPeer(std::shared_ptr<RemoteOffers> offersOfPeer)
        : offers(std::move(offersOfPeer)) {}

    std::shared_ptr<RemoteOffers> const offers;
    std::atomic<bool> isQueued{false}; // the worker is going to look at the offers

    // Used on the worker only.
    bool isGone = false;
    std::map<std::string, Imported> services; // by unique ID
};

void unregister(cppmicroservices::ServiceRegistration<RemoteService>& registration) {
    try {
        registration.Unregister();
    } catch (std::exception const&) {
        // The framework is stopping and has unregistered the service itself.
    }
}

// The services that the peer's offers call for, by unique ID.
std::map<std::string, std::shared_ptr<ImportedService>>
wantedServices(std::shared_ptr<PeerOffers const> const& peer) {
    std::map<std::string, std::shared_ptr<ImportedService>> wanted;
    for (auto const& offer : peer->offers) {
        auto const service = std::make_shared<ImportedService>(peer, offer);
        if (!peer->importFilter || peer->importFilter.Match(service->properties())) {
            wanted.emplace(offer.uniqueID, service);
        }
    }
    return wanted;
}

} // namespace

class RemoteServiceClient::PeerTracker
    : private cppmicroservices::ServiceTrackerCustomizer<RemoteOffers, ImportedPeer> {
public:
    explicit PeerTracker(BundleContext const& context)
        : context_(context)
        , worker_("spf-clients")
        , tracker_(context, this) {
        tracker_.Open();
    }

    ~PeerTracker() override {
        tracker_.Close();
        worker_.stop();
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
        worker_.run([&peer] {
            peer->isGone = true;
            for (auto& [uniqueID, imported] : std::exchange(peer->services, {})) {
                unregister(imported.registration);
            }
        });
    }

    // However often the offers change, the worker has them to look at once at most.
    void queue(Peer const& peer) {
        if (!peer->isQueued.exchange(true)) {
            worker_.post([this, peer] {
                peer->isQueued = false;
                if (!peer->isGone) {
                    import(*peer);
                }
            });
        }
    }

    // The listeners of the services that come and go may take the peer itself away.
    void import(ImportedPeer& peer) {
        auto const wanted = wantedServices(peer.offers->current());
        removeUnwanted(peer.services, wanted);
        for (auto const& [uniqueID, service] : wanted) {
            if (!peer.isGone && peer.services.count(uniqueID) == 0) {
                add(peer, service);
            }
        }
    }

    static void removeUnwanted(std::map<std::string, Imported>& services,
                               std::map<std::string, std::shared_ptr<ImportedService>> const& wanted) {
        std::map<std::string, Imported> unwanted;
        for (auto entry = services.begin(); entry != services.end();) {
            auto const next = std::next(entry);
            auto const same = wanted.find(entry->first);
            if (same == wanted.end() || same->second->properties() != entry->second.service->properties()) {
                unwanted.insert(services.extract(entry));
            }
            entry = next;
        }
        for (auto& [uniqueID, imported] : unwanted) {
            unregister(imported.registration);
        }
    }

    void add(ImportedPeer& peer, std::shared_ptr<ImportedService> const& service) {
        ServiceProperties properties;
        for (auto const& [key, value] : service->properties()) {
            properties.emplace(key, value);
        }
        try {
            auto registration = context_.RegisterService<RemoteService>(service, properties);
            if (peer.isGone) {
                unregister(registration);
            } else {
                peer.services.emplace(service->uniqueID(), Imported{service, std::move(registration)});
            }
        } catch (std::exception const&) {
            // The registry refuses what the peer says about the interface, or the framework is stopping.
        }
    }

    BundleContext context_;
    WorkerThread worker_;
    cppmicroservices::ServiceTracker<RemoteOffers, ImportedPeer> tracker_;
};

RemoteServiceClient::RemoteServiceClient(BundleContext const& context)
    : peers_(std::make_unique<PeerTracker>(context)) {}

RemoteServiceClient::~RemoteServiceClient() = default;

} // namespace agent::spf::bundles::client
