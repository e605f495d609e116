// Marks the properties that a service must carry at run time.
#include <boost/property_tree/ptree.hpp>

#include "agent/spf/frameworksetup/frameworksetup.hpp"

namespace agent::spf::frameworksetup {

void addRequiredRuntimeServiceProperties(boost::property_tree::ptree& properties, std::string const& name,
                                         std::string const& value) {
    static std::string const prefix = "spf::requiredServiceProperty::";
    properties.put(boost::property_tree::ptree::path_type(prefix + name, '.'), value);
}

} // namespace agent::spf::frameworksetup
