// The searches of service trackers.
#include "cppmicroservices/ServiceTracker.h"

#include "Access.hpp"
#include "ServiceRecord.hpp"
#include "cppmicroservices/Constants.h"

#include <stdexcept>

namespace cppmicroservices::detail {

std::string FilterForInterface(std::string const& interfaceId) {
    std::string filter = "(" + Constants::OBJECTCLASS + "=";
    for (char const character : interfaceId) {
        if (std::string("\\*()").find(character) != std::string::npos) {
            filter += '\\';
        }
        filter += character;
    }
    return filter + ")";
}

std::string FilterForService(ServiceReferenceBase const& reference) {
    auto const record = Access::target(reference).record;
    if (!record) {
        throw std::invalid_argument("The service reference is invalid");
    }
    return "(" + Constants::SERVICE_ID + "=" + std::to_string(record->id()) + ")";
}

} // namespace cppmicroservices::detail
