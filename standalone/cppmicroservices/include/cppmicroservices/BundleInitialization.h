// What every bundle defines once, so that GetBundleContext() works in it.
#ifndef US_BUNDLE_NAME
#error "US_BUNDLE_NAME must be defined as the bundle's symbolic name; spf_add_bundle() does so"
#endif

#ifndef CPPMICROSERVICES_BUNDLEINITIALIZATION_H
#define CPPMICROSERVICES_BUNDLEINITIALIZATION_H

#include "cppmicroservices/GlobalConfig.h"
#include "cppmicroservices/detail/BundleContextSlot.h"

#include <new>

// Stands once in a bundle's sources, outside every namespace; the build functions generate it.
// The slot is never destroyed: at the end of the process a bundle's statics go before the framework is
// stopped, which still takes the context out of the slot.
#define CPPMICROSERVICES_INITIALIZE_BUNDLE                                                                   \
    extern "C" US_ABI_EXPORT ::cppmicroservices::detail::BundleContextSlot* US_GET_CTX_FUNC(                 \
        US_BUNDLE_NAME)();                                                                                   \
    ::cppmicroservices::detail::BundleContextSlot* US_GET_CTX_FUNC(US_BUNDLE_NAME)() {                       \
        using Slot = ::cppmicroservices::detail::BundleContextSlot;                                          \
        alignas(Slot) static unsigned char storage[sizeof(Slot)];                                            \
        static auto* const slot = ::new (static_cast<void*>(storage)) Slot;                                  \
        return slot;                                                                                         \
    }

#endif
