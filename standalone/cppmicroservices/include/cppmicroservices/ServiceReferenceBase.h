// The untyped part of a reference to a registered service.
#ifndef CPPMICROSERVICES_SERVICEREFERENCEBASE_H
#define CPPMICROSERVICES_SERVICEREFERENCEBASE_H

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkConfig.h"
#include "cppmicroservices/detail/ServiceLink.h"

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <mutex> // users of this header and of the bundle context have always got it from here
#include <string>
#include <vector>

namespace cppmicroservices {

namespace detail {
template <class S, class T>
class TrackedServices;
} // namespace detail

class Bundle;

// Names one registration of a service, and possibly one of its interfaces. Use ServiceReference<S> instead
// where the interface is known.
//
// A reference outlives its service: it then converts to false and still answers for the properties.
// Thread safe: one object may be read, copied and assigned by several threads at once.
class US_Framework_EXPORT ServiceReferenceBase {
public:
    ServiceReferenceBase(ServiceReferenceBase const& ref);
    ServiceReferenceBase& operator=(ServiceReferenceBase const& reference);
    ServiceReferenceBase& operator=(std::nullptr_t);
    ~ServiceReferenceBase();

    // Whether the service is registered. False for a default-constructed reference.
    explicit operator bool() const;

    // The value of the property, whose name is compared without regard to case; empty if there is none.
    Any GetProperty(std::string const& key) const;

    // The names of all properties, in no particular order. The first form is the older one and replaces
    // `keys`.
    void GetPropertyKeys(std::vector<std::string>& keys) const;
    std::vector<std::string> GetPropertyKeys() const;

    // The bundle that registered the service; invalid once the service is unregistered.
    Bundle GetBundle() const;

    // The bundles that hold an object of the service now.
    std::vector<Bundle> GetUsingBundles() const;

    // The interface that this reference names; empty if none.
    std::string GetInterfaceId() const;

    // Whether the service is registered under `interfaceid` too, so that a reference to that interface can
    // be made. False once the service is unregistered.
    bool IsConvertibleTo(std::string const& interfaceid) const;

    // Ascending order of preference: lower ranking first; of two with the same ranking the later registered
    // first. An invalid reference comes before every other. References to the same registration are equal.
    bool operator<(ServiceReferenceBase const& reference) const;
    bool operator==(ServiceReferenceBase const& reference) const;

private:
    friend struct detail::Access;
    template <class S, class T>
    friend class detail::TrackedServices;
    friend class BundleContext;
    template <class S>
    friend class ServiceReference;
    friend struct ::std::hash<ServiceReferenceBase>;

    ServiceReferenceBase() = default;
    // Names the interface `interfaceId` of `record` if the service has it, no interface otherwise.
    ServiceReferenceBase(std::shared_ptr<detail::ServiceRecord> const& record,
                         std::string const& interfaceId);

    std::size_t Hash() const;
    // Whether the service is registered and its unregistration has not begun.
    bool IsToStay() const;
    // Names the interface instead of the present one; becomes invalid if the service does not have it.
    void BindTo(std::string const& interfaceId);

    detail::ServiceLink link_;
};

// Writes the registering bundle and the properties, or "Invalid service reference".
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, ServiceReferenceBase const& serviceRef);

} // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceReferenceBase> {
    std::size_t operator()(cppmicroservices::ServiceReferenceBase const& reference) const {
        return reference.Hash();
    }
};

#endif
