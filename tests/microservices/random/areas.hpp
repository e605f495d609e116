// The areas in which random operations are compared.
#ifndef TESTS_MICROSERVICES_RANDOM_AREAS_HPP
#define TESTS_MICROSERVICES_RANDOM_AREAS_HPP

#include "Random.hpp"

#include <ostream>

namespace randomised {

// Each runs one case, which follows from `random` alone, and writes its transcript.
void runAnyCase(Random& random, std::ostream& transcript);
void runBundleCase(Random& random, std::ostream& transcript);
void runCallbackCase(Random& random, std::ostream& transcript);
void runConfigurationCase(Random& random, std::ostream& transcript);
void runFilterCase(Random& random, std::ostream& transcript);
void runMapCase(Random& random, std::ostream& transcript);
void runServiceCase(Random& random, std::ostream& transcript);

} // namespace randomised

#endif
