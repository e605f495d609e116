// References to services, as the public interface shows them.
#include "cppmicroservices/ServiceReference.h"

#include "Access.hpp"
#include "BundleRecord.hpp"
#include "FrameworkCore.hpp"
#include "ServiceReferences.hpp"
#include "cppmicroservices/LDAPFilter.h"

#include <ostream>
#include <utility>

namespace cppmicroservices {

ServiceReferenceBase::ServiceReferenceBase(ServiceReferenceBase const& ref) = default;
ServiceReferenceBase& ServiceReferenceBase::operator=(ServiceReferenceBase const& reference) = default;
ServiceReferenceBase::~ServiceReferenceBase() = default;

ServiceReferenceBase::ServiceReferenceBase(std::shared_ptr<detail::ServiceRecord> const& record,
                                           std::string const& interfaceId)
    : link_({record, record->findInterface(interfaceId)}) {}

ServiceReferenceBase& ServiceReferenceBase::operator=(std::nullptr_t) {
    link_.store({});
    return *this;
}

ServiceReferenceBase::operator bool() const {
    auto const target = link_.load();
    return target.record && target.record->present();
}

Any ServiceReferenceBase::GetProperty(std::string const& key) const {
    auto const target = link_.load();
    if (!target.record) {
        return {};
    }
    auto const properties = target.record->properties();
    auto const found = properties->find(key);
    return found == properties->end() ? Any() : found->second;
}

void ServiceReferenceBase::GetPropertyKeys(std::vector<std::string>& keys) const {
    keys = GetPropertyKeys();
}

std::vector<std::string> ServiceReferenceBase::GetPropertyKeys() const {
    std::vector<std::string> keys;
    if (auto const target = link_.load(); target.record) {
        auto const properties = target.record->properties();
        for (auto const& entry : *properties) {
            keys.push_back(entry.first);
        }
    }
    return keys;
}

Bundle ServiceReferenceBase::GetBundle() const {
    auto const target = link_.load();
    if (!target.record || !target.record->present()) {
        return {};
    }
    auto const core = target.record->core();
    return core ? detail::Access::bundle(target.record->registrant(), *core) : Bundle();
}

std::vector<Bundle> ServiceReferenceBase::GetUsingBundles() const {
    auto const target = link_.load();
    auto const core = target.record ? target.record->core() : nullptr;
    return core ? detail::Access::bundles(target.record->uses().users(), *core) : std::vector<Bundle>();
}

std::string ServiceReferenceBase::GetInterfaceId() const {
    auto const target = link_.load();
    return target.interfaceId ? *target.interfaceId : std::string();
}

bool ServiceReferenceBase::IsConvertibleTo(std::string const& interfaceid) const {
    auto const target = link_.load();
    return target.record && target.record->present() && target.record->findInterface(interfaceid) != nullptr;
}

bool ServiceReferenceBase::IsToStay() const {
    auto const target = link_.load();
    return target.record && target.record->registered();
}

void ServiceReferenceBase::BindTo(std::string const& interfaceId) {
    auto target = link_.load();
    if (!target.record || (target.interfaceId && *target.interfaceId == interfaceId)) {
        return;
    }
    target.interfaceId = target.record->present() ? target.record->findInterface(interfaceId) : nullptr;
    link_.store(target.interfaceId ? std::move(target) : detail::ServiceLink::Target());
}

bool ServiceReferenceBase::operator<(ServiceReferenceBase const& reference) const {
    auto const left = link_.load().record;
    auto const right = reference.link_.load().record;
    if (!left || !right) {
        return !left && right;
    }
    return left != right && right->rank() < left->rank();
}

bool ServiceReferenceBase::operator==(ServiceReferenceBase const& reference) const {
    return link_.load().record == reference.link_.load().record;
}

std::size_t ServiceReferenceBase::Hash() const {
    return std::hash<std::shared_ptr<detail::ServiceRecord>>()(link_.load().record);
}

bool LDAPFilter::Match(ServiceReferenceBase const& reference) const {
    auto const record = detail::Access::target(reference).record;
    return record && record->matches(*this);
}

ServiceReferenceU ServiceReferenceFromService(std::shared_ptr<void> const& s) {
    return detail::referenceHeldBy(s);
}

std::ostream& operator<<(std::ostream& os, ServiceReferenceBase const& serviceRef) {
    auto const bundle = serviceRef.GetBundle();
    if (!bundle) {
        return os << "Invalid service reference";
    }
    os << "Reference for service object registered from " << bundle.GetSymbolicName() << ' '
       << bundle.GetVersion() << " (";
    char const* separator = "";
    for (auto const& key : serviceRef.GetPropertyKeys()) {
        os << separator << key << '=' << serviceRef.GetProperty(key).ToStringNoExcept();
        separator = ",";
    }
    return os << ')';
}

namespace detail {

std::vector<ServiceReferenceU> referencesTo(std::vector<std::shared_ptr<ServiceRecord>> const& records,
                                            std::string const& interfaceId) {
    std::vector<ServiceReferenceU> references;
    references.reserve(records.size());
    for (auto const& record : records) {
        references.emplace_back(Access::reference(record, interfaceId));
    }
    return references;
}

} // namespace detail
} // namespace cppmicroservices
