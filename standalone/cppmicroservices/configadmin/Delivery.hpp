// Tells services of a change of a configuration. What a service throws is logged and concerns no other.
#ifndef CPPMICROSERVICES_CONFIGADMIN_DELIVERY_HPP
#define CPPMICROSERVICES_CONFIGADMIN_DELIVERY_HPP

#include "AdminReference.hpp"
#include "Subscriber.hpp"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/cm/ConfigurationListener.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include <memory>
#include <string>

namespace agent::configurationadmin {

// Stands between a factory's PID and the name of an instance.
constexpr char factorySeparator = '~';

// One step in the life of a configuration. The properties are those that it then had; none if it was removed.
struct Change {
    cppmicroservices::service::cm::ConfigurationEventType type;
    std::string pid;
    std::shared_ptr<cppmicroservices::AnyMap const> properties;
};

// Those who were registered when the change was made.
struct Recipients {
    Subscribers<cppmicroservices::service::cm::ConfigurationListener> listeners;
    Subscribers<cppmicroservices::service::cm::ManagedService> managedServices;
    Subscribers<cppmicroservices::service::cm::ManagedServiceFactory> factories;
};

// Tells the listeners first, then the services. Call without a lock.
void deliver(Change const& change, Recipients const& recipients, AdminReference& reference) noexcept;

// Tells one service of the configuration that it finds.
void deliver(Change const& change,
             Subscriber<cppmicroservices::service::cm::ManagedService> const& subscriber) noexcept;
void deliver(Change const& change,
             Subscriber<cppmicroservices::service::cm::ManagedServiceFactory> const& subscriber) noexcept;

} // namespace agent::configurationadmin

#endif
