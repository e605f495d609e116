// Values that are moved into an Any rather than copied.
#include "cppmicroservices/Any.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::ref_any_cast;

struct ThrowsOnCopy {
    ThrowsOnCopy() = default;
    ThrowsOnCopy(ThrowsOnCopy const&) { throw std::runtime_error("no copy"); }
    ThrowsOnCopy(ThrowsOnCopy&&) noexcept {}
};

std::ostream& operator<<(std::ostream& os, ThrowsOnCopy const&) {
    return os;
}

TEST(AnyAdditions, RvaluesAreMovedIn) {
    std::vector<int> numbers{1, 2, 3};
    int const* const data = numbers.data();
    Any const any(std::move(numbers));
    EXPECT_EQ(ref_any_cast<std::vector<int>>(any).data(), data);
}

TEST(AnyAdditions, KeepsItsValueWhenAssignedOneThatCannotBeCopied) {
    Any const source{ThrowsOnCopy()};
    Any target(5);
    EXPECT_THROW(target = source, std::runtime_error);
    EXPECT_EQ(any_cast<int>(target), 5);
}

} // namespace
