// A managed service factory that leaves what Configuration Admin delivers to a worker thread.
#ifndef AGENT_SPF_BUNDLES_COMMON_FACTORY_SERVICE_HPP
#define AGENT_SPF_BUNDLES_COMMON_FACTORY_SERVICE_HPP

#include <functional>
#include <memory>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include "agent/spf/bundles/common/WorkerThread.hpp"

namespace agent::spf::bundles {

// Thread safe. A delivery that comes after the worker has stopped is dropped, so an object that Configuration
// Admin still holds does no harm.
class FactoryService : public cppmicroservices::service::cm::ManagedServiceFactory {
public:
    using UpdatedTask =
        std::function<void(std::string const& pid, cppmicroservices::AnyMap const& properties)>;
    using RemovedTask = std::function<void(std::string const& pid)>;

    // The tasks run on the worker. The owner keeps alive what they refer to until it has stopped the worker.
    FactoryService(std::shared_ptr<WorkerThread> worker, UpdatedTask updated, RemovedTask removed);

    void Updated(std::string const& pid, cppmicroservices::AnyMap const& properties) override;
    void Removed(std::string const& pid) override;

private:
    std::shared_ptr<WorkerThread> const worker_;
    UpdatedTask const updated_;
    RemovedTask const removed_;
};

// Registers a factory so that Configuration Admin finds it by its factory PID.
cppmicroservices::ServiceRegistration<cppmicroservices::service::cm::ManagedServiceFactory>
registerFactory(cppmicroservices::BundleContext context,
                std::shared_ptr<cppmicroservices::service::cm::ManagedServiceFactory> const& factory,
                std::string const& factoryPID);

} // namespace agent::spf::bundles

#endif
