// The untyped part of a service's registration, which its registrant keeps.
#ifndef CPPMICROSERVICES_SERVICEREGISTRATIONBASE_H
#define CPPMICROSERVICES_SERVICEREGISTRATIONBASE_H

#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReference.h"

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

namespace cppmicroservices {

// What the registrant of a service changes its properties and unregisters it with. Destroying it leaves the
// service registered, until the registering bundle stops.
//
// The member functions may be called by several threads at once; assigning to one object while others use it
// needs outside synchronisation.
class US_Framework_EXPORT ServiceRegistrationBase {
public:
    ServiceRegistrationBase(ServiceRegistrationBase const& reg);
    ServiceRegistrationBase(ServiceRegistrationBase&& reg) noexcept;
    ServiceRegistrationBase& operator=(ServiceRegistrationBase const& registration);
    ServiceRegistrationBase& operator=(ServiceRegistrationBase&& registration) noexcept;
    ServiceRegistrationBase& operator=(std::nullptr_t);
    ~ServiceRegistrationBase();

    // Whether this object stands for a registration, even one that is unregistered.
    explicit operator bool() const;

    // A reference to the service, as the interface if one is given.
    // \throws std::logic_error if this object is invalid or the service unregistered
    ServiceReferenceBase GetReference(std::string const& interfaceId = std::string()) const;

    // Replaces all properties but those that the framework sets, then delivers SERVICE_MODIFIED, or
    // SERVICE_MODIFIED_ENDMATCH to listeners whose filter matched only before; also while the service is
    // being unregistered, until that has been delivered.
    // \throws std::logic_error if this object is invalid or the service unregistered
    // \throws std::runtime_error if two keys differ in case only
    void SetProperties(ServiceProperties const& properties);
    void SetProperties(ServiceProperties&& properties);

    // Takes the service out of the registry, delivers SERVICE_UNREGISTERING, then releases the objects that
    // bundles still use. Does nothing while another call does this, be it on this thread.
    // \throws std::logic_error if this object is invalid or the service unregistered
    void Unregister();

    // An invalid object comes first; others are ordered as their references.
    bool operator<(ServiceRegistrationBase const& o) const;
    bool operator==(ServiceRegistrationBase const& registration) const;

private:
    friend struct detail::Access;
    friend struct ::std::hash<ServiceRegistrationBase>;
    template <class I1, class... Interfaces>
    friend class ServiceRegistration;

    ServiceRegistrationBase() = default;
    explicit ServiceRegistrationBase(std::shared_ptr<detail::ServiceRecord> record);

    std::shared_ptr<detail::ServiceRecord> record_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, ServiceRegistrationBase const& reg);

} // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceRegistrationBase> {
    std::size_t operator()(cppmicroservices::ServiceRegistrationBase const& registration) const {
        return std::hash<std::shared_ptr<cppmicroservices::detail::ServiceRecord>>()(registration.record_);
    }
};

#endif
