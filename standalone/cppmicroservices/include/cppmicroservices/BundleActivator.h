// What a bundle does when it is started and stopped.
#ifndef CPPMICROSERVICES_BUNDLEACTIVATOR_H
#define CPPMICROSERVICES_BUNDLEACTIVATOR_H

#ifndef US_BUNDLE_NAME
#error "US_BUNDLE_NAME must be defined as the bundle's symbolic name; spf_add_bundle() does so"
#endif

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/GlobalConfig.h"

namespace cppmicroservices {

// A bundle whose manifest has "bundle.activator": true exports one implementation with
// CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR. Each start of the bundle makes an object of it, which lives
// until the bundle has stopped. The two functions are never called at the same time, and with no lock of the
// framework held.
struct BundleActivator {
    virtual ~BundleActivator() = default;

    // If this throws, the bundle is not started.
    virtual void Start(BundleContext context) = 0;

    // Called only after a Start that did not throw. If this throws, the bundle is stopped all the same.
    virtual void Stop(BundleContext context) = 0;
};

} // namespace cppmicroservices

// NOLINTBEGIN(bugprone-macro-parentheses): a type has none
// Exports the default-constructible class as the bundle's activator. Stands outside every namespace.
#define CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(_activator_type)                                            \
    extern "C" US_ABI_EXPORT ::cppmicroservices::BundleActivator* US_CREATE_ACTIVATOR_FUNC(                  \
        US_BUNDLE_NAME)();                                                                                   \
    extern "C" US_ABI_EXPORT void US_DESTROY_ACTIVATOR_FUNC(US_BUNDLE_NAME)(                                 \
        ::cppmicroservices::BundleActivator*);                                                               \
    ::cppmicroservices::BundleActivator* US_CREATE_ACTIVATOR_FUNC(US_BUNDLE_NAME)() {                        \
        return new _activator_type;                                                                          \
    }                                                                                                        \
    void US_DESTROY_ACTIVATOR_FUNC(US_BUNDLE_NAME)(::cppmicroservices::BundleActivator * bundleActivator) {  \
        delete bundleActivator;                                                                              \
    }
// NOLINTEND(bugprone-macro-parentheses)

#endif
