// Runs jobs asynchronously: in order within a queue, while no queue ever waits for another.
#ifndef CPPMICROSERVICES_CONFIGADMIN_SERIALQUEUES_HPP
#define CPPMICROSERVICES_CONFIGADMIN_SERIALQUEUES_HPP

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>

namespace agent::configurationadmin {

// Queues come into being with their first job and go with their last. As many threads as there are processors
// run the jobs of ready queues, one job at a time. When all of them are busy and queues are ready, one more
// thread looks out: if none of them finishes a job for a moment, they are taken for blocked, no longer
// counted, and replaced. So a job that blocks holds up nothing but its own queue, and jobs that do not block
// cause no crowd of threads. A thread that runs out of work watches out for more for some microseconds before
// it sleeps, and ends when there was none for a while.
//
// Thread-safe. Owned by shared pointers; after start(), stop() must be called before the last owner goes.
class SerialQueues : public std::enable_shared_from_this<SerialQueues> {
public:
    // A job must not throw. It may call every member of this class.
    using Job = std::function<void()>;

    // To be called once, before anything else. Throws std::system_error if the system provides no thread.
    void start();

    // Appends the job to the queue. The result is ready when the job has run and has been destroyed, or at
    // once if jobs are refused: the job then does not run. Destroying the result never waits.
    std::shared_future<void> post(std::string const& name, Job job);

    // Waits until the result of a post() is ready. Inside a job, the jobs that queue up behind it run
    // meanwhile on this thread, inside this call; so jobs may wait for their own queue, and for each other in
    // a circle.
    void wait(std::shared_future<void> const& result);

    // Lets nobody post any more jobs.
    void refuse();

    // To be called after refuse(). Returns when all accepted jobs have run and all threads have ended. Called
    // inside a job, it drops the jobs behind that one, whose results become ready, and the calling thread
    // ends when the job returns.
    void stop();

private:
    struct Entry {
        Job job;
        std::promise<void> done;
    };
    struct Queue;
    using NamedQueue = std::pair<std::string const, Queue>;
    struct Queue {
        std::list<Entry> entries;
        bool scheduled = false;          // in ready_ or run by a thread
        NamedQueue* nextReady = nullptr; // behind this one in ready_
    };

    // Queues in the order in which they became ready. Linked to each other, so that a thread puts back a
    // queue without need of memory, the lack of which it could tell nobody.
    class ReadyQueues {
    public:
        ReadyQueues() = default;
        ReadyQueues(ReadyQueues const&) = delete;
        ReadyQueues& operator=(ReadyQueues const&) = delete;

        bool empty() const noexcept { return first_ == nullptr; }
        void append(NamedQueue& queue) noexcept;
        // There must be one.
        NamedQueue& takeFirst() noexcept;

    private:
        NamedQueue* first_ = nullptr;
        NamedQueue** end_ = &first_; // where the next one is linked
    };

    // What the calling thread is running, if it is a thread of this class.
    struct Current {
        SerialQueues* owner = nullptr;
        Queue* queue = nullptr;
    };
    static thread_local Current current_;

    void startThreadWithLock();
    void callThreadWithLock();
    void work();
    bool awaitReadyQueueWithLock(std::unique_lock<std::mutex>& lock);
    bool idleWithLock(std::unique_lock<std::mutex>& lock);
    void watchWithLock(std::unique_lock<std::mutex>& lock);
    void lookOutWithLock(std::unique_lock<std::mutex>& lock);
    void runReadyQueueWithLock(std::unique_lock<std::mutex>& lock);
    void runFrontWithLock(Queue& queue, std::unique_lock<std::mutex>& lock);
    void retireWithLock(std::unique_lock<std::mutex>& lock);

    // Guards everything below. No job is run or destroyed under it, and no entry is allocated or freed: both
    // can wait for a thread that does the same, which would keep all others waiting.
    std::mutex mutex_;
    std::unordered_map<std::string, Queue> queues_;
    ReadyQueues ready_;              // have entries and wait for a thread
    std::list<std::thread> threads_; // at least one from start() to stop()
    std::list<std::thread> retired_; // at most one: each thread that retires joins the one before it
    std::size_t idle_ = 0;           // threads that wait in called_ or have just been called
    std::size_t busy_ = 0;           // threads that run a job and are not taken for blocked
    std::size_t round_ = 0;          // how often all busy threads have been taken for blocked
    std::size_t finished_ = 0;       // jobs
    std::size_t waiters_ = 0;        // jobs that wait in progress_
    bool watching_ = false;          // some thread is in watchWithLock()
    bool lookingOut_ = false;        // some thread is in lookOutWithLock()
    bool refusing_ = false;
    std::atomic<bool> watcherCalled_{false}; // set under the mutex, read by the watching thread without it
    std::condition_variable called_;
    std::condition_variable progress_; // a job is done or has been appended
};

} // namespace agent::configurationadmin

#endif
