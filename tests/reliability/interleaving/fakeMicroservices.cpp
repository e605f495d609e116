// The framework's part of the provider's handles, on a FakeFramework: defined in the program, these take the
// place of the provider's own, but not in calls from inside the provider, which must not meet the fake
// records.
#include <stdexcept>
#include <utility>

#include <cppmicroservices/ServiceObjects.h>

#include "fakeRecords.hpp"

namespace cppmicroservices {

using detail::Access;
using detail::ServiceRecord;

BundleContext Bundle::GetBundleContext() const {
    return Access::makeContext(Access::frameworkOf(*this));
}

void Bundle::Start() {
    Access::frameworkOf(*this).startBundle();
}

Framework::Framework(Bundle bundle)
    : Bundle(std::move(bundle)) {}

std::shared_ptr<detail::ContextRecord> const& BundleContext::ValidRecord() const {
    return record_;
}

ServiceRegistrationU BundleContext::RegisterService(InterfaceMapConstPtr const& service,
                                                    ServiceProperties const&) {
    return Access::makeRegistration(record_->framework.registerService(service));
}

std::shared_ptr<detail::ServiceRecords const> BundleContext::FindServices(std::string const& interfaceID,
                                                                          std::string const&) const {
    return std::make_shared<detail::ServiceRecords>(record_->framework.find(interfaceID));
}

void ServiceRegistrationBase::Unregister() {
    if (!record_) {
        throw std::logic_error("the registration is empty");
    }
    record_->framework.unregister(*record_);
}

ServiceReferenceBase::ServiceReferenceBase(std::shared_ptr<ServiceRecord> const& record,
                                           std::string const& interfaceID)
    : link_({record, &record->objects->find(interfaceID)->first}) {}

ServiceReferenceBase::operator bool() const {
    return link_.load().record != nullptr;
}

void ServiceReferenceBase::BindTo(std::string const&) {}

ServiceObjectsBase::ServiceObjectsBase(std::shared_ptr<detail::ContextRecord> context,
                                       ServiceReferenceBase const& reference)
    : context_(std::move(context))
    , reference_(reference) {
    if (!reference) {
        throw std::invalid_argument("the service reference is empty");
    }
}

std::shared_ptr<void> ServiceObjectsBase::GetService() const {
    auto const target = Access::targetOf(reference_);
    return target.record->isRegistered ? target.record->objects->at(*target.interfaceId) : nullptr;
}

} // namespace cppmicroservices
