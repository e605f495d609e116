// Registers a service, then fails to stop.
#include "TestService.hpp"

#include <cppmicroservices/BundleActivator.h>

#include <memory>
#include <stdexcept>

namespace {

class Service : public testbundles::TestService {
public:
    int answer() const override { return 0; }
};

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<testbundles::TestService>(std::make_shared<Service>());
    }
    void Stop(cppmicroservices::BundleContext) override { throw std::logic_error("no stop today"); }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
