// The library's free functions.
#ifndef AGENT_SPF_FRAMEWORKSETUP_FRAMEWORKSETUP_HPP
#define AGENT_SPF_FRAMEWORKSETUP_FRAMEWORKSETUP_HPP

#include <string>

#include <boost/property_tree/ptree.hpp>

#include "agent/host/DiagnosticLogger.hpp"
#include "agent/spf/frameworksetup/export.hpp"

namespace agent::spf::frameworksetup {

// Starts the service framework and publishes the fixed legacy configuration "LegacySetupFramework": one
// legacy publisher that connects to the two well-known discovery endpoints. The configuration stays published
// until the framework stops; calling again updates it with identical properties, and publishes it anew in
// another framework. Throws what starting the framework and publishing throw. Thread safe. May block while
// bundles are installed.
AGENT_SPF_FRAMEWORKSETUP_EXPORT void setupFramework();

// Marks, in the requested properties of a service interface, a property that the service must carry at run
// time: puts `value` at the path "spf::requiredServiceProperty::" + `name`. Dots in the name separate levels
// of the tree; a value that is there is replaced, children are kept. The name is not checked. It must not end
// in a dot: an assertion of Boost.PropertyTree ends a debug build, a release build adds a level without a
// name. Throws what allocating throws. Thread safe for distinct trees.
AGENT_SPF_FRAMEWORKSETUP_EXPORT void
addRequiredRuntimeServiceProperties(boost::property_tree::ptree& properties, std::string const& name,
                                    std::string const& value);

// The library's one logger, of the channel "agent::spf::frameworksetup". Made on first use, gone at process
// exit. Throws what making it throws. Thread safe.
AGENT_SPF_FRAMEWORKSETUP_EXPORT host::DiagnosticLogger& getLogger();

} // namespace agent::spf::frameworksetup

#endif
