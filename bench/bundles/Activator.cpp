// The bundle of which the benchmark of the bundles installs many: it registers a service while it runs.
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include <memory>

namespace bundlesbench {
struct Service {};
} // namespace bundlesbench

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<bundlesbench::Service>(std::make_shared<bundlesbench::Service>());
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
