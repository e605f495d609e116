// A reference to a registered service as one of its interfaces.
#ifndef CPPMICROSERVICES_SERVICEREFERENCE_H
#define CPPMICROSERVICES_SERVICEREFERENCE_H

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReferenceBase.h"

namespace cppmicroservices {

// Names one registration of a service that has the interface `S`. See ServiceReferenceBase for what holds of
// every reference.
template <class S>
class ServiceReference : public ServiceReferenceBase {
public:
    using ServiceType = S;

    // Names no service.
    ServiceReference() = default;
    ServiceReference(ServiceReference const&) = default;
    ServiceReference& operator=(ServiceReference const&) = default;

    // Names the service of `base` as `S`; invalid if the service is not registered under `S`. Once the
    // service is unregistered, only a reference that names `S` already can be copied.
    ServiceReference(ServiceReferenceBase const& base)
        : ServiceReferenceBase(base) {
        BindTo(us_service_interface_iid<S>());
    }

    ServiceReference& operator=(ServiceReferenceBase const& reference) {
        return *this = ServiceReference(reference);
    }

    using ServiceReferenceBase::operator=;
    using ServiceReferenceBase::operator==;
    using ServiceReferenceBase::Hash;

private:
    friend class BundleContext;
    using ServiceReferenceBase::ServiceReferenceBase;
};

// A reference that names no interface.
template <>
class ServiceReference<void> : public ServiceReferenceBase {
public:
    using ServiceType = void;

    ServiceReference() = default;
    ServiceReference(ServiceReference const&) = default;
    ServiceReference& operator=(ServiceReference const&) = default;
    ServiceReference(ServiceReferenceBase const& base)
        : ServiceReferenceBase(base) {}

    using ServiceReferenceBase::operator=;
    using ServiceReferenceBase::operator==;
    using ServiceReferenceBase::Hash;
};

using ServiceReferenceU = ServiceReference<void>;

// The reference that the service object was got with.
// \throws std::runtime_error if `s` was not handed out by a framework
US_Framework_EXPORT ServiceReferenceU ServiceReferenceFromService(std::shared_ptr<void> const& s);

template <typename T, typename U = T>
ServiceReference<U> ServiceReferenceFromService(std::shared_ptr<T> const& s) {
    return ServiceReference<U>(ServiceReferenceFromService(std::static_pointer_cast<void>(s)));
}

} // namespace cppmicroservices

template <class S>
struct std::hash<cppmicroservices::ServiceReference<S>> {
    std::size_t operator()(cppmicroservices::ServiceReference<S> const& reference) const {
        return reference.Hash();
    }
};

#endif
