// A bundle that offers a Greeter.
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "Greeter.hpp"

namespace {

class PoliteGreeter : public consumer::Greeter {
public:
    std::string greet(std::string const& name) override { return "Good day, " + name; }
};

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        registration_ = context.RegisterService<consumer::Greeter>(std::make_shared<PoliteGreeter>());
    }

    void Stop(cppmicroservices::BundleContext) override { registration_.Unregister(); }

private:
    cppmicroservices::ServiceRegistration<consumer::Greeter> registration_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
