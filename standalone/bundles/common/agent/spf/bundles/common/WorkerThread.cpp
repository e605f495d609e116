// The thread and its loop, tasks that are waited for, and who may wait for whom.
#include "agent/spf/bundles/common/WorkerThread.hpp"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include <pthread.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

namespace agent::spf::bundles {

namespace {

// A task that somebody waits for. Holds the place for what the loop notes down of it, so that handing it over
// takes no memory: bundles stop by such tasks.
class AwaitedTask {
public:
    static constexpr std::size_t placeSize = 256; // bytes; far more than it takes

    explicit AwaitedTask(WorkerThread::Task const& task)
        : task_(task) {}

    void run() noexcept {
        try {
            task_();
        } catch (...) {
            error_ = std::current_exception();
        }
        std::lock_guard lock(mutex_);
        hasRun_ = true;
        ended_.notify_all(); // under the lock, for whoever waits takes this object away
    }

    // Throws what the task has thrown.
    void wait() {
        std::unique_lock lock(mutex_);
        ended_.wait(lock, [this] { return hasRun_; });
        if (error_) {
            std::rethrow_exception(error_);
        }
    }

    void* place() noexcept { return place_.data(); }

private:
    WorkerThread::Task const& task_;
    alignas(std::max_align_t) std::array<std::byte, placeSize> place_;
    std::mutex mutex_; // guards hasRun_
    std::condition_variable ended_;
    bool hasRun_ = false;
    std::exception_ptr error_; // written before hasRun_
};

// Gives the loop the task's place for the one thing that it allocates.
template <class T>
struct PlaceOf {
    using value_type = T;

    explicit PlaceOf(AwaitedTask& awaited) noexcept
        : task(&awaited) {}
    template <class Other>
    explicit PlaceOf(PlaceOf<Other> const& other) noexcept
        : task(other.task) {}

    T* allocate(std::size_t count) {
        static_assert(sizeof(T) <= AwaitedTask::placeSize && alignof(T) <= alignof(std::max_align_t));
        if (count != 1) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(task->place());
    }
    void deallocate(T*, std::size_t) noexcept {}

    friend bool operator==(PlaceOf const& left, PlaceOf const& right) { return left.task == right.task; }
    friend bool operator!=(PlaceOf const& left, PlaceOf const& right) { return left.task != right.task; }

    AwaitedTask* task;
};

// What is posted for an awaited task.
struct AwaitedRun {
    using allocator_type = PlaceOf<char>;
    allocator_type get_allocator() const noexcept { return allocator_type(*task); }
    void operator()() const noexcept { task->run(); }

    AwaitedTask* task;
};

// The workers that call listeners, each before those for which it may wait. Each bundle has this code of its
// own, so workers know each other by what the system knows: the names of their threads.
constexpr std::array<std::string_view, 4> workersInOrder{"spf-clients", "spf-framework", "spf-legacy",
                                                         "spf-rpc"};

std::size_t placeInOrder(std::string_view name) noexcept {
    return static_cast<std::size_t>(std::find(workersInOrder.begin(), workersInOrder.end(), name) -
                                    workersInOrder.begin());
}

// One call, so that lines stay whole.
void tellGivenUp(std::string const& worker, char const* reason) noexcept {
    std::fprintf(stderr, "%s: a task is given up: %s\n", worker.c_str(), reason);
}

// Runs all tasks. Nobody waits for one that is only posted, so what it throws is told here, and the process
// and the tasks behind it go on.
void runAll(boost::asio::io_context& tasks, std::string const& worker) {
    for (;;) {
        try {
            tasks.run();
            return;
        } catch (std::exception const& error) {
            tellGivenUp(worker, error.what());
        } catch (...) {
            tellGivenUp(worker, "an exception of unknown type");
        }
    }
}

} // namespace

struct WorkerThread::Loop {
    boost::asio::io_context context{1};
    std::shared_ptr<void> owner; // written before the thread is told to end
};

WorkerThread::WorkerThread(std::string const& name)
    : name_(name)
    , loop_(std::make_shared<Loop>())
    , guard_(boost::asio::make_work_guard(loop_->context))
    , thread_([loop = loop_, name] {
        ::pthread_setname_np(::pthread_self(), name.substr(0, 15).c_str());
        runAll(loop->context, name);
        loop->owner.reset();
    })
    , threadID_(thread_.get_id()) {}

WorkerThread::~WorkerThread() {
    stop();
}

bool WorkerThread::post(Task task) {
    std::lock_guard lock(mutex_);
    if (stopping_) {
        return false;
    }
    boost::asio::post(loop_->context, std::move(task));
    return true;
}

bool WorkerThread::run(Task const& task) {
    if (isCurrentThread()) {
        task();
        return true;
    }
    AwaitedTask awaited(task);
    {
        std::lock_guard lock(mutex_);
        if (stopping_) {
            return false;
        }
        boost::asio::post(loop_->context, AwaitedRun{&awaited});
    }
    awaited.wait();
    return true;
}

bool WorkerThread::isCurrentThread() const noexcept {
    return std::this_thread::get_id() == threadID_;
}

bool WorkerThread::mayBeAwaited() const noexcept {
    std::array<char, 16> current{};
    ::pthread_getname_np(::pthread_self(), current.data(), current.size());
    auto const place = placeInOrder(current.data());
    return place == workersInOrder.size() || place < placeInOrder(name_);
}

void WorkerThread::stop(std::shared_ptr<void> owner) {
    if (isCurrentThread() || (owner && !mayBeAwaited())) {
        return leave(std::move(owner));
    }
    endTasks({});
    std::lock_guard lock(joinMutex_);
    if (thread_.joinable()) {
        thread_.join();
    }
}

void WorkerThread::leave(std::shared_ptr<void> owner) {
    {
        std::lock_guard lock(joinMutex_);
        if (thread_.joinable()) {
            thread_.detach();
        }
    }
    endTasks(std::move(owner));
}

void WorkerThread::endTasks(std::shared_ptr<void> owner) {
    std::lock_guard lock(mutex_);
    if (!stopping_) {
        loop_->owner = std::move(owner);
    }
    stopping_ = true;
    guard_.reset();
}

boost::asio::io_context& WorkerThread::context() noexcept {
    return loop_->context;
}

void WorkerThread::prepareForTimersAndSockets() {
    boost::asio::steady_timer const first(loop_->context);
}

} // namespace agent::spf::bundles
