// A service that gives each bundle an object of its own.
#ifndef CPPMICROSERVICES_SERVICEFACTORY_H
#define CPPMICROSERVICES_SERVICEFACTORY_H

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceRegistration.h"

namespace cppmicroservices {

class Bundle;

// Registered in place of a service object. Several threads may call a factory at once, but not GetService
// for the same bundle. No lock of the framework is held during the calls.
class ServiceFactory {
public:
    virtual ~ServiceFactory() = default;

    // Makes the object for `bundle`, called when the bundle gets the service while it holds none of its
    // objects. The result must have every interface that the service is registered under. If it is empty,
    // lacks one, or this function throws or asks for its own service on behalf of the same bundle, the
    // bundle gets nothing and a FrameworkEvent of type FRAMEWORK_ERROR with a ServiceException is delivered.
    virtual InterfaceMapConstPtr GetService(Bundle const& bundle,
                                            ServiceRegistrationBase const& registration) = 0;

    // Takes back what GetService made, when the bundle has released it, has stopped, or the service is
    // unregistered. An exception is reported as a FrameworkEvent of type FRAMEWORK_ERROR.
    virtual void UngetService(Bundle const& bundle, ServiceRegistrationBase const& registration,
                              InterfaceMapConstPtr const& service) = 0;
};

} // namespace cppmicroservices

#endif
