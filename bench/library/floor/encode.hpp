// The encoding of a configuration written by hand, as fast as the CppMicroServices interface allows, and
// written literally.
#ifndef BENCH_LIBRARY_FLOOR_ENCODE_HPP
#define BENCH_LIBRARY_FLOOR_ENCODE_HPP

#include <cppmicroservices/AnyMap.h>

#include "support/exampleModel.hpp"

namespace spf::bench {

// Copies a prototype map, whose keys are there already, for every entry; sizes the lists; moves.
cppmicroservices::AnyMap encodeByHand(Model const& model, int modificationCount);

// Every map from an initialiser list, every list without a size.
cppmicroservices::AnyMap encodeLiterally(Model const& model, int modificationCount);

} // namespace spf::bench

#endif
