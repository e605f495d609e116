// Gets objects of one service, several of them if the service's scope is prototype.
#include "cppmicroservices/ServiceObjects.h"

#include "Access.hpp"
#include "ContextRecord.hpp"
#include "ServiceRecord.hpp"
#include "ServiceUses.hpp"

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

std::shared_ptr<detail::ServiceUse> acquire(detail::ContextRecord const& context,
                                            ServiceReferenceBase const& reference) {
    context.requireValid();
    auto const record = detail::Access::target(reference).record;
    return record->scope() == detail::ServiceScope::Prototype ? record->uses().acquirePrototype(context)
                                                              : record->uses().acquire(context);
}

} // namespace

ServiceObjectsBase::ServiceObjectsBase(std::shared_ptr<detail::ContextRecord> context,
                                       ServiceReferenceBase const& reference)
    : context_(std::move(context))
    , reference_(reference) {
    if (!reference) {
        throw std::invalid_argument("The service reference is invalid");
    }
}

ServiceObjectsBase::ServiceObjectsBase(ServiceObjectsBase&& other) noexcept = default;
ServiceObjectsBase& ServiceObjectsBase::operator=(ServiceObjectsBase&& other) noexcept = default;
ServiceObjectsBase::~ServiceObjectsBase() = default;

std::shared_ptr<void> ServiceObjectsBase::GetService() const {
    auto const use = acquire(*context_, reference_);
    return use ? detail::holdObject(use, detail::Access::target(reference_).interfaceId) : nullptr;
}

InterfaceMapConstPtr ServiceObjectsBase::GetServiceInterfaceMap() const {
    auto const use = acquire(*context_, reference_);
    return use ? detail::holdInterfaceMap(use) : nullptr;
}

ServiceReferenceBase ServiceObjectsBase::GetReference() const {
    return reference_;
}

ServiceObjects<void>::ServiceObjects(std::shared_ptr<detail::ContextRecord> const& context,
                                     ServiceReferenceU const& reference)
    : ServiceObjectsBase(context, reference) {}

ServiceObjects<void>::ServiceObjects(ServiceObjects&& other) noexcept = default;
ServiceObjects<void>& ServiceObjects<void>::operator=(ServiceObjects&& other) noexcept = default;

InterfaceMapConstPtr ServiceObjects<void>::GetService() const {
    return GetServiceInterfaceMap();
}

ServiceReferenceU ServiceObjects<void>::GetServiceReference() const {
    return GetReference();
}

} // namespace cppmicroservices
