// How a fuzz target says that something is not as it must be.
#ifndef FUZZ_REQUIRE_HPP
#define FUZZ_REQUIRE_HPP

#include <cstdio>
#include <cstdlib>
#include <string>

// Ends the process, which the fuzzer reports as a finding, together with the input that led here.
inline void require(bool condition, std::string const& what) {
    if (!condition) {
        std::fprintf(stderr, "fuzz: not as it must be: %s\n", what.c_str());
        std::abort();
    }
}

// The same for two texts that must be equal.
inline void requireEqual(std::string const& actual, std::string const& expected, std::string const& what) {
    require(actual == expected, what + "\n  is       " + actual + "\n  expected " + expected);
}

#endif
