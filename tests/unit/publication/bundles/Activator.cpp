// The activator of the test's bundles: tells the ActivatorListener of its framework, if there is one.
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "publication/bundles/ActivatorListener.hpp"

namespace {

using agent::spf::frameworksetup::test::ActivatorListener;
using cppmicroservices::BundleContext;

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(BundleContext context) override { tell(context, &ActivatorListener::started); }
    void Stop(BundleContext context) override { tell(context, &ActivatorListener::stopped); }

private:
    static void tell(BundleContext context, void (ActivatorListener::*operation)(std::string const&)) {
        auto const reference = context.GetServiceReference<ActivatorListener>();
        if (reference) {
            (context.GetService(reference).get()->*operation)(context.GetBundle().GetSymbolicName());
        }
    }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
