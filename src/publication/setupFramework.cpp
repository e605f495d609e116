// The fixed legacy configuration.
#include <set>
#include <string>
#include <vector>

#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "configurationKeys.hpp"
#include "model/SPFConfigurationImpl.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;

void setupFramework() {
    constexpr char const* legacyID = "LegacySetupFramework";
    constexpr std::int32_t legacyModificationCount =
        1; // so that 2 is published, as readers of the configuration expect
    std::set<std::string> const discoveryEndpoints = {"zentorConnectorDiscovery",
                                                      "corvalithServiceHostDiscovery"};

    SPFServicePublisherConfiguration publisher;
    publisher.uniqueID = legacyID;
    publisher.name = legacyPublisherName;
    publisher.endpointsToConnectTo.assign(discoveryEndpoints.begin(), discoveryEndpoints.end());
    ServicePublishers publishers;
    publishers.insert(std::move(publisher));

    SPFConfigurationImpl legacy(legacyID, legacyModificationCount, {}, std::move(publishers), {});
    legacy.name.clear(); // so that it is not withdrawn here: it stays until the framework stops
}

} // namespace agent::spf::frameworksetup
