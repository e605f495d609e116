// A service that takes its settings from the configuration of its PID.
#ifndef CPPMICROSERVICES_CM_MANAGEDSERVICE_HPP
#define CPPMICROSERVICES_CM_MANAGEDSERVICE_HPP

#include <cppmicroservices/AnyMap.h>

namespace cppmicroservices::service::cm {

// Registered with its PID as the service property "service.pid" or, where that is absent, "component.name".
class ManagedService {
public:
    virtual ~ManagedService() noexcept = default;

    // Called on a thread of Configuration Admin, never by two of them at once: after registration if the
    // configuration of the PID has been updated before, then after every update, and with an empty map when
    // it is removed. May throw, best a ConfigurationException: the exception is logged and changes nothing
    // else.
    virtual void Updated(AnyMap const& properties) = 0;
};

} // namespace cppmicroservices::service::cm

#endif
