// A bundle whose activator ends the process.
#include <cstdlib>

#include <cppmicroservices/BundleActivator.h>

#include "exitStatus.hpp"

namespace {

class ExitingActivator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext) override { std::exit(shutdown_test::exitedFromActivator); }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(ExitingActivator)
