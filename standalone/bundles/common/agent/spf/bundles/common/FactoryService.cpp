// Hands deliveries of Configuration Admin to the worker.
#include "agent/spf/bundles/common/FactoryService.hpp"

#include <utility>

#include <cppmicroservices/Constants.h>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles {

using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::ManagedServiceFactory;

FactoryService::FactoryService(std::shared_ptr<WorkerThread> worker, UpdatedTask updated, RemovedTask removed)
    : worker_(std::move(worker))
    , updated_(std::move(updated))
    , removed_(std::move(removed)) {}

void FactoryService::Updated(std::string const& pid, AnyMap const& properties) {
    persistently([&] { worker_->post([task = updated_, pid, properties] { task(pid, properties); }); });
}

void FactoryService::Removed(std::string const& pid) {
    persistently([&] { worker_->post([task = removed_, pid] { task(pid); }); });
}

cppmicroservices::ServiceRegistration<ManagedServiceFactory>
registerFactory(cppmicroservices::BundleContext context,
                std::shared_ptr<ManagedServiceFactory> const& factory, std::string const& factoryPID) {
    return context.RegisterService<ManagedServiceFactory>(
        factory, {{cppmicroservices::Constants::SERVICE_PID, cppmicroservices::Any(factoryPID)},
                  {std::string("service.factoryPid"), cppmicroservices::Any(factoryPID)}});
}

} // namespace agent::spf::bundles
