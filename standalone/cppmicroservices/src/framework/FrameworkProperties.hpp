// What a framework says about itself: its properties and its headers as a bundle.
#ifndef SPF_MICROSERVICES_FRAMEWORK_FRAMEWORKPROPERTIES_HPP
#define SPF_MICROSERVICES_FRAMEWORK_FRAMEWORKPROPERTIES_HPP

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/FrameworkFactory.h"

#include <dlfcn.h>
#include <string>

namespace cppmicroservices::detail {

constexpr int defaultLibraryLoadOptions = RTLD_LAZY;
constexpr char const* defaultStorage = "fwdir";

/// The configuration completed by the defaults and by what cannot be configured.
AnyMap launchingProperties(FrameworkConfiguration const& configuration);

AnyMap systemBundleHeaders();

/// A new random identifier in the form of RFC 4122.
std::string makeUuid();

} // namespace cppmicroservices::detail

#endif
