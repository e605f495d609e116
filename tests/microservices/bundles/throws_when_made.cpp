// Has an activator whose constructor throws.
#include <cppmicroservices/BundleActivator.h>

#include <stdexcept>

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    Activator() { throw std::runtime_error("no activator today"); }
    void Start(cppmicroservices::BundleContext) override {}
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
