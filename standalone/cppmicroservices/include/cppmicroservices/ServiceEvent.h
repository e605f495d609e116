// What a service listener is told.
#ifndef CPPMICROSERVICES_SERVICEEVENT_H
#define CPPMICROSERVICES_SERVICEEVENT_H

#include "cppmicroservices/ServiceReference.h"

#include <cstdint>
#include <iosfwd>

namespace cppmicroservices {

class US_Framework_EXPORT ServiceEvent {
public:
    enum Type : uint32_t {
        SERVICE_REGISTERED = 0x00000001,    // the service can be got now
        SERVICE_MODIFIED = 0x00000002,      // the properties have changed
        SERVICE_UNREGISTERING = 0x00000004, // the service can be got until the delivery of this event ends
        // The properties have changed and match the listener's filter no longer; goes only to listeners with
        // a filter.
        SERVICE_MODIFIED_ENDMATCH = 0x00000008
    };

    // An invalid event.
    ServiceEvent();
    ServiceEvent(Type type, ServiceReferenceBase const& reference);
    ServiceEvent(ServiceEvent const& other);
    ServiceEvent& operator=(ServiceEvent const& other);

    explicit operator bool() const;

    // The service that changed; names no interface.
    ServiceReferenceU GetServiceReference() const;
    template <class S>
    ServiceReference<S> GetServiceReference() const {
        return GetServiceReference();
    }

    // 0, which is no type, for an invalid event.
    Type GetType() const;

private:
    Type type_;
    ServiceReferenceU reference_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, ServiceEvent::Type const& type);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, ServiceEvent const& event);

} // namespace cppmicroservices

#endif
