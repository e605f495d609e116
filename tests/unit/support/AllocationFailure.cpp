// The replaced operator new, which counts.
#include "support/AllocationFailure.hpp"

#include <atomic>
#include <cstdlib>
#include <new>
#include <string_view>

#include <pthread.h>

namespace agent::spf::frameworksetup::test {

namespace {

thread_local std::size_t allocationsLeft = 0; // until the one that fails, which is counted; 0: none fails
thread_local bool failing = false;            // the n-th has failed
thread_local bool lasting = false;

std::atomic<std::size_t> live{0};

constexpr char const* otherThreads = "";
thread_local bool isOtherThread = true;
std::atomic<char const*> failingThread{nullptr};     // the name, or otherThreads
std::atomic<std::size_t> allocationsLeftOfThread{0}; // as allocationsLeft
std::atomic<bool> failingOfThread{false};

bool isThisThread(char const* expected) {
    if (expected == otherThreads) {
        return isOtherThread;
    }
    char name[16] = "";
    ::pthread_getname_np(::pthread_self(), name, sizeof(name));
    return std::string_view(name) == expected;
}

bool isTimeToFailOfThread() {
    char const* const expected = failingThread;
    if (!expected || !isThisThread(expected) || failingOfThread || --allocationsLeftOfThread != 0) {
        return false;
    }
    failingOfThread = true;
    return true;
}

bool isTimeToFail() {
    if (allocationsLeft == 0 || --allocationsLeft != 0) {
        return false;
    }
    failing = true;
    allocationsLeft = lasting ? 1 : 0;
    return true;
}

void* allocate(std::size_t size) {
    if (isTimeToFail() || isTimeToFailOfThread()) {
        throw std::bad_alloc();
    }
    auto* const memory = std::malloc(size == 0 ? 1 : size);
    if (!memory) {
        throw std::bad_alloc();
    }
    live.fetch_add(1, std::memory_order_relaxed);
    return memory;
}

void release(void* memory) noexcept {
    if (memory) {
        live.fetch_sub(1, std::memory_order_relaxed);
        std::free(memory);
    }
}

} // namespace

AllocationFailure::AllocationFailure(std::size_t n, Duration duration) {
    failing = false;
    lasting = duration == Duration::Lasting;
    allocationsLeft = n;
}

AllocationFailure::~AllocationFailure() {
    allocationsLeft = 0;
}

bool AllocationFailure::happened() const {
    return failing;
}

AllocationFailureOfThread::AllocationFailureOfThread(char const* thread, std::size_t n) {
    allocationsLeftOfThread = n;
    failingOfThread = false;
    failingThread = thread;
}

AllocationFailureOfThread::AllocationFailureOfThread(std::size_t n)
    : AllocationFailureOfThread(otherThreads, n) {
    isOtherThread = false;
}

AllocationFailureOfThread::~AllocationFailureOfThread() {
    failingThread = nullptr;
    isOtherThread = true;
}

bool AllocationFailureOfThread::happened() const {
    return failingOfThread;
}

std::size_t liveAllocations() {
    return live.load(std::memory_order_relaxed);
}

} // namespace agent::spf::frameworksetup::test

void* operator new(std::size_t size) {
    return agent::spf::frameworksetup::test::allocate(size);
}

// What the delete below frees must come from here, whichever form of new it was.
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    try {
        return ::operator new(size);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void operator delete(void* memory) noexcept {
    agent::spf::frameworksetup::test::release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    agent::spf::frameworksetup::test::release(memory);
}
