// Registrations of services, as the public interface shows them.
#include "cppmicroservices/ServiceRegistration.h"

#include "Access.hpp"
#include "FrameworkCore.hpp"
#include "ServiceRecord.hpp"

#include <ostream>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

detail::ServiceRecord& required(std::shared_ptr<detail::ServiceRecord> const& record) {
    if (!record) {
        throw std::logic_error("ServiceRegistrationBase object invalid");
    }
    return *record;
}

} // namespace

ServiceRegistrationBase::ServiceRegistrationBase(ServiceRegistrationBase const& reg) = default;
ServiceRegistrationBase::ServiceRegistrationBase(ServiceRegistrationBase&& reg) noexcept = default;
ServiceRegistrationBase&
ServiceRegistrationBase::operator=(ServiceRegistrationBase const& registration) = default;
ServiceRegistrationBase&
ServiceRegistrationBase::operator=(ServiceRegistrationBase&& registration) noexcept = default;
ServiceRegistrationBase::~ServiceRegistrationBase() = default;

ServiceRegistrationBase::ServiceRegistrationBase(std::shared_ptr<detail::ServiceRecord> record)
    : record_(std::move(record)) {}

ServiceRegistrationBase& ServiceRegistrationBase::operator=(std::nullptr_t) {
    record_.reset();
    return *this;
}

ServiceRegistrationBase::operator bool() const {
    return record_ != nullptr;
}

ServiceReferenceBase ServiceRegistrationBase::GetReference(std::string const& interfaceId) const {
    required(record_).requireAvailable();
    return detail::Access::reference(record_, interfaceId);
}

void ServiceRegistrationBase::SetProperties(ServiceProperties const& properties) {
    auto& record = required(record_);
    record.requiredCore()->services().setProperties(record, properties);
}

void ServiceRegistrationBase::SetProperties(ServiceProperties&& properties) {
    SetProperties(std::as_const(properties));
}

void ServiceRegistrationBase::Unregister() {
    auto& record = required(record_);
    record.requiredCore()->services().unregister(record);
}

bool ServiceRegistrationBase::operator<(ServiceRegistrationBase const& o) const {
    if (!record_ || !o.record_) {
        return !record_ && o.record_;
    }
    return record_ != o.record_ && o.record_->rank() < record_->rank();
}

bool ServiceRegistrationBase::operator==(ServiceRegistrationBase const& registration) const {
    return record_ == registration.record_;
}

std::ostream& operator<<(std::ostream& os, ServiceRegistrationBase const&) {
    return os << "cppmicroservices::ServiceRegistrationBase object";
}

} // namespace cppmicroservices
