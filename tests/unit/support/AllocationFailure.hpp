// Makes allocations fail. A program that links this has the global operator new replaced.
#ifndef TESTS_UNIT_SUPPORT_ALLOCATION_FAILURE_HPP
#define TESTS_UNIT_SUPPORT_ALLOCATION_FAILURE_HPP

#include <cstddef>

namespace agent::spf::frameworksetup::test {

// While it exists, the n-th allocation of the thread that made it, counted from 1, throws std::bad_alloc; the
// ones before succeed, and so do those after it unless the failure lasts. One at a time per thread.
class AllocationFailure {
public:
    enum class Duration { Once, Lasting };

    explicit AllocationFailure(std::size_t n, Duration duration = Duration::Once);
    ~AllocationFailure();
    AllocationFailure(AllocationFailure const&) = delete;
    AllocationFailure& operator=(AllocationFailure const&) = delete;

    // Whether there was an n-th allocation.
    bool happened() const;
};

// The same for the one allocation of whichever thread has this name; without a name, of whichever has not
// made this. One at a time.
class AllocationFailureOfThread {
public:
    AllocationFailureOfThread(char const* thread, std::size_t n);
    explicit AllocationFailureOfThread(std::size_t n);
    ~AllocationFailureOfThread();
    AllocationFailureOfThread(AllocationFailureOfThread const&) = delete;
    AllocationFailureOfThread& operator=(AllocationFailureOfThread const&) = delete;

    bool happened() const;
};

// The blocks that operator new has given to any thread and that are not deleted.
std::size_t liveAllocations();

} // namespace agent::spf::frameworksetup::test

#endif
