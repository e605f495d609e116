// Records what happens to its activator. The file has two bundles: see pair_second.cpp.
#include "Recording.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        testbundles::record(context, context.GetBundle().GetSymbolicName() + " start");
    }
    void Stop(cppmicroservices::BundleContext context) override {
        testbundles::record(context, context.GetBundle().GetSymbolicName() + " stop");
    }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
