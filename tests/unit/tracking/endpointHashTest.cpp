// Where the hash sends endpoints as they occur: texts that differ in a few digits only.
#include <cstddef>
#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tracking/endpointHash.hpp"

namespace {

using agent::spf::frameworksetup::hashOfEndpoint;

struct Family {
    std::string name;
    std::function<std::string(int)> text;
};

std::ostream& operator<<(std::ostream& stream, Family const& family) {
    return stream << family.name;
}

std::string digits(int number, std::size_t count) {
    auto const text = std::to_string(number);
    return std::string(count - text.size(), '0') + text;
}

class EndpointHash : public testing::TestWithParam<Family> {};

INSTANTIATE_TEST_SUITE_P(
    OfTexts, EndpointHash,
    testing::Values(Family{"Ports", [](int i) { return "tcp:127.0.0.1:" + std::to_string(10'000 + i); }},
                    Family{"Paths", [](int i) { return "unix:/tmp/endpoint-" + std::to_string(i); }},
                    Family{"NumbersAtTheEnd", [](int i) { return "peer-0000-0000-0000-" + digits(i, 16); }},
                    Family{"NumbersAtTheBeginning", [](int i) { return digits(i, 8) + "-0000-0000-0000"; }},
                    Family{"NumbersInTheMiddle", [](int i) { return "tcp:host" + digits(i, 6) + ":7000"; }},
                    Family{"TwoNumbers", [](int i) { return digits(i / 100, 8) + digits(i % 100, 8); }},
                    Family{"OneNumberTwice", [](int i) { return digits(i, 8) + digits(i, 8); }},
                    Family{"EveryEighthCharacter",
                           [](int i) {
                               auto text = digits(i, 5);
                               for (std::size_t character = 0; character < 5; ++character) {
                                   text.insert(8 * character, "to-peer");
                               }
                               return text;
                           }},
                    Family{"Short", [](int i) { return "p" + std::to_string(i); }},
                    Family{"OtherLengths",
                           [](int i) { return std::string(static_cast<std::size_t>(i), 'x'); }}),
    [](auto const& family) { return family.param.name; });

// How many places a table of `size`, a power of two, is searched for a new text, on average.
double placesSearched(Family const& family, int count, std::size_t size) {
    std::vector<bool> taken(size);
    std::size_t searched = 0;
    for (int i = 0; i < count; ++i) {
        auto place = static_cast<std::size_t>(hashOfEndpoint(family.text(i))) & (size - 1);
        for (++searched; taken[place]; ++searched) {
            place = (place + 1) & (size - 1);
        }
        taken[place] = true;
    }
    return static_cast<double>(searched) / count;
}

// Chance would search 1.5 places until a table is half full, and 1.8 until it is as full as that of 10,000.
TEST_P(EndpointHash, SpreadsTextsOverATable) {
    EXPECT_LT(placesSearched(GetParam(), 1'000, 2'048), 2);
    EXPECT_LT(placesSearched(GetParam(), 10'000, 16'384), 2.5);
}

// The upper bits tell apart what meets in one place.
TEST_P(EndpointHash, GivesTextsDifferentUpperBits) {
    std::set<std::uint64_t> upperBits;
    for (int i = 0; i < 1'000; ++i) {
        upperBits.insert(hashOfEndpoint(GetParam().text(i)) >> 48U);
    }
    EXPECT_GT(upperBits.size(), 980u); // by chance 992
}

} // namespace
