// Tells services of a change, one after the other, and logs what they throw.
#include "Delivery.hpp"

#include <exception>
#include <iostream>
#include <new>
#include <sstream>

namespace agent::configurationadmin {

namespace {

using cppmicroservices::service::cm::ConfigurationEvent;
using cppmicroservices::service::cm::ConfigurationEventType;
using cppmicroservices::service::cm::ConfigurationListener;
using cppmicroservices::service::cm::ManagedService;
using cppmicroservices::service::cm::ManagedServiceFactory;

// Appends what was thrown and everything nested in it.
void describe(std::ostream& output, std::exception const& error) {
    output << error.what();
    try {
        std::rethrow_if_nested(error);
    } catch (std::exception const& nested) {
        output << ": ";
        describe(output, nested);
    } catch (...) {
        output << ": an exception of unknown type";
    }
}

// Call in an exception handler.
std::string lineOnCurrentException(char const* operation, std::string const& pid) {
    std::ostringstream line;
    line << "Configuration Admin: " << operation << " threw for the configuration '" << pid << "': ";
    try {
        throw;
    } catch (std::exception const& error) {
        describe(line, error);
    } catch (...) {
        line << "an exception of unknown type";
    }
    line << '\n';
    return line.str();
}

// One write per line, so that lines of different threads do not mix. Call in an exception handler.
void logCurrentException(char const* operation, std::string const& pid) {
    try {
        std::clog << lineOnCurrentException(operation, pid) << std::flush;
    } catch (std::bad_alloc const&) {
        // There is no memory for the line.
    }
}

template <class Service, class Call>
void tell(Subscriber<Service> const& subscriber, char const* operation, Change const& change,
          Call const& call) {
    try {
        if (auto const service = subscriber.service()) {
            call(*service);
        }
    } catch (...) {
        logCurrentException(operation, change.pid);
    }
}

void tellListeners(Change const& change, Subscribers<ConfigurationListener> const& listeners,
                   AdminReference& reference) {
    if (!listeners) {
        return;
    }
    // By the PID's form: one that begins with the separator names no factory, yet is told of as if it did.
    bool const ofFactory = change.pid.find(factorySeparator) != std::string::npos;
    for (auto const& listener : *listeners) {
        tell(*listener, "ConfigurationListener::configurationEvent()", change,
             [&](ConfigurationListener& service) { // no memory for its event concerns no other
                 service.configurationEvent({reference.get(), change.type,
                                             ofFactory ? change.pid : std::string{},
                                             ofFactory ? std::string{} : change.pid});
             });
    }
}

} // namespace

void deliver(Change const& change, Subscriber<ManagedService> const& subscriber) noexcept {
    tell(subscriber, "ManagedService::Updated()", change,
         [&change](ManagedService& service) { service.Updated(*change.properties); });
}

void deliver(Change const& change, Subscriber<ManagedServiceFactory> const& subscriber) noexcept {
    if (change.type == ConfigurationEventType::CM_DELETED) {
        tell(subscriber, "ManagedServiceFactory::Removed()", change,
             [&change](ManagedServiceFactory& service) { service.Removed(change.pid); });
    } else {
        tell(subscriber, "ManagedServiceFactory::Updated()", change,
             [&change](ManagedServiceFactory& service) { service.Updated(change.pid, *change.properties); });
    }
}

void deliver(Change const& change, Recipients const& recipients, AdminReference& reference) noexcept {
    tellListeners(change, recipients.listeners, reference);
    if (recipients.managedServices) {
        for (auto const& subscriber : *recipients.managedServices) {
            deliver(change, *subscriber);
        }
    }
    if (recipients.factories) {
        for (auto const& subscriber : *recipients.factories) {
            deliver(change, *subscriber);
        }
    }
}

} // namespace agent::configurationadmin
