// Conversion of a property tree into a property map.
#include "model/propertyTreeToAnyMap.hpp"

#include <utility>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

// What a child is published as: its datum wins over its children, which are dropped then.
Any toValue(boost::property_tree::ptree const& child) {
    if (child.data().empty() && !child.empty()) {
        return propertyTreeToAnyMap(child);
    }
    return child.data();
}

} // namespace

AnyMap propertyTreeToAnyMap(boost::property_tree::ptree const& tree) {
    AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& [name, child] : tree) {
        map[boost::property_tree::json_parser::create_escapes(name)] = toValue(child);
    }
    return map;
}

} // namespace agent::spf::frameworksetup
