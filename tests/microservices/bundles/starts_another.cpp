// Installs and starts another bundle when it starts, and stops it when it stops.
#include "Recording.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        auto const location = context.GetProperty(testbundles::otherBundleProperty).ToString();
        other_ = context.InstallBundles(location).at(0);
        other_.Start();
    }
    void Stop(cppmicroservices::BundleContext) override { other_.Stop(); }

private:
    cppmicroservices::Bundle other_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
