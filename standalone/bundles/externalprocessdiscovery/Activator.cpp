// Starts the runtime-directory discovery and registers it.
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/discovery/RuntimeDirectory.hpp"
#include "agent/spf/bundles/discovery/RuntimeDirectoryDiscovery.hpp"

namespace {

using namespace agent::spf::bundles;

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        discovery_ = std::make_shared<discovery::RuntimeDirectoryDiscovery>(
            discovery::runtimeDirectory(context.GetProperty(discovery::runtimeDirectoryProperty)));
        registration_ = context.RegisterService<DiscoveryService>(discovery_);
    }

    void Stop(cppmicroservices::BundleContext) override {
        registration_.Unregister();
        discovery_->stop();
        discovery_.reset();
    }

private:
    std::shared_ptr<discovery::RuntimeDirectoryDiscovery> discovery_;
    cppmicroservices::ServiceRegistration<DiscoveryService> registration_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
