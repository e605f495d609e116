// Registers a service and leaves it to the framework to unregister it.
#include "TestService.hpp"

#include <cppmicroservices/BundleActivator.h>

#include <memory>

namespace {

class Service : public testbundles::TestService {
public:
    int answer() const override { return 42; }
};

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<testbundles::TestService>(std::make_shared<Service>());
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
