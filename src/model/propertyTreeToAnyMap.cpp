// Conversion of a property tree into a property map.
#include "model/propertyTreeToAnyMap.hpp"

#include <algorithm>
#include <string>
#include <utility>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS // the parser of Boost 1.74 uses them, and says so at every compilation
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

// Names are escaped as Boost escapes them in JSON text. Most need nothing of it.
std::string toKey(std::string const& name) {
    auto const standsForItself = [](char character) {
        return static_cast<unsigned char>(character) >= 0x20 && character != '"' && character != '/' &&
               character != '\\';
    };
    return std::all_of(name.begin(), name.end(), standsForItself)
               ? name
               : boost::property_tree::json_parser::create_escapes(name);
}

// What a child is published as: its datum wins over its children, which are dropped then.
Any toValue(boost::property_tree::ptree const& child) {
    if (child.data().empty() && !child.empty()) {
        return propertyTreeToAnyMap(child);
    }
    return child.data();
}

} // namespace

AnyMap propertyTreeToAnyMap(boost::property_tree::ptree const& tree) {
    AnyMap::unordered_any_cimap map;
    map.reserve(tree.size());
    for (auto const& [name, child] : tree) {
        map.insert_or_assign(toKey(name),
                             toValue(child)); // of equal keys the first stays, of their values the last
    }
    return AnyMap(std::move(map));
}

} // namespace agent::spf::frameworksetup
