// Makes an allocation fail. A program that links this has the global operator new replaced.
#ifndef TESTS_UNIT_SUPPORT_ALLOCATION_FAILURE_HPP
#define TESTS_UNIT_SUPPORT_ALLOCATION_FAILURE_HPP

#include <cstddef>

namespace agent::spf::frameworksetup::test {

// While it exists, the n-th allocation of the thread that made it, counted from 1, throws std::bad_alloc; the
// ones before and after succeed. One at a time per thread.
class AllocationFailure {
public:
    explicit AllocationFailure(std::size_t n);
    ~AllocationFailure();
    AllocationFailure(AllocationFailure const&) = delete;
    AllocationFailure& operator=(AllocationFailure const&) = delete;

    // Whether there was an n-th allocation.
    bool happened() const;
};

} // namespace agent::spf::frameworksetup::test

#endif
