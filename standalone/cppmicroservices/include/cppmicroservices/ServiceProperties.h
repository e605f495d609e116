// The properties that a service is registered with.
#ifndef CPPMICROSERVICES_SERVICEPROPERTIES_H
#define CPPMICROSERVICES_SERVICEPROPERTIES_H

#include "cppmicroservices/AnyMap.h"

#include <string>
#include <unordered_map>

namespace cppmicroservices {

// Keys are unique without regard to case once registered; see BundleContext::RegisterService.
using ServiceProperties = std::unordered_map<std::string, Any>;

} // namespace cppmicroservices

#endif
