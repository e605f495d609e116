// What is done with the services that a tracker finds.
#ifndef CPPMICROSERVICES_SERVICETRACKERCUSTOMIZER_H
#define CPPMICROSERVICES_SERVICETRACKERCUSTOMIZER_H

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReference.h"

#include <memory>
#include <stdexcept>
#include <type_traits>

namespace cppmicroservices {

namespace detail {

// How the service of a tracker becomes its tracked object if no customizer says otherwise.
template <class S, class T>
struct TrackedTypeTraits {
    using ServiceType = S;
    using TrackedType = T;
    // Trackers of services of any type track the whole service object.
    using TrackedParamType = std::conditional_t<std::is_void_v<T>, InterfaceMap const, T>;
    // What BundleContext::GetService gives for the service.
    using ServiceObject = std::conditional_t<std::is_void_v<S>, InterfaceMap const, S>;

    // \throws std::runtime_error unless `S` and `T` are the same
    static std::shared_ptr<TrackedParamType>
    ConvertToTrackedType(std::shared_ptr<ServiceObject> const& service) {
        if constexpr (std::is_same_v<S, T>) {
            return service;
        } else {
            static_cast<void>(service);
            throw std::runtime_error("A custom ServiceTrackerCustomizer instance is "
                                     "required for custom tracked objects.");
        }
    }
};

} // namespace detail

// Called by a ServiceTracker with no lock held; by several threads at once, but for one service by one at a
// time. An exception thrown for a service event is reported as a FrameworkEvent; otherwise Open(), Close()
// or Remove() throws it.
template <class S, class T = S>
struct ServiceTrackerCustomizer {
    using TypeTraits = detail::TrackedTypeTraits<S, T>;
    using TrackedParamType = typename TypeTraits::TrackedParamType;

    virtual ~ServiceTrackerCustomizer() = default;

    // Gives the object to track for the service; null leaves the service untracked until it is next
    // modified.
    virtual std::shared_ptr<TrackedParamType> AddingService(ServiceReference<S> const& reference) = 0;

    // The properties of a tracked service have changed.
    virtual void ModifiedService(ServiceReference<S> const& reference,
                                 std::shared_ptr<TrackedParamType> const& service) = 0;

    // The service is no longer tracked: it is unregistered, does not match any more, or the tracker is
    // closed.
    virtual void RemovedService(ServiceReference<S> const& reference,
                                std::shared_ptr<TrackedParamType> const& service) = 0;
};

} // namespace cppmicroservices

#endif
