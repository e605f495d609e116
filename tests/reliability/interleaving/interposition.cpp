// The C library's mutex, condition variable, thread and clock calls, defined anew: the program's definitions
// come before those of the C library for everything in the process, libstdc++ included.
#include <cerrno>
#include <cstdlib>

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "Scheduler.hpp"

#define INTERPOSED extern "C" __attribute__((visibility("default")))

namespace {

using interleaving::Nanoseconds;
using interleaving::never;

constexpr Nanoseconds nanosecondsPerSecond = 1'000'000'000;

interleaving::Scheduler& scheduler() {
    return interleaving::Scheduler::instance();
}

// Nanoseconds, limited to their range: the greatest count means no deadline.
Nanoseconds fromTimespec(::timespec const& time) {
    Nanoseconds result = 0;
    if (__builtin_mul_overflow(static_cast<Nanoseconds>(time.tv_sec), nanosecondsPerSecond, &result) ||
        __builtin_add_overflow(result, static_cast<Nanoseconds>(time.tv_nsec), &result)) {
        return never;
    }
    return result;
}

int waitUntil(::pthread_cond_t* condition, ::pthread_mutex_t* mutex, ::timespec const* deadline) {
    return scheduler().waitUntil(*condition, *mutex, fromTimespec(*deadline)) ? 0 : ETIMEDOUT;
}

int sleepFor(::timespec const* duration) {
    auto const now = scheduler().now();
    auto const length = fromTimespec(*duration);
    scheduler().sleepUntil(length > never - now ? never : now + length);
    return 0;
}

} // namespace

INTERPOSED int pthread_mutex_lock(::pthread_mutex_t* mutex) noexcept {
    scheduler().lock(*mutex);
    return 0;
}

INTERPOSED int pthread_mutex_trylock(::pthread_mutex_t* mutex) noexcept {
    return scheduler().tryLock(*mutex) ? 0 : EBUSY;
}

INTERPOSED int pthread_mutex_unlock(::pthread_mutex_t* mutex) noexcept {
    scheduler().unlock(*mutex);
    return 0;
}

INTERPOSED int pthread_cond_wait(::pthread_cond_t* condition, ::pthread_mutex_t* mutex) {
    scheduler().waitUntil(*condition, *mutex, never);
    return 0;
}

INTERPOSED int pthread_cond_timedwait(::pthread_cond_t* condition, ::pthread_mutex_t* mutex,
                                      ::timespec const* deadline) {
    return waitUntil(condition, mutex, deadline);
}

// The clocks are one: virtual time.
INTERPOSED int pthread_cond_clockwait(::pthread_cond_t* condition, ::pthread_mutex_t* mutex, ::clockid_t,
                                      ::timespec const* deadline) {
    return waitUntil(condition, mutex, deadline);
}

INTERPOSED int pthread_cond_signal(::pthread_cond_t* condition) noexcept {
    scheduler().wake(*condition, false);
    return 0;
}

INTERPOSED int pthread_cond_broadcast(::pthread_cond_t* condition) noexcept {
    scheduler().wake(*condition, true);
    return 0;
}

INTERPOSED int pthread_cond_destroy(::pthread_cond_t* condition) noexcept {
    scheduler().destroy(*condition);
    return 0;
}

INTERPOSED int pthread_create(::pthread_t* thread, ::pthread_attr_t const*, void* (*routine)(void*),
                              void* argument) noexcept {
    if (!scheduler().isRunning()) {
        std::abort(); // only scheduled programs have threads
    }
    *thread = scheduler().create(routine, argument);
    return 0;
}

INTERPOSED int pthread_join(::pthread_t thread, void** result) {
    auto* const returned = scheduler().join(thread);
    if (result) {
        *result = returned;
    }
    return 0;
}

INTERPOSED int pthread_detach(::pthread_t thread) noexcept {
    scheduler().detach(thread);
    return 0;
}

INTERPOSED ::pthread_t pthread_self() noexcept {
    return scheduler().isRunning() ? scheduler().self()
                                   : reinterpret_cast<::pthread_t>(__builtin_thread_pointer());
}

INTERPOSED int sched_yield() noexcept {
    scheduler().point("yields");
    return 0;
}

INTERPOSED int clock_gettime(::clockid_t clock, ::timespec* time) noexcept {
    if (!scheduler().isRunning()) {
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    }
    auto const now = scheduler().now();
    time->tv_sec = static_cast<::time_t>(now / nanosecondsPerSecond);
    time->tv_nsec = static_cast<long>(now % nanosecondsPerSecond);
    return 0;
}

INTERPOSED int nanosleep(::timespec const* duration, ::timespec*) {
    return sleepFor(duration);
}

INTERPOSED int clock_nanosleep(::clockid_t, int flags, ::timespec const* time, ::timespec*) {
    if ((flags & TIMER_ABSTIME) == 0) {
        return sleepFor(time);
    }
    scheduler().sleepUntil(fromTimespec(*time));
    return 0;
}
