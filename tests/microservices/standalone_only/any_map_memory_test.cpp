// What the memory of maps does that nothing else shows.
#include "support/AllocationFailure.hpp"

#include <cppmicroservices/AnyMap.h>

#include <gtest/gtest.h>

using agent::spf::frameworksetup::test::liveAllocations;
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
