// Starts and stops Configuration Admin.
#include "ConfigurationAdminService.hpp"
#include "ManifestConfigurations.hpp"
#include "SubscriberTracker.hpp"

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include <memory>

namespace agent::configurationadmin {

class Activator final : public cppmicroservices::BundleActivator {
public:
    // The trackers open before anybody can find the service, so that no listener misses an event.
    void Start(cppmicroservices::BundleContext context) override {
        auto const queues = std::make_shared<SerialQueues>();
        store_ = std::make_shared<ConfigurationStore>(queues, std::make_shared<AdminReference>(context));
        manifests_ = std::make_shared<ManifestConfigurations>(context, store_);
        try {
            queues->start();
            listeners_ = std::make_unique<SubscriberTracker<ConfigurationStore::ConfigurationListener>>(
                context, store_);
            managedServices_ =
                std::make_unique<SubscriberTracker<ConfigurationStore::ManagedService>>(context, store_);
            factories_ = std::make_unique<SubscriberTracker<ConfigurationStore::ManagedServiceFactory>>(
                context, store_);
            listeners_->open();
            managedServices_->open();
            factories_->open();
            manifests_->open();
            registration_ = context.RegisterService<cppmicroservices::service::cm::ConfigurationAdmin>(
                std::make_shared<ConfigurationAdminService>(store_));
        } catch (...) {
            stopDelivery();
            throw;
        }
    }

    void Stop(cppmicroservices::BundleContext) override {
        registration_.Unregister();
        stopDelivery();
    }

private:
    // While the services are still known.
    void stopDelivery() {
        manifests_->close();
        store_->stop();
    }

    std::shared_ptr<ConfigurationStore> store_;
    std::shared_ptr<ManifestConfigurations> manifests_;
    std::unique_ptr<SubscriberTracker<ConfigurationStore::ConfigurationListener>> listeners_;
    std::unique_ptr<SubscriberTracker<ConfigurationStore::ManagedService>> managedServices_;
    std::unique_ptr<SubscriberTracker<ConfigurationStore::ManagedServiceFactory>> factories_;
    cppmicroservices::ServiceRegistration<cppmicroservices::service::cm::ConfigurationAdmin> registration_;
};

} // namespace agent::configurationadmin

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(agent::configurationadmin::Activator)
