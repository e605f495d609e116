// The threads that run the queues: how many there are, and what each does next.
#include "SerialQueues.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <utility>

namespace agent::configurationadmin {

namespace {

constexpr std::chrono::microseconds watchTimeBeforeSleep{5};
constexpr std::chrono::seconds idleTimeBeforeRetirement{10};
constexpr std::chrono::milliseconds patienceWithBusyThreads{5};

std::size_t const maximumOfBusyThreads = std::max<std::size_t>(2, std::thread::hardware_concurrency());

} // namespace

thread_local SerialQueues::Current SerialQueues::current_;

void SerialQueues::ReadyQueues::append(NamedQueue& queue) noexcept {
    *end_ = &queue;
    end_ = &queue.second.nextReady;
}

SerialQueues::NamedQueue& SerialQueues::ReadyQueues::takeFirst() noexcept {
    auto& queue = *first_;
    first_ = std::exchange(queue.second.nextReady, nullptr);
    if (empty()) {
        end_ = &first_;
    }
    return queue;
}

void SerialQueues::start() {
    std::lock_guard lock{mutex_};
    startThreadWithLock();
}

std::shared_future<void> SerialQueues::post(std::string const& name, Job job) {
    std::list<Entry> entry; // one, made before the mutex is locked
    entry.push_back({std::move(job), {}});
    auto result = entry.front().done.get_future().share();
    std::unique_lock lock{mutex_};
    if (refusing_) {
        lock.unlock();
        entry.front().done.set_value();
        return result;
    }
    auto& queue = *queues_.try_emplace(name).first;
    auto const isReady = !queue.second.scheduled;
    queue.second.entries.splice(queue.second.entries.end(), entry);
    if (isReady) {
        queue.second.scheduled = true;
        ready_.append(queue);
        callThreadWithLock();
    } else if (waiters_ > 0) {
        progress_.notify_all();
    }
    return result;
}

void SerialQueues::wait(std::shared_future<void> const& result) {
    if (current_.owner != this) {
        result.wait();
        return;
    }
    std::unique_lock lock{mutex_};
    ++waiters_;
    while (result.wait_for(std::chrono::seconds::zero()) != std::future_status::ready) {
        if (current_.queue->entries.empty()) {
            progress_.wait(lock);
        } else {
            runFrontWithLock(*current_.queue, lock);
        }
    }
    --waiters_;
}

void SerialQueues::refuse() {
    std::lock_guard lock{mutex_};
    refusing_ = true;
}

void SerialQueues::stop() {
    std::list<Entry> dropped;
    {
        std::lock_guard lock{mutex_};
        if (current_.owner == this) {
            dropped.swap(current_.queue->entries);
        }
        called_.notify_all();
    }
    for (auto& entry : dropped) {
        entry.job = nullptr;
        entry.done.set_value();
    }
    std::unique_lock lock{mutex_};
    progress_.notify_all();
    while (!threads_.empty() || !retired_.empty()) { // threads that run what is left may start others
        std::list<std::thread> threads;
        threads.swap(threads_);
        threads.splice(threads.end(), retired_);
        lock.unlock();
        for (auto& thread : threads) {
            if (thread.get_id() == std::this_thread::get_id()) {
                thread.detach(); // it shares the ownership of this object
            } else {
                thread.join();
            }
        }
        lock.lock();
    }
}

void SerialQueues::startThreadWithLock() {
    threads_.emplace_back([self = shared_from_this()] { self->work(); });
}

// To be called when there is a ready queue more than before or one thread less to see to those that there
// are.
void SerialQueues::callThreadWithLock() {
    if (busy_ >= maximumOfBusyThreads && lookingOut_) {
        return;
    }
    if (watching_) {
        watcherCalled_.store(true, std::memory_order_relaxed);
        return;
    }
    if (idle_ > 0) {
        called_.notify_one();
        return;
    }
    try {
        startThreadWithLock();
    } catch (std::exception const&) {
        // The system is out of threads, or of memory: the queue waits for one of those that there are.
    }
}

void SerialQueues::work() {
    std::unique_lock lock{mutex_};
    while (awaitReadyQueueWithLock(lock)) {
        runReadyQueueWithLock(lock);
    }
    if (!refusing_) {
        retireWithLock(lock);
    }
}

// True if there is a ready queue for the calling thread to run, false if the thread is to end.
bool SerialQueues::awaitReadyQueueWithLock(std::unique_lock<std::mutex>& lock) {
    for (;;) {
        auto const allBusy = busy_ >= maximumOfBusyThreads;
        if (ready_.empty() || (allBusy && lookingOut_)) {
            if (refusing_ || !idleWithLock(lock)) {
                return false;
            }
        } else if (allBusy) {
            lookOutWithLock(lock);
        } else {
            return true;
        }
    }
}

// False if the calling thread is to retire: others idle already, or it was not needed for long.
bool SerialQueues::idleWithLock(std::unique_lock<std::mutex>& lock) {
    if (!watching_ && ready_.empty()) {
        watchWithLock(lock);
        if (refusing_ || !ready_.empty()) {
            return true;
        }
    }
    if (idle_ >= maximumOfBusyThreads) {
        return false;
    }
    ++idle_;
    auto const status = called_.wait_for(lock, idleTimeBeforeRetirement);
    --idle_;
    return status == std::cv_status::no_timeout || !ready_.empty() || threads_.size() == 1;
}

// The next job often follows at once, for instance from who was told by the last one, while waking a thread
// that sleeps takes longer than all else from post() to the job. Watches briefly, because a thread that
// sleeps is given a busy processor sooner than one that has used it for nothing.
void SerialQueues::watchWithLock(std::unique_lock<std::mutex>& lock) {
    watching_ = true;
    watcherCalled_.store(false, std::memory_order_relaxed);
    lock.unlock();
    auto const end = std::chrono::steady_clock::now() + watchTimeBeforeSleep;
    while (!watcherCalled_.load(std::memory_order_relaxed) && std::chrono::steady_clock::now() < end) {
    }
    lock.lock();
    watching_ = false;
}

// A timed look instead of a wait: threads that are blocked have nobody who could say so.
void SerialQueues::lookOutWithLock(std::unique_lock<std::mutex>& lock) {
    lookingOut_ = true;
    auto const finishedBefore = finished_;
    lock.unlock();
    std::this_thread::sleep_for(patienceWithBusyThreads);
    lock.lock();
    lookingOut_ = false;
    if (finished_ == finishedBefore && busy_ >= maximumOfBusyThreads) {
        busy_ = 0;
        ++round_;
    }
}

// Afterwards the queue is ready again, for this thread if no other takes it, or gone.
void SerialQueues::runReadyQueueWithLock(std::unique_lock<std::mutex>& lock) {
    auto& queue = ready_.takeFirst();
    ++busy_;
    auto const round = round_;
    if (!ready_.empty()) {
        callThreadWithLock();
    }
    current_ = {this, &queue.second};
    runFrontWithLock(queue.second, lock);
    current_ = {};
    if (round == round_) {
        --busy_;
    }
    if (queue.second.entries.empty()) {
        queues_.erase(queues_.find(queue.first));
    } else {
        ready_.append(queue);
    }
}

void SerialQueues::runFrontWithLock(Queue& queue, std::unique_lock<std::mutex>& lock) {
    std::list<Entry> entry;
    entry.splice(entry.begin(), queue.entries, queue.entries.begin());
    lock.unlock();
    entry.front().job();
    entry.front().job = nullptr;
    entry.front().done.set_value();
    entry.clear(); // before the mutex is locked
    lock.lock();
    ++finished_;
    if (waiters_ > 0) {
        progress_.notify_all();
    }
}

void SerialQueues::retireWithLock(std::unique_lock<std::mutex>& lock) {
    std::list<std::thread> predecessors;
    predecessors.swap(retired_);
    auto const self = std::find_if(threads_.begin(), threads_.end(), [](std::thread const& thread) {
        return thread.get_id() == std::this_thread::get_id();
    });
    retired_.splice(retired_.end(), threads_, self);
    lock.unlock();
    for (auto& predecessor : predecessors) {
        predecessor.join();
    }
}

} // namespace agent::configurationadmin
