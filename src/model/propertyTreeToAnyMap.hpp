// Conversion of a client's property tree into the form in which it is published.
#ifndef MODEL_PROPERTY_TREE_TO_ANY_MAP_HPP
#define MODEL_PROPERTY_TREE_TO_ANY_MAP_HPP

#include <boost/property_tree/ptree_fwd.hpp>
#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksetup {

// Converts the children of the tree; the datum of the root counts for nothing. A child becomes an entry under
// its name, escaped as in JSON text: a string if it has a datum or no children, otherwise the map of its
// children. Every map has case-insensitive keys. Of children whose names are equal but for case, the last
// gives the value and the first the key; so an array, whose elements have no names, keeps its last element
// only.
cppmicroservices::AnyMap propertyTreeToAnyMap(boost::property_tree::ptree const& tree);

} // namespace agent::spf::frameworksetup

#endif
