// Mutexes and condition variables under the scheduler.
//
// A mutex is kept in place, in the memory of the program's own pthread_mutex_t, so that one that is destroyed
// and one that is made anew at the same address are told apart: all zeros is an unlocked mutex, and whoever
// frees memory fills it with a pattern (see allocation.cpp) that is no mutex at all. A condition variable has
// no state; who waits for it is known from the threads.
#include "Fiber.hpp"
#include "Scheduler.hpp"
#include "allocation.hpp"

namespace interleaving {

namespace {

constexpr int unlocked = 0;
constexpr int locked = 1;

// Mutexes are also used outside runs, by the program's initialisation; then nobody contends.
constexpr int ownerOutside = -1;

} // namespace

void Scheduler::lock(::pthread_mutex_t& mutex) {
    point("locks", &mutex);
    acquire(mutex);
}

void Scheduler::acquire(::pthread_mutex_t& mutex) {
    auto& state = mutex.__data;
    while (state.__lock != unlocked) {
        if (state.__lock != locked) {
            fail("a mutex is locked after its destruction");
        }
        if (!current_ || state.__owner == static_cast<int>(current_->index) + 1) {
            fail("deadlock: a thread locks a mutex that it holds");
        }
        current_->state = Fiber::State::WaitsForMutex;
        current_->waitsFor = &mutex;
        block("waits for the mutex", &mutex);
    }
    state.__lock = locked;
    state.__owner = current_ ? static_cast<int>(current_->index) + 1 : ownerOutside;
    if (current_) {
        ++current_->locksHeld;
    }
}

bool Scheduler::tryLock(::pthread_mutex_t& mutex) {
    point("tries to lock", &mutex);
    if (mutex.__data.__lock != unlocked) {
        return false;
    }
    acquire(mutex);
    return true;
}

void Scheduler::release(::pthread_mutex_t& mutex) {
    auto& state = mutex.__data;
    if (state.__lock != unlocked && state.__lock != locked) {
        fail("a mutex is unlocked after its destruction");
    }
    if (state.__lock == unlocked || (current_ && state.__owner != static_cast<int>(current_->index) + 1)) {
        fail("a thread unlocks a mutex that it does not hold");
    }
    state.__lock = unlocked;
    state.__owner = 0;
    if (!current_) {
        return;
    }
    --current_->locksHeld;
    for (auto const& fiber : fibers_) {
        if (fiber->state == Fiber::State::WaitsForMutex && fiber->waitsFor == &mutex) {
            fiber->resume();
        }
    }
}

void Scheduler::unlock(::pthread_mutex_t& mutex) {
    release(mutex);
    point("has unlocked", &mutex);
}

void Scheduler::checkAlive(::pthread_cond_t const& condition, char const* operation) {
    if (isFreed(&condition, sizeof condition)) {
        fail(std::string("a condition variable is ") + operation + " after its destruction");
    }
}

bool Scheduler::waitUntil(::pthread_cond_t& condition, ::pthread_mutex_t& mutex, Nanoseconds deadline) {
    point("is about to wait", &condition);
    checkAlive(condition, "waited for");
    release(mutex);
    auto& self = *current_;
    self.timedOut = deadline <= now_;
    if (!self.timedOut) {
        self.state = Fiber::State::WaitsForCondition;
        self.waitsFor = &condition;
        self.deadline = deadline;
        block("waits for the condition", &condition);
    }
    auto const inTime = !self.timedOut;
    acquire(mutex);
    return inTime;
}

void Scheduler::wake(::pthread_cond_t& condition, bool all) {
    point(all ? "notifies all" : "notifies one", &condition);
    checkAlive(condition, "notified");
    Fiber* longest = nullptr;
    for (auto const& fiber : fibers_) {
        if (fiber->state != Fiber::State::WaitsForCondition || fiber->waitsFor != &condition) {
            continue;
        }
        if (all) {
            fiber->resume();
        } else if (!longest || fiber->blockedAt < longest->blockedAt) {
            longest = fiber.get();
        }
    }
    if (longest) {
        longest->resume();
    }
}

void Scheduler::destroy(::pthread_cond_t& condition) {
    checkAlive(condition, "destroyed");
    for (auto const& fiber : fibers_) {
        if (fiber->state == Fiber::State::WaitsForCondition && fiber->waitsFor == &condition) {
            fail("a condition variable is destroyed while a thread waits for it");
        }
    }
}

} // namespace interleaving
