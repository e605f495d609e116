// Makes frameworks.
#ifndef CPPMICROSERVICES_FRAMEWORKFACTORY_H
#define CPPMICROSERVICES_FRAMEWORKFACTORY_H

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkConfig.h"

#include <iosfwd>
#include <iostream>
#include <map>
#include <string>
#include <unordered_map>

namespace cppmicroservices {

class Framework;

using FrameworkConfiguration = std::unordered_map<std::string, Any>;

// Thread safe. Frameworks of one process are independent of each other.
class US_Framework_EXPORT FrameworkFactory {
public:
    // \param configuration launching properties (see Constants) and whatever else BundleContext::GetProperty
    // is to give
    // \param logger takes diagnostic text when the property FRAMEWORK_LOG is true; std::clog if null. It
    // must outlive the framework.
    Framework NewFramework(FrameworkConfiguration const& configuration, std::ostream* logger = nullptr);
    Framework NewFramework();
    US_DEPRECATED Framework NewFramework(std::map<std::string, Any> const& configuration,
                                         std::ostream* logger = nullptr);
};

} // namespace cppmicroservices

#endif
