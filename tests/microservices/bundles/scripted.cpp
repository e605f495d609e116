// Does at start and stop what the test says.
#include "Script.hpp"

#include <cppmicroservices/BundleActivator.h>

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        testbundles::runScript(context, testbundles::Moment::start);
    }
    void Stop(cppmicroservices::BundleContext context) override {
        testbundles::runScript(context, testbundles::Moment::stop);
    }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
