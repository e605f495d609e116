// What the memory of maps does that nothing else shows.
#include "failEachAllocation.hpp"
#include "support/AllocationFailure.hpp"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>

using agent::spf::frameworksetup::test::AllocationFailure;
using agent::spf::frameworksetup::test::liveAllocations;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

TEST(AnyMapMemory, ErasedEntriesMakeRoomForNewOnes) {
    for (auto const kind :
         {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        AnyMap map(kind, {{"kept", 1}, {"erased", 2}});
        auto const before = liveAllocations();
        for (int i = 0; i < 1000; ++i) {
            map.erase("erased");
            map["erased"] = i;
        }
        EXPECT_EQ(liveAllocations(), before);
    }
}

// It must not throw. A compound key's names are copied, and so is the value.
TEST(AnyMapMemory, ValueOfACompoundKeyThatThereIsNoMemoryForIsTheDefault) {
    std::string const text(100, 'x');
    AnyMap below(AnyMap::ORDERED_MAP, {{std::string(100, 'b'), text}});
    AnyMap const map(AnyMap::ORDERED_MAP, {{std::string(100, 'a'), below}});
    auto const key = std::string(100, 'a') + '.' + std::string(100, 'b');
    auto const count = failEachAllocation([&](std::size_t n) {
        Any value;
        Any other(std::string(100, 'y'));
        auto const failed = runsOutOfMemoryAt(n, AllocationFailure::Duration::Lasting,
                                              [&] { value = map.AtCompoundKey(key, std::move(other)); });
        EXPECT_EQ(value, Any(failed ? std::string(100, 'y') : text));
        return failed;
    });
    EXPECT_GT(count, 3U);
}
