// The property map that the library publishes for a configuration, for a person to look at.
#ifndef AGENT_PROGRAM_SHOW_PUBLISHED_MAP_HPP
#define AGENT_PROGRAM_SHOW_PUBLISHED_MAP_HPP

#include <string>

#include "configuration/ConfigurationFile.hpp"

namespace agent::program {

// The map as JSON, members in ascending order. It is the library's own: the configuration is published in a
// framework that holds the installation's Configuration Admin and none of the bundles that would act on it,
// and read back from there. To be called while the process's framework is not running, which it is not
// afterwards either. Throws what publishing throws, std::runtime_error with the reason when the installation
// has no Configuration Admin.
std::string publishedMap(ConfigurationFile const& configuration);

} // namespace agent::program

#endif
