// Random values of the types that properties have, and property maps.
#ifndef TESTS_MICROSERVICES_RANDOM_VALUES_HPP
#define TESTS_MICROSERVICES_RANDOM_VALUES_HPP

#include "Random.hpp"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <cstddef>
#include <string>
#include <vector>

namespace randomised {

std::string typeName(cppmicroservices::Any const& value);

// Such that two meet often: one of few, a number near a limit of an integer type, or some of few characters.
std::string randomText(Random& random);

// One of few words, in any case.
std::string randomKey(Random& random);

// Of any type, possibly empty; containers nest at most `depth` levels. Has one text only: of the maps in it,
// only ordered ones have more than one entry.
cppmicroservices::Any randomValue(Random& random, int depth = 2);

cppmicroservices::AnyMap::map_type randomKind(Random& random);

cppmicroservices::AnyMap randomMap(Random& random, cppmicroservices::AnyMap::map_type kind,
                                   std::size_t maximumSize, int depth = 2);

std::vector<std::string> sortedKeys(cppmicroservices::AnyMap const& map);

// Whether it or a value nested in it is empty: the installed provider crashes when it compares such a value.
bool holdsEmpty(cppmicroservices::Any const& value);

// Whether its text depends on the order of a hash table.
bool hasManyTexts(cppmicroservices::Any const& value);

} // namespace randomised

#endif
