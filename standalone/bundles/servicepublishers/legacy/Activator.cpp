// Starts the publisher that looks its endpoints up by discovery names.
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/publisher/PublisherBundle.hpp"

namespace {

using agent::spf::bundles::publisher::PublisherBundle;

class Activator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        bundle_ = std::make_unique<PublisherBundle>(context, agent::spf::bundles::pids::legacyPublisher,
                                                    PublisherBundle::Naming::DiscoveryNames);
    }

    void Stop(cppmicroservices::BundleContext) override { bundle_.reset(); }

private:
    std::unique_ptr<PublisherBundle> bundle_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
