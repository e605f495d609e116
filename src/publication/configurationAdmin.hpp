// Access to the framework's ConfigurationAdmin service.
#ifndef PUBLICATION_CONFIGURATION_ADMIN_HPP
#define PUBLICATION_CONFIGURATION_ADMIN_HPP

#include <memory>

#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

namespace agent::spf::frameworksetup {

// The first ConfigurationAdmin service that the filter admits, or null when there is none or no framework. It
// keeps the framework alive.
// Throws std::runtime_error, "The bundle context is no longer valid", when the framework has been stopped.
std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin>
getConfigurationAdmin(cppmicroservices::LDAPFilter const& filter);

} // namespace agent::spf::frameworksetup

#endif
