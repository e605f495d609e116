// What a bundle listener is told.
#ifndef CPPMICROSERVICES_BUNDLEEVENT_H
#define CPPMICROSERVICES_BUNDLEEVENT_H

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkExport.h"

#include <cstdint>
#include <iostream>

namespace cppmicroservices {

class US_Framework_EXPORT BundleEvent {
public:
    enum Type : uint32_t {
        BUNDLE_INSTALLED = 0x00000001,
        BUNDLE_STARTED = 0x00000002,
        BUNDLE_STOPPED = 0x00000004,
        BUNDLE_UPDATED = 0x00000008, // reserved; never delivered
        BUNDLE_UNINSTALLED = 0x00000010,
        BUNDLE_RESOLVED = 0x00000020,
        BUNDLE_UNRESOLVED = 0x00000040,
        BUNDLE_STARTING = 0x00000080,       // the activator is about to be called
        BUNDLE_STOPPING = 0x00000100,       // the activator is about to be called
        BUNDLE_LAZY_ACTIVATION = 0x00000200 // reserved; never delivered
    };

    // An invalid event.
    BundleEvent();
    BundleEvent(Type type, Bundle const& bundle);
    BundleEvent(Type type, Bundle const& bundle, Bundle const& origin);

    explicit operator bool() const;

    // The bundle that changed; invalid for an invalid event.
    Bundle GetBundle() const;
    // BUNDLE_UNINSTALLED for an invalid event.
    Type GetType() const;
    // The bundle whose act this was; the bundle itself unless the event was made with another.
    Bundle GetOrigin() const;

    bool operator==(BundleEvent const& evt) const;

private:
    // In the event itself, so that listeners are told of a bundle that stops while there is no memory.
    Type type_ = BUNDLE_UNINSTALLED;
    Bundle bundle_;
    Bundle origin_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, BundleEvent::Type eventType);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, BundleEvent const& event);

} // namespace cppmicroservices

#endif
