// Registers a service, uses it and listens, then fails to start.
#include "TestService.hpp"

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/ServiceEvent.h>

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
        auto const registration =
            context.RegisterService<testbundles::TestService>(std::make_shared<Service>());
        service_ = context.GetService(registration.GetReference());
        context.AddServiceListener([](cppmicroservices::ServiceEvent const&) {});
        throw std::logic_error("no start today");
    }
    void Stop(cppmicroservices::BundleContext) override {}

private:
    std::shared_ptr<testbundles::TestService> service_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
