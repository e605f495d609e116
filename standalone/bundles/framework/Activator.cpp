// Starts the configuration framework.
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/framework/ConfigurationFramework.hpp"

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        framework_ = std::make_unique<agent::spf::bundles::framework::ConfigurationFramework>(context);
    }

    void Stop(cppmicroservices::BundleContext) override { framework_.reset(); }

private:
    std::unique_ptr<agent::spf::bundles::framework::ConfigurationFramework> framework_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
