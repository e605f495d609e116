// A thread of the scheduled program: its stack and what it waits for.
#ifndef TESTS_RELIABILITY_INTERLEAVING_FIBER_HPP
#define TESTS_RELIABILITY_INTERLEAVING_FIBER_HPP

#include <array>
#include <cstddef>
#include <functional>
#include <memory>

#include <ucontext.h>

#include "Scheduler.hpp"

namespace interleaving {

using Stack = std::unique_ptr<std::byte[]>;
inline constexpr std::size_t stackSize = 256 * 1024;

struct Fiber {
    enum class State { Runnable, WaitsForMutex, WaitsForCondition, WaitsForThread, Sleeps, Finished };

    std::size_t index = 0;
    std::function<void*()> body;
    void* result = nullptr;
    State state = State::Runnable;
    void const* waitsFor = nullptr; // the mutex, condition variable or thread
    Nanoseconds deadline = never;   // of a wait or sleep
    bool timedOut = false;
    int locksHeld = 0;
    int locksExcused = 0;
    std::size_t blockedAt = 0; // orders those who wait for one condition variable

    ucontext_t context = {};
    Stack stack;
    std::array<void*, 2> exceptionGlobals = {}; // what the C++ run-time library keeps per thread
    void* sanitizerStack = nullptr;

    bool isTimed() const {
        return (state == State::WaitsForCondition || state == State::Sleeps) && deadline != never;
    }
    void resume() {
        state = State::Runnable;
        waitsFor = nullptr;
    }
};

} // namespace interleaving

#endif
