// The calls with which the host is asked to install the service framework's bundles.
#ifndef TESTS_UNIT_SUPPORT_INSTALLATION_CALLS_HPP
#define TESTS_UNIT_SUPPORT_INSTALLATION_CALLS_HPP

#include <string>
#include <vector>

namespace agent::spf::frameworksetup::test {

// In the order in which they must come.
inline std::vector<std::string> const installationCalls = {
    "installAndStart bin/darwinarm64/spf/serialisationproviders",
    "installAndStart bin/darwinarm64/spf/externalprocessdiscovery",
    "installAndStart bin/darwinarm64/spf/providers",
    "installAndStart bin/darwinarm64/spf/framework",
    "installAndStart bin/darwinarm64/spf/servicepublishers",
    "installAndStart bin/darwinarm64/spf/clients",
    "installAndStart bin/darwinarm64/spf/serviceproviders (bundle.activator=false)",
};

} // namespace agent::spf::frameworksetup::test

#endif
