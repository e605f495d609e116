// The configurations that Configuration Admin holds for the service framework.
#ifndef AGENT_PROGRAM_RUN_FRAMEWORK_CONFIGURATIONS_HPP
#define AGENT_PROGRAM_RUN_FRAMEWORK_CONFIGURATIONS_HPP

#include <map>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>

namespace agent::program {

// Their property maps, as they were published, by configuration ID. Empty without a Configuration Admin
// service.
std::map<std::string, cppmicroservices::AnyMap>
frameworkConfigurations(cppmicroservices::BundleContext context);

} // namespace agent::program

#endif
