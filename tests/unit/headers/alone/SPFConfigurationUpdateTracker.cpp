// Whoever includes the header of the update tracker alone can make the property map that a tracker is made
// from.
#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"

namespace agent::spf::frameworksetup::test {

void createUpdateTracker();

void createUpdateTracker() {
    cppmicroservices::AnyMap const configuration(
        cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    SPFConfigurationUpdateTracker::create(configuration);
}

} // namespace agent::spf::frameworksetup::test
