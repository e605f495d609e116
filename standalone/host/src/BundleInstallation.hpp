// Installing and starting the bundles of a directory in a given framework.
#ifndef AGENT_HOST_STANDALONE_BUNDLE_INSTALLATION_HPP
#define AGENT_HOST_STANDALONE_BUNDLE_INSTALLATION_HPP

#include <filesystem>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

namespace agent::host::standalone {

// Installs the bundles of the directory in ascending byte order of their file names and returns them, those
// that were installed before included. Throws std::runtime_error that names the path.
std::vector<cppmicroservices::Bundle> installBundles(cppmicroservices::BundleContext context,
                                                     std::filesystem::path const& directory);

// Starts the bundles that are not active, in order. Throws std::runtime_error that names the bundle's path,
// with the framework's exception nested in it. Activators run on the calling thread; no lock is held.
void startBundles(std::vector<cppmicroservices::Bundle>& bundles);

} // namespace agent::host::standalone

#endif
