// A service of which each caller can get as many objects as it wants.
#ifndef CPPMICROSERVICES_PROTOTYPESERVICEFACTORY_H
#define CPPMICROSERVICES_PROTOTYPESERVICEFACTORY_H

#include "cppmicroservices/ServiceFactory.h"

namespace cppmicroservices {

// A factory that is asked anew by each ServiceObjects::GetService; BundleContext::GetService treats it as a
// factory with one object per bundle. Several threads may call it at once.
struct PrototypeServiceFactory : public ServiceFactory {
    InterfaceMapConstPtr GetService(Bundle const& bundle,
                                    ServiceRegistrationBase const& registration) override = 0;
    void UngetService(Bundle const& bundle, ServiceRegistrationBase const& registration,
                      InterfaceMapConstPtr const& service) override = 0;
};

} // namespace cppmicroservices

#endif
