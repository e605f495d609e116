// Starts the socket provider and registers it.
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/sockets/SocketProvider.hpp"

namespace {

using agent::spf::bundles::EndpointProvider;
using agent::spf::bundles::sockets::SocketProvider;

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        provider_ = std::make_shared<SocketProvider>();
        registration_ = context.RegisterService<EndpointProvider>(provider_);
    }

    void Stop(cppmicroservices::BundleContext) override {
        registration_.Unregister();
        provider_->stop();
        provider_.reset();
    }

private:
    std::shared_ptr<SocketProvider> provider_;
    cppmicroservices::ServiceRegistration<EndpointProvider> registration_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
