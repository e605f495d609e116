// Runs random operations on the provider of the CppMicroServices interface and writes a transcript: what was
// done, and what it gave. Two providers that cannot be told apart give the same one; tests/compare_random.py
// compares them.
//
//     spf-random-operations AREA SEED COUNT
//
// runs the cases SEED, SEED + 1, ... Each follows from its number alone. The status is not 0 if one breaks a
// rule that holds for any provider.
#include "areas.hpp"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

namespace {

using Case = void (*)(randomised::Random&, std::ostream&);

struct Area {
    std::string_view name;
    Case runCase;
};

constexpr Area areas[] = {
    {"anys", randomised::runAnyCase},           {"bundles", randomised::runBundleCase},
    {"callbacks", randomised::runCallbackCase}, {"configurations", randomised::runConfigurationCase},
    {"filters", randomised::runFilterCase},     {"maps", randomised::runMapCase},
    {"services", randomised::runServiceCase},
};

int usage() {
    std::cerr << "usage: spf-random-operations AREA SEED COUNT, AREA is one of";
    for (auto const& area : areas) {
        std::cerr << ' ' << area.name;
    }
    std::cerr << '\n';
    return EXIT_FAILURE;
}

void runCases(Case runCase, std::uint64_t seed, std::uint64_t count) {
    for (auto number = seed; number < seed + count; ++number) {
        randomised::Random random(number);
        std::cout << "case " << number << '\n' << std::flush; // a crash takes what is buffered
        runCase(random, std::cout);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 4) {
        return usage();
    }
    try {
        for (auto const& area : areas) {
            if (area.name == argv[1]) {
                runCases(area.runCase, std::stoull(argv[2]), std::stoull(argv[3]));
                return EXIT_SUCCESS;
            }
        }
    } catch (std::exception const& error) {
        std::cout << std::flush;
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return usage();
}
