// Whoever includes the header of the free functions alone can make the tree that a property is added to.
#include "agent/spf/frameworksetup/frameworksetup.hpp"

namespace agent::spf::frameworksetup::test {

boost::property_tree::ptree requireTimeout();

boost::property_tree::ptree requireTimeout() {
    boost::property_tree::ptree properties;
    addRequiredRuntimeServiceProperties(properties, "timeout", "30");
    return properties;
}

} // namespace agent::spf::frameworksetup::test
