// Gets services that may be gone by the time they are asked for.
#ifndef AGENT_SPF_BUNDLES_COMMON_SERVICE_ACCESS_HPP
#define AGENT_SPF_BUNDLES_COMMON_SERVICE_ACCESS_HPP

#include <memory>
#include <stdexcept>

#include <cppmicroservices/BundleContext.h>

namespace agent::spf::bundles {

// The service, or null if it is not registered any more: to the framework such a reference is either one
// without a service or no reference at all.
template <class Service>
std::shared_ptr<Service> serviceOrNull(cppmicroservices::BundleContext context,
                                       cppmicroservices::ServiceReference<Service> const& reference) {
    try {
        return context.GetService(reference);
    } catch (std::invalid_argument const&) {
        return nullptr;
    }
}

} // namespace agent::spf::bundles

#endif
