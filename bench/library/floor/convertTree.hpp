// The conversion of a property tree written by hand, as fast as the CppMicroServices interface allows, and
// written literally.
#ifndef BENCH_LIBRARY_FLOOR_CONVERT_TREE_HPP
#define BENCH_LIBRARY_FLOOR_CONVERT_TREE_HPP

#include <boost/property_tree/ptree_fwd.hpp>
#include <cppmicroservices/AnyMap.h>

namespace spf::bench {

// Sizes each map, escapes in one pass, and moves keys, values and nested maps.
cppmicroservices::AnyMap convertByHand(boost::property_tree::ptree const& tree);

// Step by step as one would say it: an empty map, then an assignment for each child.
cppmicroservices::AnyMap convertLiterally(boost::property_tree::ptree const& tree);

} // namespace spf::bench

#endif
