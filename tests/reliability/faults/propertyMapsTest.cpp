// Insertions into the provider's property maps that run out of memory.
#include <new>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <gtest/gtest.h>

#include "support/AllocationFailure.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::AnyMap;

std::string keyOf(int number) {
    return "key" + std::to_string(number);
}

// Makes each allocation of one insertion fail until none is left; returns how many there were.
std::size_t insertInSpiteOfFailures(AnyMap& map, int number) {
    auto const key = keyOf(number);
    for (std::size_t n = 1;; ++n) {
        try {
            AllocationFailure const failure(n);
            map[key];
            return n - 1;
        } catch (std::bad_alloc const&) {
            EXPECT_EQ(map.size(), static_cast<std::size_t>(number));
            for (int each = 0; each <= number; ++each) {
                EXPECT_EQ(map.count(keyOf(each)), each < number ? 1U : 0U) << keyOf(each);
            }
        }
    }
}

class PropertyMap : public ::testing::TestWithParam<AnyMap::map_type> {};

TEST_P(PropertyMap, IsAsItWasAfterAnInsertionThatRanOutOfMemory) {
    AnyMap map(GetParam());
    std::size_t failures = 0;
    for (int number = 0; number < 200; ++number) {
        failures += insertInSpiteOfFailures(map, number);
        if (number % 10 == 0) {
            map = AnyMap(map); // which has room for no more than it holds
        }
    }
    EXPECT_GT(failures, 20U);
}

INSTANTIATE_TEST_SUITE_P(OfKind, PropertyMap,
                         ::testing::Values(AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP,
                                           AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS));

} // namespace
} // namespace agent::spf::frameworksetup::test
