// Counts what a piece of code allocates. A program that links this has the global operator new replaced.
#ifndef BENCH_LIBRARY_SUPPORT_ALLOCATION_RECORDER_HPP
#define BENCH_LIBRARY_SUPPORT_ALLOCATION_RECORDER_HPP

#include <cstddef>

namespace spf::bench {

// While it exists, records what the thread that made it asks of operator new and gives back. One at a time
// per thread. Without one, operator new costs one test more than malloc.
class AllocationRecorder {
public:
    AllocationRecorder();
    ~AllocationRecorder();
    AllocationRecorder(AllocationRecorder const&) = delete;
    AllocationRecorder& operator=(AllocationRecorder const&) = delete;

    std::size_t allocations() const; // how often memory was asked for
    std::size_t bytesKept() const;   // how many of the bytes asked for have not been given back
};

} // namespace spf::bench

#endif
