// Keeps track of the services that match a search.
#ifndef CPPMICROSERVICES_SERVICETRACKER_H
#define CPPMICROSERVICES_SERVICETRACKER_H

#include "cppmicroservices/Bundle.h" // for users, as are the constants
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceTrackerCustomizer.h"
#include "cppmicroservices/detail/ContextWatch.h"
#include "cppmicroservices/detail/TrackedServices.h"

#include <chrono>
#include <exception>
#include <iostream> // for users
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices {

namespace detail {
// The filter expression for services that are registered under the interface.
// \throws std::invalid_argument if it is none, because of special characters in the identifier
US_Framework_EXPORT std::string FilterForInterface(std::string const& interfaceId);
// The filter expression for the one service. \throws std::invalid_argument if `reference` is invalid
US_Framework_EXPORT std::string FilterForService(ServiceReferenceBase const& reference);
// `context`. \throws std::invalid_argument if it is invalid
US_Framework_EXPORT BundleContext const& RequiredContext(BundleContext const& context);
} // namespace detail

// While it is open, holds an object for each registered service that matches: the service object itself, or
// what a customizer makes of it. A tracker can be closed and opened again.
//
// Thread safe. Without a customizer the tracker calls its own AddingService, ModifiedService and
// RemovedService, which a derived class may override; it then must call Close() in its destructor. No lock
// is held during these calls.
template <class S, class T = S>
class ServiceTracker : protected ServiceTrackerCustomizer<S, T> {
public:
    using TrackedParamType = typename ServiceTrackerCustomizer<S, T>::TrackedParamType;
    using TrackingMap = std::unordered_map<ServiceReference<S>, std::shared_ptr<TrackedParamType>>;

    // Tracks the one service. A customizer must outlive the tracker, here and below.
    // \throws std::invalid_argument if `reference` is invalid
    ServiceTracker(BundleContext const& context, ServiceReference<S> const& reference,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr)
        : ServiceTracker(context, {}, detail::FilterForService(reference), customizer) {}

    // Tracks the services that are registered under the interface.
    // \throws std::invalid_argument if "(objectclass=clazz)" is no filter expression
    ServiceTracker(BundleContext const& context, std::string const& clazz,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr)
        : ServiceTracker(context, clazz, detail::FilterForInterface(clazz), customizer) {}

    // Tracks the services that match the filter and have the interface `S`.
    // \throws std::invalid_argument if `context` is invalid
    ServiceTracker(BundleContext const& context, LDAPFilter const& filter,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr)
        : ServiceTracker(detail::RequiredContext(context), {}, filter.ToString(), customizer) {}

    // Tracks the services that are registered under the interface `S`.
    // \throws ServiceException if the interface identifier of `S` is empty
    ServiceTracker(BundleContext const& context, ServiceTrackerCustomizer<S, T>* customizer = nullptr)
        : ServiceTracker(context, detail::RequiredInterfaceId<S>(), customizer) {}

    ServiceTracker(ServiceTracker const&) = delete;
    ServiceTracker& operator=(ServiceTracker const&) = delete;

    // Closes the tracker; exceptions of the customizer are dropped.
    ~ServiceTracker() override {
        try {
            CloseServices();
        } catch (...) {
        }
    }

    // Begins to track: the services that match now are tracked when this returns. Does nothing if the
    // tracker is open. \throws std::runtime_error if the context is no longer valid
    virtual void Open() {
        auto const services = std::make_shared<Services>(customizer_ ? *customizer_ : *this, mutex_);
        {
            std::lock_guard const lock(*mutex_);
            if (services_) {
                return;
            }
            token_ = context_.AddServiceListener(
                [services](ServiceEvent const& event) { services->handle(event); }, filter_);
            services_ = services;
        }
        services->trackFound(context_.GetServiceReferences(interfaceId_, filter_));
    }

    // Stops tracking: RemovedService is called for every tracked service, and calls that other threads are
    // in are waited for. Ends WaitForService. Does nothing if the tracker is closed.
    virtual void Close() { CloseServices(); }

    // Waits until a service is tracked; see below.
    std::shared_ptr<TrackedParamType> WaitForService() {
        return WaitForService(std::chrono::milliseconds::zero());
    }

    // Waits for at most the time, or without end if it is zero, until a service is tracked.
    // \return GetService(); null if the time is over, or the tracker is or has been closed
    // \throws std::invalid_argument if the time is negative
    // \throws std::logic_error if the context is or becomes invalid
    template <class Rep, class Period>
    std::shared_ptr<TrackedParamType> WaitForService(std::chrono::duration<Rep, Period> const& rel_time) {
        if (rel_time < rel_time.zero()) {
            throw std::invalid_argument("negative timeout");
        }
        return WaitUntil(DeadlineAfter(rel_time));
    }

    // The tracked services, in no particular order.
    virtual std::vector<ServiceReference<S>> GetServiceReferences() const {
        std::vector<ServiceReference<S>> references;
        for (auto const& entry : Objects()) {
            references.push_back(entry.first);
        }
        return references;
    }

    // The most preferred of the tracked services. \throws ServiceException if there is none
    virtual ServiceReference<S> GetServiceReference() const {
        auto const best = Best();
        if (!best) {
            throw ServiceException("No service is being tracked");
        }
        return best;
    }

    // The tracked object of the service; null if it is not tracked.
    virtual std::shared_ptr<TrackedParamType> GetService(ServiceReference<S> const& reference) const {
        auto const services = OpenServices();
        return services ? services->find(reference) : nullptr;
    }

    // The tracked objects of all services, in no particular order.
    virtual std::vector<std::shared_ptr<TrackedParamType>> GetServices() const {
        std::vector<std::shared_ptr<TrackedParamType>> objects;
        for (auto const& entry : Objects()) {
            objects.push_back(entry.second);
        }
        return objects;
    }

    // The tracked object of the most preferred service; null if none is tracked.
    virtual std::shared_ptr<TrackedParamType> GetService() const {
        std::lock_guard const lock(*mutex_);
        return services_ ? services_->bestObjectWithLock() : nullptr;
    }

    // Stops tracking the service until it is next modified.
    virtual void Remove(ServiceReference<S> const& reference) {
        if (auto const services = OpenServices()) {
            services->untrack(reference);
        }
    }

    // How many services are tracked.
    virtual int Size() const {
        auto const services = OpenServices();
        return services ? static_cast<int>(services->size()) : 0;
    }

    // How often a service was added, modified or removed since the tracker was opened; -1 if it is closed.
    virtual int GetTrackingCount() const {
        auto const services = OpenServices();
        return services ? services->trackingCount() : -1;
    }

    // Adds the tracked services and their objects to `tracked`. What is there stays as it is.
    virtual void GetTracked(TrackingMap& tracked) const {
        auto objects = Objects();
        tracked.merge(objects);
    }

    virtual bool IsEmpty() const { return Size() == 0; }

protected:
    // Gives the service object, if `S` and `T` are the same.
    std::shared_ptr<TrackedParamType> AddingService(ServiceReference<S> const& reference) override {
        return ServiceTrackerCustomizer<S, T>::TypeTraits::ConvertToTrackedType(
            context_.GetService(reference));
    }

    // Does nothing.
    void ModifiedService(ServiceReference<S> const&, std::shared_ptr<TrackedParamType> const&) override {}

    // Does nothing: the tracker drops its pointer, and that releases the service.
    void RemovedService(ServiceReference<S> const&, std::shared_ptr<TrackedParamType> const&) override {}

private:
    using Services = detail::TrackedServices<S, T>;

    // `interfaceId` may be empty; `filter` must ask for it, too.
    ServiceTracker(BundleContext context, std::string interfaceId, std::string filter,
                   ServiceTrackerCustomizer<S, T>* customizer)
        : context_(std::move(context))
        , interfaceId_(std::move(interfaceId))
        , filter_(std::move(filter))
        , customizer_(customizer) {}

    std::shared_ptr<Services> OpenServices() const {
        std::lock_guard const lock(*mutex_);
        return services_;
    }

    TrackingMap Objects() const {
        auto const services = OpenServices();
        return services ? services->objects() : TrackingMap();
    }

    ServiceReference<S> Best() const {
        auto const services = OpenServices();
        return services ? services->best() : ServiceReference<S>();
    }

    void CloseServices() {
        std::shared_ptr<Services> services;
        ListenerToken token;
        {
            std::lock_guard const lock(*mutex_);
            services.swap(services_);
            token = std::move(token_);
        }
        if (services) {
            RemoveListener(std::move(token));
            services->close();
        }
    }

    void RemoveListener(ListenerToken token) {
        try {
            context_.RemoveListener(std::move(token));
        } catch (std::exception const&) {
            // The bundle has stopped, which removed the listener. If there is no memory to say so, that is
            // another exception.
        }
    }

    // Nothing stands for a wait without end, which a time beyond the clock's range is too.
    template <class Rep, class Period>
    static std::optional<typename Services::Clock::time_point>
    DeadlineAfter(std::chrono::duration<Rep, Period> const& time) {
        using Clock = typename Services::Clock;
        auto const now = Clock::now();
        std::chrono::duration<long double> const left = Clock::time_point::max() - now;
        if (time == time.zero() || std::chrono::duration<long double>(time) >= left) {
            return std::nullopt;
        }
        return now + std::chrono::ceil<typename Clock::duration>(time);
    }

    std::shared_ptr<TrackedParamType>
    WaitUntil(std::optional<typename Services::Clock::time_point> const& deadline) {
        if (!context_) {
            throw std::logic_error("The bundle context cannot be null.");
        }
        auto const services = OpenServices();
        if (!services) {
            return nullptr;
        }
        detail::ContextWatch const watch(context_, [services] { services->wake(); });
        services->wait(deadline, [this] { return !context_; });
        auto object = GetService();
        if (!object && !context_) {
            throw std::logic_error("The bundle context became null.");
        }
        return object;
    }

    BundleContext context_;
    std::string const interfaceId_;
    std::string const filter_;
    ServiceTrackerCustomizer<S, T>* const customizer_;

    // Guards what follows and what the services hold, which may outlive the tracker.
    std::shared_ptr<std::mutex> const mutex_ = std::make_shared<std::mutex>();
    std::shared_ptr<Services> services_; // null while closed
    ListenerToken token_;
};

} // namespace cppmicroservices

#endif
