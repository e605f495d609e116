// Gets objects of one service, several of them if the service's scope is prototype.
#ifndef CPPMICROSERVICES_SERVICEOBJECTS_H
#define CPPMICROSERVICES_SERVICEOBJECTS_H

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/PrototypeServiceFactory.h"
#include "cppmicroservices/ServiceReference.h"

#include <memory>
#include <utility>

namespace cppmicroservices {

class US_Framework_EXPORT ServiceObjectsBase {
public:
    ServiceObjectsBase(ServiceObjectsBase const& other) = delete;
    ServiceObjectsBase& operator=(ServiceObjectsBase const& other) = delete;
    ServiceObjectsBase(ServiceObjectsBase&& other) noexcept;
    ServiceObjectsBase& operator=(ServiceObjectsBase&& other) noexcept;

protected:
    ServiceObjectsBase(std::shared_ptr<detail::ContextRecord> context, ServiceReferenceBase const& reference);
    ~ServiceObjectsBase();

    std::shared_ptr<void> GetService() const;
    InterfaceMapConstPtr GetServiceInterfaceMap() const;
    ServiceReferenceBase GetReference() const;

private:
    std::shared_ptr<detail::ContextRecord> context_;
    ServiceReferenceU reference_;
};

// Made by BundleContext::GetServiceObjects. Move-only; a moved-from object must only be destroyed or
// assigned to. Thread safe, but for moves.
template <class S>
class ServiceObjects : private ServiceObjectsBase {
public:
    ServiceObjects(ServiceObjects const& other) = delete;
    ServiceObjects& operator=(ServiceObjects const& other) = delete;
    ServiceObjects(ServiceObjects&& other)
        : ServiceObjectsBase(std::move(other)) {}
    ServiceObjects& operator=(ServiceObjects&& other) {
        ServiceObjectsBase::operator=(std::move(other));
        return *this;
    }

    // An object of the service: a new one if the service's scope is prototype, otherwise what
    // BundleContext::GetService gives. It is released with the last copy of the pointer. Empty if the
    // service is unregistered or its factory failed. \throws std::runtime_error if the context that this was
    // made with is no longer valid
    std::shared_ptr<S> GetService() const {
        return std::static_pointer_cast<S>(ServiceObjectsBase::GetService());
    }

    ServiceReference<S> GetServiceReference() const { return GetReference(); }

private:
    friend class BundleContext;
    ServiceObjects(std::shared_ptr<detail::ContextRecord> const& context,
                   ServiceReference<S> const& reference)
        : ServiceObjectsBase(context, reference) {}
};

// As above; an object is given with all of its interfaces.
template <>
class US_Framework_EXPORT ServiceObjects<void> : private ServiceObjectsBase {
public:
    ServiceObjects(ServiceObjects const& other) = delete;
    ServiceObjects& operator=(ServiceObjects const& other) = delete;
    ServiceObjects(ServiceObjects&& other) noexcept;
    ServiceObjects& operator=(ServiceObjects&& other) noexcept;

    InterfaceMapConstPtr GetService() const;
    ServiceReferenceU GetServiceReference() const;

private:
    friend class BundleContext;
    ServiceObjects(std::shared_ptr<detail::ContextRecord> const& context, ServiceReferenceU const& reference);
};

} // namespace cppmicroservices

#endif
