// Withdrawal of a published configuration: what the model asks of publication, which alone knows
// ConfigurationAdmin.
#ifndef MODEL_REMOVE_FROM_CONFIGURATION_ADMIN_HPP
#define MODEL_REMOVE_FROM_CONFIGURATION_ADMIN_HPP

#include <string>

namespace agent::spf::frameworksetup {

// Removes the configuration with that ID from ConfigurationAdmin; the framework acts on the removal later.
// Does nothing for an empty ID and without a framework or a ConfigurationAdmin. Throws what CppMicroServices
// throws.
void removeFromConfigurationAdmin(std::string const& configurationID);

} // namespace agent::spf::frameworksetup

#endif
