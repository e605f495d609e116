// The context of the bundle that the calling code belongs to.
#ifndef CPPMICROSERVICES_GETBUNDLECONTEXT_H
#define CPPMICROSERVICES_GETBUNDLECONTEXT_H

#ifndef US_BUNDLE_NAME
#error "US_BUNDLE_NAME must be defined as the bundle's symbolic name; spf_add_bundle() does so"
#endif

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleInitialization.h"

extern "C" cppmicroservices::detail::BundleContextSlot* US_GET_CTX_FUNC(US_BUNDLE_NAME)();

namespace cppmicroservices {

// The calling bundle's context; invalid unless the bundle is starting, active or stopping. Thread safe.
static inline BundleContext GetBundleContext() {
    return detail::MakeBundleContext(US_GET_CTX_FUNC(US_BUNDLE_NAME)()->load());
}

} // namespace cppmicroservices

#endif
