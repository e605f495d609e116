// Tries what happens with each allocation failing.
#ifndef TESTS_MICROSERVICES_STANDALONE_ONLY_FAIL_EACH_ALLOCATION_HPP
#define TESTS_MICROSERVICES_STANDALONE_ONLY_FAIL_EACH_ALLOCATION_HPP

#include "support/AllocationFailure.hpp"

#include <gtest/gtest.h>

#include <cstddef>

// Whether `call` has an n-th allocation. That one fails, or all from there on.
template <class Call>
bool runsOutOfMemoryAt(std::size_t n, agent::spf::frameworksetup::test::AllocationFailure::Duration duration,
                       Call const& call) {
    agent::spf::frameworksetup::test::AllocationFailure const failure(n, duration);
    call();
    return failure.happened();
}

// Calls `fails(n)` for each n from 1 until there is no n-th allocation to fail. Returns the last n.
template <class Fails>
std::size_t failEachAllocation(Fails const& fails) {
    std::size_t n = 0;
    auto failed = true;
    while (failed && !testing::Test::HasFailure()) {
        ++n;
        SCOPED_TRACE(n);
        failed = fails(n);
    }
    return n;
}

#endif
