// Threads, points, choices and virtual time. Mutexes and condition variables are in synchronisation.cpp.
#include "Scheduler.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <exception>
#include <thread>
#include <utility>

#include "Fiber.hpp"
#include "sanitizers.hpp"

namespace interleaving {

namespace {

// Where virtual time begins; some time after the clock's zero, as on any machine that has been started.
constexpr Nanoseconds beginning = 1'000'000'000'000;
// A run that takes more steps is taken for endless.
constexpr std::size_t mostSteps = 100'000;

::ucontext_t outside; // of whoever called run()
void* outsideSanitizerStack = nullptr;

// The C++ run-time library keeps the exceptions that are being handled per kernel thread.
void exchangeExceptionGlobals(std::array<void*, 2>& save, std::array<void*, 2> const& load) {
    auto* const globals = static_cast<void*>(abi::__cxa_get_globals());
    std::memcpy(save.data(), globals, sizeof save);
    std::memcpy(globals, load.data(), sizeof load);
}

} // namespace

Scheduler& Scheduler::instance() {
    static Scheduler scheduler;
    return scheduler;
}

void Scheduler::run(std::function<void()> const& program, Chooser& chooser) {
    chooser_ = &chooser;
    now_ = beginning;
    steps_ = 0;
    undisturbed_ = 0;
    auto& first = start([&program]() -> void* {
        program();
        return nullptr;
    });
    std::array<void*, 2> ours = {};
    exchangeExceptionGlobals(ours, first.exceptionGlobals);
    current_ = &first;
    sanitizers::aboutToEnter(&outsideSanitizerStack, first.stack.get(), stackSize);
    ::swapcontext(&outside, &first.context);
    sanitizers::entered(outsideSanitizerStack);
    current_ = nullptr;
    std::array<void*, 2> theirs = {};
    exchangeExceptionGlobals(theirs, ours);
    for (auto& fiber : fibers_) {
        spareStacks_.push_back(std::move(fiber->stack));
    }
    fibers_.clear();
}

void Scheduler::fail(std::string const& finding) {
    report_(finding);
    std::abort();
}

Fiber& Scheduler::start(std::function<void*()> body) {
    auto& fiber = *fibers_.emplace_back(std::make_unique<Fiber>());
    fiber.index = fibers_.size() - 1;
    fiber.body = std::move(body);
    if (spareStacks_.empty()) {
        fiber.stack.reset(new std::byte[stackSize]);
    } else {
        fiber.stack = std::move(spareStacks_.back());
        spareStacks_.pop_back();
    }
    sanitizers::forgetStack(fiber.stack.get(), stackSize);
    ::getcontext(&fiber.context);
    fiber.context.uc_stack.ss_sp = fiber.stack.get();
    fiber.context.uc_stack.ss_size = stackSize;
    fiber.context.uc_link = nullptr;
    ::makecontext(&fiber.context, &Scheduler::enterFiber, 0);
    return fiber;
}

void Scheduler::enterFiber() {
    auto& scheduler = instance();
    sanitizers::entered(nullptr, scheduler.current_->index == 0);
    scheduler.runFiber(*scheduler.current_);
}

void Scheduler::runFiber(Fiber& fiber) {
    try {
        fiber.result = fiber.body();
        fiber.body = nullptr;
    } catch (std::exception const& error) {
        fail("an exception leaves thread " + std::to_string(fiber.index) + ": " + error.what());
    } catch (...) {
        fail("an exception leaves thread " + std::to_string(fiber.index));
    }
    say("ends", nullptr);
    leave(fiber);
}

void Scheduler::leave(Fiber& finished) {
    if (finished.locksHeld != 0) {
        fail("thread " + std::to_string(finished.index) + " ends with a mutex locked");
    }
    finished.state = Fiber::State::Finished;
    for (auto const& fiber : fibers_) {
        if (fiber->state == Fiber::State::WaitsForThread && fiber->waitsFor == &finished) {
            fiber->resume();
        }
    }
    auto const allFinished = std::all_of(fibers_.begin(), fibers_.end(), [](auto const& fiber) {
        return fiber->state == Fiber::State::Finished;
    });
    auto* const next = allFinished ? nullptr : decide(false);
    if (next) {
        std::array<void*, 2> unused = {};
        exchangeExceptionGlobals(unused, next->exceptionGlobals);
        current_ = next;
        sanitizers::aboutToEnter(nullptr, next->stack.get(), stackSize);
    } else {
        sanitizers::aboutToLeave();
    }
    ::setcontext(next ? &next->context : &outside);
    std::abort(); // setcontext() does not return
}

void Scheduler::switchTo(Fiber& next) {
    auto& previous = *current_;
    if (&previous == &next) {
        return;
    }
    exchangeExceptionGlobals(previous.exceptionGlobals, next.exceptionGlobals);
    current_ = &next;
    sanitizers::aboutToEnter(&previous.sanitizerStack, next.stack.get(), stackSize);
    ::swapcontext(&previous.context, &next.context);
    sanitizers::entered(previous.sanitizerStack);
}

void Scheduler::point(char const* what, void const* object) {
    if (!current_) {
        return;
    }
    say(what, object);
    if (undisturbed_ == 0) {
        switchTo(*decide(true));
    }
}

void Scheduler::block(char const* what, void const* object) {
    say(what, object);
    current_->blockedAt = steps_;
    switchTo(*decide(false));
}

// Who goes on. Time passes when nobody can.
Fiber* Scheduler::decide(bool currentCanRun) {
    if (++steps_ > mostSteps) {
        fail("the threads do not come to an end");
    }
    collectOptions(currentCanRun);
    while (options_.empty()) {
        if (!passTime()) {
            fail("deadlock: no thread can go on");
        }
        collectOptions(currentCanRun);
    }
    auto const option = options_.size() == 1 ? options_.front() : options_[chooser_->choose(options_)];
    auto& fiber = *fibers_[option.thread];
    if (option.kind == Option::Kind::Expire) {
        now_ = std::max(now_, fiber.deadline);
        fiber.timedOut = true;
    }
    if (option.kind != Option::Kind::Run) {
        fiber.resume();
    }
    return &fiber;
}

void Scheduler::collectOptions(bool currentCanRun) {
    options_.clear();
    if (currentCanRun) {
        options_.push_back({Option::Kind::Run, current_->index, false});
    }
    for (auto const& fiber : fibers_) {
        if (fiber->state == Fiber::State::Runnable && !(currentCanRun && fiber.get() == current_)) {
            options_.push_back({Option::Kind::Run, fiber->index, currentCanRun});
        }
    }
    if (options_.empty()) {
        return;
    }
    for (auto const& fiber : fibers_) {
        if (spuriousWakeUps_ && fiber->state == Fiber::State::WaitsForCondition) {
            options_.push_back({Option::Kind::WakeSpuriously, fiber->index, true});
        }
        if (expiry_ && fiber->isTimed()) {
            options_.push_back({Option::Kind::Expire, fiber->index, true});
        }
    }
}

// Lets time pass until the earliest deadline; false when there is none.
bool Scheduler::passTime() {
    auto earliest = never;
    for (auto const& fiber : fibers_) {
        if (fiber->isTimed()) {
            earliest = std::min(earliest, fiber->deadline);
        }
    }
    if (earliest == never) {
        return false;
    }
    now_ = std::max(now_, earliest);
    for (auto const& fiber : fibers_) {
        if (fiber->isTimed() && fiber->deadline == earliest) {
            fiber->timedOut = true;
            fiber->resume();
        }
    }
    return true;
}

Fiber& Scheduler::fiberOf(::pthread_t thread) {
    auto const found = std::find_if(fibers_.begin(), fibers_.end(), [thread](auto const& fiber) {
        return reinterpret_cast<::pthread_t>(fiber.get()) == thread;
    });
    if (found == fibers_.end()) {
        fail("a thread is joined or detached that does not exist");
    }
    return **found;
}

::pthread_t Scheduler::create(void* (*routine)(void*), void* argument) {
    auto& fiber = start([routine, argument] { return routine(argument); });
    point("starts a thread", &fiber);
    return reinterpret_cast<::pthread_t>(&fiber);
}

void* Scheduler::join(::pthread_t thread) {
    auto& fiber = fiberOf(thread);
    if (fiber.state != Fiber::State::Finished) {
        current_->state = Fiber::State::WaitsForThread;
        current_->waitsFor = &fiber;
        block("waits for a thread", &fiber);
    }
    return fiber.result;
}

void Scheduler::detach(::pthread_t thread) {
    fiberOf(thread);
}

::pthread_t Scheduler::self() const {
    return reinterpret_cast<::pthread_t>(current_);
}

void Scheduler::sleepUntil(Nanoseconds deadline) {
    current_->state = Fiber::State::Sleeps;
    current_->deadline = deadline;
    block("sleeps", nullptr);
}

int Scheduler::locksHeld() const {
    return current_ ? current_->locksHeld - current_->locksExcused : 0;
}

int Scheduler::excuseLocks(int count) {
    return std::exchange(current_->locksExcused, count);
}

void Scheduler::say(char const* what, void const* object) const {
    if (trace_ && current_) {
        std::fprintf(stderr, "%*sthread %zu %s %p\n", static_cast<int>(4 * current_->index), "",
                     current_->index, what, object);
    }
}

void require(bool condition, std::string const& otherwise) {
    if (!condition) {
        Scheduler::instance().fail(otherwise);
    }
}

void inParallel(std::vector<std::function<void()>> const& bodies) {
    auto& scheduler = Scheduler::instance();
    std::vector<std::thread> threads;
    scheduler.beginUndisturbed();
    for (auto const& body : bodies) {
        threads.emplace_back(body);
    }
    scheduler.endUndisturbed();
    for (auto& thread : threads) {
        thread.join();
    }
}

} // namespace interleaving
