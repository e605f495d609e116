// A service that keeps one instance of something for each configuration of its factory PID.
#ifndef CPPMICROSERVICES_CM_MANAGEDSERVICEFACTORY_HPP
#define CPPMICROSERVICES_CM_MANAGEDSERVICEFACTORY_HPP

#include <cppmicroservices/AnyMap.h>

#include <string>

namespace cppmicroservices::service::cm {

// Registered with its factory PID as the service property "service.pid" or, where that is absent,
// "component.name".
//
// Both members are called on threads of Configuration Admin: one after the other for one PID, possibly
// concurrently for different PIDs. They may throw, best a ConfigurationException: the exception is logged and
// changes nothing else.
class ManagedServiceFactory {
public:
    virtual ~ManagedServiceFactory() noexcept = default;

    // Called after registration for each configuration of the factory that has been updated before, then
    // after every update. `pid` is "<factory PID>~<instance name>"; `properties` are those of the update,
    // with nothing added.
    virtual void Updated(std::string const& pid, AnyMap const& properties) = 0;

    // Called after the removal of a configuration that has been updated at least once.
    virtual void Removed(std::string const& pid) = 0;
};

} // namespace cppmicroservices::service::cm

#endif
