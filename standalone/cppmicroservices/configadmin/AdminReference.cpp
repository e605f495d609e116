// Looks up the reference of the Configuration Admin service.
#include "AdminReference.hpp"

#include <cppmicroservices/Bundle.h>

#include <exception>
#include <utility>

namespace agent::configurationadmin {

namespace {

AdminReference::Reference lookUp(cppmicroservices::BundleContext context) {
    try {
        for (auto const& reference :
             context.GetServiceReferences<cppmicroservices::service::cm::ConfigurationAdmin>()) {
            if (reference.GetBundle() == context.GetBundle()) {
                return reference;
            }
        }
    } catch (std::exception const&) {
        // The bundle is being stopped and its context is no longer valid.
    }
    return {};
}

} // namespace

AdminReference::AdminReference(cppmicroservices::BundleContext context)
    : context_(std::move(context)) {}

AdminReference::Reference AdminReference::get() {
    {
        std::lock_guard lock{mutex_};
        if (reference_) {
            return reference_;
        }
    }
    auto const found = lookUp(context_);
    std::lock_guard lock{mutex_};
    reference_ = found;
    return found;
}

} // namespace agent::configurationadmin
