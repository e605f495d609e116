// Starts the remote service client.
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/client/RemoteServiceClient.hpp"

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        client_ = std::make_unique<agent::spf::bundles::client::RemoteServiceClient>(context);
    }

    void Stop(cppmicroservices::BundleContext) override { client_.reset(); }

private:
    std::unique_ptr<agent::spf::bundles::client::RemoteServiceClient> client_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
