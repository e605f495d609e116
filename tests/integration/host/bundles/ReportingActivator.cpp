// A bundle that reports when it is started and stopped; what else happens then is the test's business.
#include <string>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "Probe.hpp"

namespace {

class ReportingActivator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override { report("start ", context); }
    void Stop(cppmicroservices::BundleContext context) override { report("stop ", context); }

private:
    static void report(std::string const& what, cppmicroservices::BundleContext& context) {
        host_test::Probe::instance().report(what + context.GetBundle().GetSymbolicName());
    }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(ReportingActivator)
