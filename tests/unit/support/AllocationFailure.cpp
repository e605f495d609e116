// The replaced operator new, which counts.
#include "support/AllocationFailure.hpp"

#include <cstdlib>
#include <new>

namespace agent::spf::frameworksetup::test {

namespace {
thread_local bool armed = false;
thread_local std::size_t allocationsLeft = 0; // until the one that fails
} // namespace

static bool isTimeToFail() {
    if (!armed || --allocationsLeft != 0) {
        return false;
    }
    armed = false;
    return true;
}

AllocationFailure::AllocationFailure(std::size_t n) {
    allocationsLeft = n;
    armed = true;
}

AllocationFailure::~AllocationFailure() {
    armed = false;
}

bool AllocationFailure::happened() const {
    return !armed;
}

} // namespace agent::spf::frameworksetup::test

void* operator new(std::size_t size) {
    if (agent::spf::frameworksetup::test::isTimeToFail()) {
        throw std::bad_alloc();
    }
    if (auto* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
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
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
