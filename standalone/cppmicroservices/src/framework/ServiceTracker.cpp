// The searches of service trackers.
#include "cppmicroservices/ServiceTracker.h"

#include "Access.hpp"
#include "ServiceRecord.hpp"
#include "cppmicroservices/Constants.h"

#include <stdexcept>

namespace cppmicroservices::detail {

std::string FilterForInterface(std::string const& interfaceId) {
    std::string filter = "(" + Constants::OBJECTCLASS + "=" + interfaceId + ")";
    try {
        LDAPFilter const parsed(filter);
    } catch (std::invalid_argument const& error) {
        throw std::invalid_argument(std::string("unexpected std::invalid_argument exception: ") +
                                    error.what());
    }
    return filter;
}

std::string FilterForService(ServiceReferenceBase const& reference) {
    auto const record = Access::target(reference).record;
    if (!record) {
        throw std::invalid_argument("The service reference is invalid");
    }
    return "(" + Constants::SERVICE_ID + "=" + std::to_string(record->id()) + ")";
}

BundleContext const& RequiredContext(BundleContext const& context) {
    if (!context) {
        throw std::invalid_argument("The bundle context cannot be null.");
    }
    return context;
}

} // namespace cppmicroservices::detail
