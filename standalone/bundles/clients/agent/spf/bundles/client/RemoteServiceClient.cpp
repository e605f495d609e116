#include "agent/spf/bundles/client/RemoteServiceClient.hpp"

#include <utility>

namespace agent::spf::bundles::client {

using cppmicroservices::ServiceProperties;

namespace {

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

RemoteServiceClient::RemoteServiceClient(cppmicroservices::BundleContext const& context)
    : context_(context)
    , worker_("spf-clients")
    , tracker_(context, this) {
    tracker_.Open();
}

RemoteServiceClient::~RemoteServiceClient() {
    tracker_.Close();
    worker_.stop();
}

std::shared_ptr<RemoteOffers> RemoteServiceClient::AddingService(Reference const& reference) {
    auto offers = context_.GetService(reference);
    if (offers) {
        worker_.post([this, offers] {
            imported_.emplace(offers, ImportedServices());
            import(offers);
        });
    }
    return offers;
}

void RemoteServiceClient::ModifiedService(Reference const&, std::shared_ptr<RemoteOffers> const& offers) {
    worker_.post([this, offers] { import(offers); });
}

void RemoteServiceClient::RemovedService(Reference const&, std::shared_ptr<RemoteOffers> const& offers) {
    worker_.run([this, &offers] {
        auto const found = imported_.find(offers);
        if (found == imported_.end()) {
            return;
        }
        auto services = std::move(found->second);
        imported_.erase(found);
        for (auto& [uniqueID, imported] : services) {
            unregister(imported.registration);
        }
    });
}

void RemoteServiceClient::import(std::shared_ptr<RemoteOffers> const& offers) {
    auto const found = imported_.find(offers);
    if (found == imported_.end()) {
        return; // modified and removed in the meantime
    }
    auto const wanted = wantedServices(offers->current());
    auto& services = found->second;
    for (auto entry = services.begin(); entry != services.end();) {
        auto const same = wanted.find(entry->first);
        if (same != wanted.end() && same->second->properties() == entry->second.service->properties()) {
            ++entry;
            continue;
        }
        unregister(entry->second.registration);
        entry = services.erase(entry);
    }
    for (auto const& [uniqueID, service] : wanted) {
        if (services.count(uniqueID) == 0) {
            add(services, service);
        }
    }
}

void RemoteServiceClient::add(ImportedServices& services, std::shared_ptr<ImportedService> const& service) {
    ServiceProperties properties;
    for (auto const& [key, value] : service->properties()) {
        properties.emplace(key, value);
    }
    try {
        services.emplace(service->uniqueID(),
                         Imported{service, context_.RegisterService<RemoteService>(service, properties)});
    } catch (std::exception const&) {
        // The registry refuses what the peer says about the interface, or the framework is stopping.
    }
}

} // namespace agent::spf::bundles::client
