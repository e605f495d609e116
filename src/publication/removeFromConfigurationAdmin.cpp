// Withdrawal of a published configuration.
#include "model/removeFromConfigurationAdmin.hpp"

#include <cppmicroservices/cm/Configuration.hpp>

#include "agent/host/DiagnosticLogger.hpp"
#include "configurationKeys.hpp"
#include "logging/log.hpp"
#include "publication/configurationAdmin.hpp"

namespace agent::spf::frameworksetup {

void removeFromConfigurationAdmin(std::string const& configurationID) {
    if (configurationID.empty()) {
        return;
    }
    auto const configurationAdmin = getConfigurationAdmin({});
    if (!configurationAdmin) {
        return;
    }
    log(host::Severity::Progress,
        [&](std::ostream& stream) { stream << "About to remove spf configuration for " << configurationID; });
    // The future is dropped: whoever must know when the framework is done waits for the services to be
    // unpublished.
    configurationAdmin->GetFactoryConfiguration(configurationFactoryPID, configurationID)->Remove();
}

} // namespace agent::spf::frameworksetup
