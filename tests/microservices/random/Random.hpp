// Random choices that follow from a seed alone, the same with every compiler and standard library.
#ifndef TESTS_MICROSERVICES_RANDOM_RANDOM_HPP
#define TESTS_MICROSERVICES_RANDOM_RANDOM_HPP

#include <cstddef>
#include <cstdint>
#include <random>

namespace randomised {

class Random {
public:
    explicit Random(std::uint64_t seed)
        : engine_(seed) {}

    std::uint64_t bits() { return engine_(); }

    // At least 0 and less than `limit`.
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(engine_() % limit); }

    bool percent(std::size_t probability) { return below(100) < probability; }

    template <class Choices>
    auto const& oneOf(Choices const& choices) {
        return choices[below(std::size(choices))];
    }

private:
    std::mt19937_64 engine_; // its numbers are laid down by the standard, those of distributions are not
};

} // namespace randomised

#endif
