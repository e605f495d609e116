// What a framework says about itself: its properties and its headers as a bundle.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_FRAMEWORKPROPERTIES_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_FRAMEWORKPROPERTIES_HPP

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/FrameworkFactory.h"

#include <string>

namespace cppmicroservices::detail {

constexpr char const* defaultStorage = "fwdir";

// The configuration completed by the defaults and by what cannot be configured. Load options that are no int
// are replaced by the default.
// \throws BadAnyCastException if the working directory is no std::string, or the logging no bool.
AnyMap launchingProperties(FrameworkConfiguration const& configuration);

AnyMap systemBundleHeaders();

// A new random identifier in the form of RFC 4122.
std::string makeUuid();

} // namespace cppmicroservices::detail

#endif
