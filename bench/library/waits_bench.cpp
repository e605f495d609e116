// Waits: how soon after the report a waiter runs, and what asking without waiting costs, beside a bare
// condition variable.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "agent/spf/frameworksetup/ConfigTracker.hpp"
#include "support/exampleModel.hpp"

namespace {

using namespace spf::bench;
using agent::spf::frameworksetup::ConfigTracker;
using cppmicroservices::Any;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds failureGuard{60};

struct Tracked {
    bool wait() { return tracker.waitForAllEndpoints(failureGuard); }
    void wake() { tracker.completeEndpointBind(endpoint); }

    Any endpoint = makeID("bind", 1);
    ConfigTracker tracker{{endpoint}, {}, true};
};

struct Bare {
    bool wait() {
        std::unique_lock<std::mutex> lock(mutex);
        return condition.wait_until(lock, Clock::now() + failureGuard, [this] { return reached; });
    }
    void wake() {
        std::unique_lock<std::mutex> lock(mutex);
        reached = true;
        lock.unlock();
        condition.notify_all();
    }

    std::mutex mutex; // guards `reached`
    std::condition_variable condition;
    bool reached = false;
};

// Lets `count` threads wait on a new Waitable, wakes them, and returns how long it took until all ran.
template <typename Waitable>
double secondsUntilAllRun(std::size_t count) {
    Waitable waitable;
    std::atomic<std::size_t> beginning{0};
    std::atomic<bool> failed{false};
    std::vector<Clock::time_point> woken(count);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            ++beginning;
            failed = !waitable.wait() || failed;
            woken[i] = Clock::now();
        });
    }
    while (beginning < count) {
        std::this_thread::yield();
    }
    // They are about to block. Nothing tells when they do; a waiter that does not in this time makes the
    // figure smaller than it is, for either way alike.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    auto const begin = Clock::now();
    waitable.wake();
    auto last = begin;
    for (std::size_t i = 0; i < count; ++i) {
        threads[i].join();
        last = std::max(last, woken[i]);
    }
    return failed ? -1 : std::chrono::duration<double>(last - begin).count();
}

template <typename Waitable>
void wakeUp(benchmark::State& state) {
    for (auto _ : state) {
        auto const seconds = secondsUntilAllRun<Waitable>(static_cast<std::size_t>(state.range(0)));
        if (seconds < 0) {
            state.SkipWithError("a wait timed out");
        }
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(wakeUp, Tracked)
    ->Name("wake_up/library")
    ->Arg(1)
    ->Arg(64)
    ->UseManualTime()
    ->Iterations(30);
BENCHMARK_TEMPLATE(wakeUp, Bare)->Name("wake_up/floor")->Arg(1)->Arg(64)->UseManualTime()->Iterations(30);

void poll(benchmark::State& state) {
    Tracked waited;
    for (auto _ : state) {
        benchmark::DoNotOptimize(waited.tracker.waitForAllEndpoints(std::chrono::milliseconds::zero()));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(poll)->Name("poll/library");

void pollBare(benchmark::State& state) {
    Bare waited;
    for (auto _ : state) {
        std::unique_lock<std::mutex> lock(waited.mutex);
        benchmark::DoNotOptimize(Clock::now());
        benchmark::DoNotOptimize(waited.reached);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(pollBare)->Name("poll/floor");

} // namespace

BENCHMARK_MAIN();
