// Conversion of a property tree into a property map.
#include "model/propertyTreeToAnyMap.hpp"

#include <algorithm>
#include <string>
#include <utility>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS // the parser of Boost 1.74 uses them, and says so at every compilation
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "model/MapToFill.hpp"

namespace agent::spf::frameworksetup {

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

} // namespace

AnyMap propertyTreeToAnyMap(boost::property_tree::ptree const& tree) {
    MapToFill map;
    reserve(map, tree.size());
    for (auto const& [name, child] : tree) {
        auto& value = map[toKey(name)]; // of equal keys the first stays, of their values the last
        if (child.data().empty() && !child.empty()) {
            value = propertyTreeToAnyMap(child);
        } else {
            value = child.data(); // which wins over its children: they are dropped
        }
    }
    return AnyMap(std::move(map));
}

} // namespace agent::spf::frameworksetup
