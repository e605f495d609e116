// Finds the services of one interface in the service registry and makes them subscribers of the store.
#ifndef CPPMICROSERVICES_CONFIGADMIN_SUBSCRIBERTRACKER_HPP
#define CPPMICROSERVICES_CONFIGADMIN_SUBSCRIBERTRACKER_HPP

#include "ConfigurationStore.hpp"
#include "Subscriber.hpp"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTracker.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace agent::configurationadmin {

// The PID that a service is registered with; empty if it has none.
template <class Service>
std::string pidOf(cppmicroservices::ServiceReference<Service> const& reference) {
    auto const textOf = [&reference](std::string const& key) {
        auto const value = reference.GetProperty(key);
        auto const* text = cppmicroservices::any_cast<std::string>(&value);
        return text ? *text : std::string{};
    };
    auto const pid = textOf(cppmicroservices::Constants::SERVICE_PID);
    return pid.empty() ? textOf("component.name") : pid; // the name that declarative services give
}

// A ManagedService or ManagedServiceFactory without a PID is passed over. The PID is the one of the
// registration; later changes of the service properties do not matter.
template <class Service>
class SubscriberTracker final
    : private cppmicroservices::ServiceTrackerCustomizer<Service, Subscriber<Service>> {
public:
    SubscriberTracker(cppmicroservices::BundleContext const& context,
                      std::shared_ptr<ConfigurationStore> store)
        : context_(context)
        , store_(std::move(store))
        , tracker_(context, this) {}

    // Until the destructor, which also closes.
    void open() { tracker_.Open(); }

private:
    static constexpr bool needsPid = !std::is_same_v<Service, ConfigurationStore::ConfigurationListener>;

    std::shared_ptr<Subscriber<Service>>
    AddingService(cppmicroservices::ServiceReference<Service> const& reference) override {
        auto pid = needsPid ? pidOf(reference) : std::string{};
        if (needsPid && pid.empty()) {
            return nullptr;
        }
        auto service = context_.GetService(reference);
        if (!service) {
            return nullptr;
        }
        auto subscriber = std::make_shared<Subscriber<Service>>(std::move(service), std::move(pid));
        store_->add(subscriber);
        return subscriber;
    }

    void ModifiedService(cppmicroservices::ServiceReference<Service> const&,
                         std::shared_ptr<Subscriber<Service>> const&) override {}

    void RemovedService(cppmicroservices::ServiceReference<Service> const&,
                        std::shared_ptr<Subscriber<Service>> const& subscriber) override {
        store_->remove(subscriber);
    }

    cppmicroservices::BundleContext context_;
    std::shared_ptr<ConfigurationStore> const store_;
    cppmicroservices::ServiceTracker<Service, Subscriber<Service>> tracker_;
};

} // namespace agent::configurationadmin

#endif
