// Whoever includes the header of the handle alone can use what its members return, a builder among it.
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

namespace agent::spf::frameworksetup::test {

SPFConfigurationBuilder modified(SPFConfiguration& configuration);

SPFConfigurationBuilder modified(SPFConfiguration& configuration) {
    return configuration.modify();
}

} // namespace agent::spf::frameworksetup::test
