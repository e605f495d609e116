// Whoever includes the header of the listener alone can make the property map that the listener is made from.
#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"

namespace agent::spf::frameworksetup::test {

void makeFrameworkSetupListener();

void makeFrameworkSetupListener() {
    cppmicroservices::AnyMap const configuration(
        cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    FrameworkSetupListener const listener([] {}, configuration);
}

} // namespace agent::spf::frameworksetup::test
