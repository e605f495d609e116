// Runs the threads of a program one at a time and asks a chooser, at every synchronising call, which goes on.
//
// The program is ordinary code: interposition.cpp defines the mutex, condition variable, thread and clock
// calls of the C library and leads them here. Threads are fibers of one kernel thread, so a run is determined
// by the choices alone. Time is virtual: it stands still while a thread can run, and jumps to the earliest
// deadline when none can.
#ifndef TESTS_RELIABILITY_INTERLEAVING_SCHEDULER_HPP
#define TESTS_RELIABILITY_INTERLEAVING_SCHEDULER_HPP

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <pthread.h>

namespace interleaving {

using Nanoseconds = std::int64_t;
inline constexpr Nanoseconds never = std::numeric_limits<Nanoseconds>::max();

// One way to go on.
struct Option {
    enum class Kind {
        Run,            // the thread goes on
        WakeSpuriously, // the thread returns from its wait on a condition variable for no reason
        Expire,         // time passes until the deadline of the thread's wait
    };
    Kind kind;
    std::size_t thread; // numbered in the order of creation; 0 is the program itself
    bool preempts;      // the running thread could have gone on, or need not have been disturbed
};

// Decides at every point where there is more than one way to go on.
class Chooser {
public:
    virtual ~Chooser() = default;
    // Returns an index. The first option lets the running thread go on, if it can.
    virtual std::size_t choose(std::vector<Option> const& options) = 0;
};

struct Fiber;

class Scheduler {
public:
    // The one of the process.
    static Scheduler& instance();

    // Runs the program and all threads that it starts to their ends. `report` is called with what is found:
    // a deadlock, misuse of a mutex, an exception that leaves a thread, a failed require(). It must not
    // return.
    void run(std::function<void()> const& program, Chooser& chooser);
    void onFinding(std::function<void(std::string const&)> report) { report_ = std::move(report); }
    [[noreturn]] void fail(std::string const& finding);

    // Whether waits may also return before anybody notified them, and expire although a thread could run.
    void allowSpuriousWakeUps(bool allowed) { spuriousWakeUps_ = allowed; }
    void allowExpiry(bool allowed) { expiry_ = allowed; }

    // Prints every step to standard error.
    void trace(bool on) { trace_ = on; }

    bool isRunning() const { return current_ != nullptr; }
    Nanoseconds now() const { return now_; }

    // A point at which another thread may go on. `what` is for the trace.
    void point(char const* what, void const* object = nullptr);
    // Between these the running thread goes on at every point, unless it blocks.
    void beginUndisturbed() { ++undisturbed_; }
    void endUndisturbed() { --undisturbed_; }

    // How many mutexes the running thread holds, those excused left out.
    int locksHeld() const;
    // Sets how many are excused; returns how many were.
    int excuseLocks(int count);

    // What interposition.cpp leads here. Mutexes are used in place, whoever uses them and whenever; the rest
    // only while a program runs.
    void lock(pthread_mutex_t& mutex);
    bool tryLock(pthread_mutex_t& mutex);
    void unlock(pthread_mutex_t& mutex);
    bool waitUntil(pthread_cond_t& condition, pthread_mutex_t& mutex,
                   Nanoseconds deadline); // false: time-out
    void wake(pthread_cond_t& condition, bool all);
    void destroy(pthread_cond_t& condition);
    pthread_t create(void* (*routine)(void*), void* argument);
    void* join(pthread_t thread);
    void detach(pthread_t thread);
    pthread_t self() const;
    void sleepUntil(Nanoseconds deadline);

private:
    Scheduler() = default;
    Fiber& start(std::function<void*()> body);
    Fiber& fiberOf(pthread_t thread);
    static void enterFiber();
    [[noreturn]] void runFiber(Fiber& fiber);
    void block(char const* what, void const* object);
    Fiber* decide(bool currentCanRun);
    void collectOptions(bool currentCanRun);
    bool passTime();
    void switchTo(Fiber& next);
    [[noreturn]] void leave(Fiber& finished);
    void release(pthread_mutex_t& mutex);
    void acquire(pthread_mutex_t& mutex);
    void checkAlive(pthread_cond_t const& condition, char const* operation);
    void say(char const* what, void const* object) const;

    std::function<void(std::string const&)> report_;
    bool spuriousWakeUps_ = false;
    bool expiry_ = false;
    bool trace_ = false;

    // Of the program that runs.
    Chooser* chooser_ = nullptr;
    std::vector<std::unique_ptr<Fiber>> fibers_;
    std::vector<std::unique_ptr<std::byte[]>> spareStacks_;
    Fiber* current_ = nullptr;
    int undisturbed_ = 0;
    Nanoseconds now_ = 0;
    std::size_t steps_ = 0;
    std::vector<Option> options_;
};

// Fails the run unless the condition holds.
void require(bool condition, std::string const& otherwise);

// Runs the bodies on threads of their own, all of which exist before any of them begins, and waits for them.
void inParallel(std::vector<std::function<void()>> const& bodies);

} // namespace interleaving

#endif
