// Public references to registered services.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_SERVICEREFERENCES_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_SERVICEREFERENCES_HPP

#include "ServiceRecord.hpp"
#include "cppmicroservices/ServiceReference.h"

#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

// References in the same order, to the interface if one is given.
std::vector<ServiceReferenceU> referencesTo(std::vector<std::shared_ptr<ServiceRecord>> const& records,
                                            std::string const& interfaceId = std::string());

} // namespace cppmicroservices::detail

#endif
