// From a configuration file to the library: publishing a configuration, and the next version of it.
#ifndef AGENT_PROGRAM_RUN_PUBLISHING_HPP
#define AGENT_PROGRAM_RUN_PUBLISHING_HPP

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "configuration/ConfigurationFile.hpp"

namespace agent::program {

// Both throw what SPFConfigurationBuilder::build() throws, and std::runtime_error if the framework has no
// Configuration Admin service.
spf::frameworksetup::SPFConfiguration publish(ConfigurationFile const& configuration);

// `published` is detached afterwards; the result is responsible for the configuration.
spf::frameworksetup::SPFConfiguration publishNext(spf::frameworksetup::SPFConfiguration& published,
                                                  ConfigurationFile const& configuration);

} // namespace agent::program

#endif
