// Registers the JSON serialiser.
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/json/JsonSerialiser.hpp"

namespace {

using agent::spf::bundles::Serialiser;

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        registration_ =
            context.RegisterService<Serialiser>(std::make_shared<agent::spf::bundles::json::JsonSerialiser>(),
                                                {{"format", cppmicroservices::Any(std::string("json"))}});
    }

    void Stop(cppmicroservices::BundleContext) override { registration_.Unregister(); }

private:
    cppmicroservices::ServiceRegistration<Serialiser> registration_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
