// What the host offers to reach its CppMicroServices framework and the bundles of its installation.
#ifndef AGENT_HOST_FRAMEWORK_ACCESS_HPP
#define AGENT_HOST_FRAMEWORK_ACCESS_HPP

#include <memory>
#include <utility>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>

#include "agent/host/Path.hpp"
#include "agent/host/export.hpp"

namespace agent::host {

// The process's running framework, or null when the host has none. What it throws goes to the client, but is
// dropped where a withdrawal drops exceptions. Thread safe.
AGENT_HOST_EXPORT std::shared_ptr<cppmicroservices::Framework> getFramework();

// Installs and starts the bundles of one directory, given relative to the installation, and returns them in
// the order in which they were installed. Throws what installing or starting a bundle throws. Activators run
// on the calling thread and may call back into any library of the process.
AGENT_HOST_EXPORT std::vector<cppmicroservices::Bundle> installAndStart(Path const& directory);

// As above, with a filter over the bundles' manifest headers. The first result holds the bundles that match;
// what the second holds is the host's business.
AGENT_HOST_EXPORT std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>>
installAndStart(Path const& directory, cppmicroservices::LDAPFilter const& filter);

} // namespace agent::host

#endif
