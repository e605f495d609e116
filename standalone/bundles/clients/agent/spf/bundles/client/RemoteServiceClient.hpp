// Registers a service for each interface that a peer offers and that the importing publisher lets in.
#ifndef AGENT_SPF_BUNDLES_CLIENT_REMOTE_SERVICE_CLIENT_HPP
#define AGENT_SPF_BUNDLES_CLIENT_REMOTE_SERVICE_CLIENT_HPP

#include <map>
#include <memory>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceTracker.h>

#include "agent/spf/bundles/RemoteOffers.hpp"
#include "agent/spf/bundles/RemoteService.hpp"
#include "agent/spf/bundles/client/ImportedService.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"

namespace agent::spf::bundles::client {

// At work from its construction to its destruction, which unregisters every service. Services are registered
// and unregistered on a thread of its own, where the listeners of the registry are called therefore. When the
// offers of a peer are unregistered, the peer's services are gone before that call returns.
class RemoteServiceClient : private cppmicroservices::ServiceTrackerCustomizer<RemoteOffers> {
public:
    explicit RemoteServiceClient(cppmicroservices::BundleContext const& context);
    ~RemoteServiceClient() override;
    RemoteServiceClient(RemoteServiceClient const&) = delete;
    RemoteServiceClient& operator=(RemoteServiceClient const&) = delete;

private:
    using Reference = cppmicroservices::ServiceReference<RemoteOffers>;

    struct Imported {
        std::shared_ptr<ImportedService> service;
        cppmicroservices::ServiceRegistration<RemoteService> registration;
    };
    using ImportedServices = std::map<std::string, Imported>; // by unique ID

    std::shared_ptr<RemoteOffers> AddingService(Reference const& reference) override;
    void ModifiedService(Reference const& reference, std::shared_ptr<RemoteOffers> const& offers) override;
    void RemovedService(Reference const& reference, std::shared_ptr<RemoteOffers> const& offers) override;

    void import(std::shared_ptr<RemoteOffers> const& offers);
    void add(ImportedServices& services, std::shared_ptr<ImportedService> const& service);

    cppmicroservices::BundleContext context_;
    WorkerThread worker_;
    std::map<std::shared_ptr<RemoteOffers>, ImportedServices> imported_; // used on the worker only
    cppmicroservices::ServiceTracker<RemoteOffers> tracker_;
};

} // namespace agent::spf::bundles::client

#endif
