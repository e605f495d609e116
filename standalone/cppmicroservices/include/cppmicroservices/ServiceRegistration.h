// The registration of a service under known interfaces.
#ifndef CPPMICROSERVICES_SERVICEREGISTRATION_H
#define CPPMICROSERVICES_SERVICEREGISTRATION_H

#include "cppmicroservices/ServiceRegistrationBase.h"

namespace cppmicroservices {

// See ServiceRegistrationBase for what holds of every registration.
template <class I1, class... Interfaces>
class ServiceRegistration : public ServiceRegistrationBase {
public:
    // Stands for no registration.
    ServiceRegistration() = default;

    // A reference to the service as `Interface`, which must be among those it was registered under.
    template <class Interface>
    ServiceReference<Interface> GetReference() const {
        static_assert(detail::Contains<Interface, I1, Interfaces...>::value,
                      "The service is not registered under this interface");
        return ServiceRegistrationBase::GetReference(us_service_interface_iid<Interface>());
    }

    // A reference to the service as its first interface.
    ServiceReference<I1> GetReference() const { return GetReference<I1>(); }

    using ServiceRegistrationBase::operator=;

private:
    friend class BundleContext;
    ServiceRegistration(ServiceRegistrationBase const& base)
        : ServiceRegistrationBase(base) {}
};

// A registration whose interfaces are not known at compile time.
template <>
class ServiceRegistration<void> : public ServiceRegistrationBase {
public:
    // Stands for no registration.
    ServiceRegistration() = default;
    ServiceRegistration(ServiceRegistrationBase const& base)
        : ServiceRegistrationBase(base) {}

    using ServiceRegistrationBase::operator=;
};

using ServiceRegistrationU = ServiceRegistration<void>;

} // namespace cppmicroservices

#endif
