// A named thread that runs tasks one after the other: the place where all of a bundle's state is touched.
#ifndef AGENT_SPF_BUNDLES_COMMON_WORKER_THREAD_HPP
#define AGENT_SPF_BUNDLES_COMMON_WORKER_THREAD_HPP

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

namespace agent::spf::bundles {

// Thread safe. State that only tasks of one worker touch needs no lock.
class WorkerThread {
public:
    using Task = std::function<void()>;

    // `name` is what debuggers and ps show: at most 15 characters.
    explicit WorkerThread(std::string const& name);
    ~WorkerThread(); // stops
    WorkerThread(WorkerThread const&) = delete;
    WorkerThread& operator=(WorkerThread const&) = delete;

    // Runs the task after those that were posted before. False, and the task is dropped, once stop() has
    // begun. What it throws is told on standard error.
    bool post(Task task);

    // Runs the task and returns when it has run; on the worker's own thread it runs at once. False, and the
    // task is dropped, once stop() has begun. Throws what the task throws. Needs no memory.
    bool run(Task const& task);

    bool isCurrentThread() const noexcept;

    // Whether the current thread may wait for this one. Listeners on the threads of several bundles may stop
    // each other's bundles at the same time: a worker waits only for those behind it in an order of all, so
    // that no ring of them waits. What it does not wait for happens soon after. False on the own thread.
    bool mayBeAwaited() const noexcept;

    // Ends the thread once the tasks posted so far have run and all asynchronous operations of context() have
    // ended; whoever began them cancels them before. Idempotent. A task that calls it does not wait, nor does
    // one of a worker that may not wait for this one if there is an owner, as with leave().
    void stop(std::shared_ptr<void> owner = {});

    // As stop(), but does not wait for the thread, which keeps `owner` until it ends: what the tasks refer
    // to, this object included. Needs no memory.
    void leave(std::shared_ptr<void> owner);

    // For timers and sockets, whose completion handlers are tasks of this worker.
    boost::asio::io_context& context() noexcept;

    // Opens the files that timers and sockets take beside their own, and which the first of them would open
    // otherwise: to be called at the start of a bundle, so that none fails later for want of these.
    void prepareForTimersAndSockets();

private:
    struct Loop;

    void endTasks(std::shared_ptr<void> owner);

    std::string const name_;
    std::shared_ptr<Loop> const loop_; // shared with the thread, which may outlive this object
    mutable std::mutex mutex_;         // guards stopping_ and guard_
    bool stopping_ = false;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_;
    std::mutex joinMutex_; // guards thread_ against two joins; no task takes it
    std::thread thread_;
    std::thread::id const threadID_;
};

} // namespace agent::spf::bundles

#endif
