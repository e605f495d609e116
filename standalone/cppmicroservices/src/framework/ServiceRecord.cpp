// A registered service: its identity, its properties, its state, and who uses it.
#include "ServiceRecord.hpp"

#include "../values/KeyText.hpp"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/PrototypeServiceFactory.h"

#include <algorithm>
#include <stdexcept>

namespace cppmicroservices::detail {

namespace {

InterfaceMap const& checked(InterfaceMapConstPtr const& service) {
    if (!service || service->empty()) {
        throw std::invalid_argument("Can't register empty InterfaceMap as a service");
    }
    bool const hasFactory = service->count(serviceFactoryKey) > 0;
    for (auto const& [interfaceId, object] : *service) {
        if (!object && !hasFactory) {
            throw std::invalid_argument("Can't register as null class");
        }
    }
    return *service;
}

std::shared_ptr<ServiceFactory> factoryOf(InterfaceMap const& service) {
    auto const found = service.find(serviceFactoryKey);
    return found == service.end() ? nullptr : std::static_pointer_cast<ServiceFactory>(found->second);
}

ServiceScope scopeOf(ServiceFactory const* factory) {
    if (!factory) {
        return ServiceScope::Singleton;
    }
    return dynamic_cast<PrototypeServiceFactory const*>(factory) ? ServiceScope::Prototype
                                                                 : ServiceScope::Bundle;
}

std::string const& nameOf(ServiceScope scope) {
    switch (scope) {
    case ServiceScope::Bundle:
        return Constants::SCOPE_BUNDLE;
    case ServiceScope::Prototype:
        return Constants::SCOPE_PROTOTYPE;
    default:
        return Constants::SCOPE_SINGLETON;
    }
}

std::vector<std::string> interfacesOf(InterfaceMap const& service) {
    std::vector<std::string> interfaces;
    for (auto const& entry : service) {
        if (entry.first != serviceFactoryKey) {
            interfaces.push_back(entry.first);
        }
    }
    std::sort(interfaces.begin(), interfaces.end());
    return interfaces;
}

[[noreturn]] void throwUnregistered() {
    throw std::logic_error("Service is unregistered");
}

} // namespace

ServiceRecord::ServiceRecord(long id, std::shared_ptr<BundleRecord> registrant,
                             std::weak_ptr<FrameworkCore> core, InterfaceMapConstPtr service,
                             ServiceProperties const& properties)
    : id_(id)
    , registrant_(std::move(registrant))
    , core_(std::move(core))
    , scope_(scopeOf(factoryOf(checked(service)).get()))
    , interfaces_(interfacesOf(*service))
    , service_(std::move(service))
    , properties_(complete(properties))
    , uses_(*this) {
    ranking_.store(rankingOf(*properties_), std::memory_order_relaxed);
}

std::shared_ptr<FrameworkCore> ServiceRecord::requiredCore() const {
    auto core = present() ? core_.lock() : nullptr;
    if (!core) {
        throwUnregistered();
    }
    return core;
}

std::string const* ServiceRecord::findInterface(std::string const& interfaceId) const {
    auto const found = std::find(interfaces_.begin(), interfaces_.end(), interfaceId);
    return found == interfaces_.end() ? nullptr : &*found;
}

InterfaceMapConstPtr ServiceRecord::service() const {
    std::lock_guard const lock(mutex_);
    return service_;
}

std::shared_ptr<ServiceFactory> ServiceRecord::factory() const {
    auto const service = this->service();
    return service ? factoryOf(*service) : nullptr;
}

void ServiceRecord::dropService() {
    InterfaceMapConstPtr service; // declared before the lock, so that the service is destroyed without it
    std::lock_guard const lock(mutex_);
    service.swap(service_);
}

ServiceRecord::Properties ServiceRecord::properties() const {
    std::lock_guard const lock(mutex_);
    return properties_;
}

bool ServiceRecord::matches(LDAPFilter const& filter) const {
    std::lock_guard const lock(mutex_);
    return filter.Match(*properties_);
}

namespace {

// `key` is one that there is already: in another letter case, or among the framework's own.
[[noreturn]] void throwCaseVariants(ServiceProperties const& properties, std::string const& key) {
    auto const* const variant = findCaseVariant(properties);
    throw std::runtime_error("Properties contain case variants of the key: " + (variant ? *variant : key));
}

} // namespace

// The properties given come first: those are what filters ask for that have to look at them.
ServiceRecord::Properties ServiceRecord::complete(ServiceProperties const& properties) const {
    auto complete = std::make_shared<AnyMap>(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    auto const add = [&](std::string const& key, auto const& value) {
        if (!complete->emplace(key, value).second) {
            throwCaseVariants(properties, key);
        }
    };
    for (auto const& [key, value] : properties) {
        if (key != Constants::OBJECTCLASS && key != Constants::SERVICE_ID &&
            key != Constants::SERVICE_SCOPE) {
            add(key, value);
        }
    }
    add(Constants::OBJECTCLASS, interfaces_);
    add(Constants::SERVICE_ID, id_);
    add(Constants::SERVICE_SCOPE, nameOf(scope_));
    return complete;
}

void ServiceRecord::requireAvailable() const {
    if (!available()) {
        throwUnregistered();
    }
}

int rankingOf(AnyMap const& properties) {
    auto const found = properties.find(Constants::SERVICE_RANKING);
    if (found == properties.end()) {
        return 0;
    }
    int const* const ranking = any_cast<int>(&found->second);
    return ranking ? *ranking : 0;
}

} // namespace cppmicroservices::detail
