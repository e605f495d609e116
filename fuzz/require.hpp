// How a fuzz target says that something is not as it must be.
#ifndef FUZZ_REQUIRE_HPP
#define FUZZ_REQUIRE_HPP

#include <cstdlib>
#include <iostream>
#include <string_view>

// Ends the process, which the fuzzer reports as a finding, together with the input that led here. Texts are
// views, so that what holds costs nothing.
inline void require(bool condition, std::string_view what) {
    if (!condition) {
        std::cerr << "fuzz: not as it must be: " << what << std::endl;
        std::abort();
    }
}

// The same for two texts that must be equal.
inline void requireEqual(std::string_view actual, std::string_view expected, std::string_view what) {
    if (actual != expected) {
        std::cerr << "fuzz: not as it must be: " << what << "\n  is       " << actual << "\n  expected "
                  << expected << std::endl;
        std::abort();
    }
}

#endif
