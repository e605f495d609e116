// What changes from one configuration to the next.
#ifndef AGENT_PROGRAM_CONFIGURATION_CONFIGURATION_DIFFERENCE_HPP
#define AGENT_PROGRAM_CONFIGURATION_CONFIGURATION_DIFFERENCE_HPP

#include <string>
#include <vector>

#include "configuration/ConfigurationFile.hpp"

namespace agent::program {

// Of configurations that were read from a document. One line per entry that is new ("+ ..."), gone ("- ...")
// or changed in one member ("~ ..."). Empty if both are the same configuration: the order of entries, and
// members that are absent or empty, make no difference.
std::vector<std::string> differences(ConfigurationFile const& before, ConfigurationFile const& after);

} // namespace agent::program

#endif
