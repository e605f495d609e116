// Publication of a configuration, and its withdrawal at the end of its life.
#include "model/SPFConfigurationImpl.hpp"

#include <cstring>
#include <limits>
#include <utility>

#include <cppmicroservices/cm/Configuration.hpp>

#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"
#include "configurationKeys.hpp"
#include "model/removeFromConfigurationAdmin.hpp"
#include "publication/configurationAdmin.hpp"
#include "publication/encodeConfiguration.hpp"
#include "publication/installAndStartMicroServices.hpp"

namespace agent::spf::frameworksetup {

namespace {

// One more; after the highest count comes the lowest, as for the unsigned count that events carry.
std::int32_t next(std::int32_t modificationCount) {
    using Limits = std::numeric_limits<std::int32_t>;
    return modificationCount == Limits::max() ? Limits::min() : modificationCount + 1;
}

// The instance name in a PID of the form "<factory PID>~<instance name>"; empty when the PID is no longer
// than the part before the name.
std::string instanceNameOf(std::string const& pid) {
    auto const prefixLength = std::strlen(configurationFactoryPID) + std::strlen(instanceSeparator);
    return pid.size() > prefixLength ? pid.substr(prefixLength) : std::string();
}

} // namespace

// To move one of Boost's containers allocates another, swapping does not.
SPFConfigurationImpl::SPFConfigurationImpl(std::string&& configurationID,
                                           std::int32_t previousModificationCount,
                                           ServiceInterfaces&& interfaces, ServicePublishers&& publishers,
                                           ServiceMappings&& mappings)
    : modificationCount(next(previousModificationCount)) {
    name.swap(configurationID);
    serviceInterfaces.swap(interfaces);
    servicePublishers.swap(publishers);
    serviceMappings.swap(mappings);
    installAndStartMicroServices();
    publishToConfigurationAdmin();
}

SPFConfigurationImpl::~SPFConfigurationImpl() {
    try {
        removeFromConfigurationAdmin(name);
    } catch (...) {
        // A destructor has nobody to tell.
    }
}

void SPFConfigurationImpl::publishToConfigurationAdmin() {
    auto properties =
        encodeConfiguration(serviceInterfaces, servicePublishers, serviceMappings, modificationCount);
    auto const configurationAdmin = getConfigurationAdmin({});
    if (!configurationAdmin) {
        name.clear();
        return;
    }
    std::shared_ptr<cppmicroservices::service::cm::Configuration> configuration;
    if (name.empty()) {
        configuration = configurationAdmin->CreateFactoryConfiguration(configurationFactoryPID);
        name = instanceNameOf(configuration->GetPid());
    } else {
        configuration = configurationAdmin->GetFactoryConfiguration(configurationFactoryPID, name);
    }
    updateTracker =
        SPFConfigurationUpdateTracker::create(properties); // before the update, or its events would be missed
    // The map is ConfigurationAdmin's from here on. Clients wait for the framework's events, not for the
    // future.
    configuration->Update(std::move(properties));
}

} // namespace agent::spf::frameworksetup
