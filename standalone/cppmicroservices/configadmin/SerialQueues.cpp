#include "SerialQueues.hpp"

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

namespace agent::configurationadmin {

namespace {

constexpr std::chrono::seconds idleTimeBeforeRetirement{10};

} // namespace

thread_local SerialQueues::Current SerialQueues::current_;

std::shared_ptr<SerialQueues> SerialQueues::create() {
    std::shared_ptr<SerialQueues> queues{new SerialQueues};
    std::lock_guard lock{queues->mutex_};
    queues->startThreadWithLock();
    return queues;
}

std::shared_future<void> SerialQueues::post(std::string const& name, Job job) {
    Entry entry{std::move(job), {}};
    auto result = entry.done.get_future().share();
    std::unique_lock lock{mutex_};
    if (stopping_) {
        lock.unlock();
        entry.done.set_value();
        return result;
    }
    auto& queue = *queues_.try_emplace(name).first;
    queue.second.entries.push_back(std::move(entry));
    if (!queue.second.scheduled) {
        queue.second.scheduled = true;
        scheduleWithLock(queue);
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

void SerialQueues::stop() {
    std::deque<Entry> dropped;
    std::list<std::thread> threads;
    {
        std::lock_guard lock{mutex_};
        stopping_ = true;
        if (current_.owner == this) {
            dropped.swap(current_.queue->entries);
        }
        threads.swap(threads_);
        threads.splice(threads.end(), retired_);
        readyOrStopping_.notify_all();
    }
    for (auto& entry : dropped) {
        entry.job = nullptr;
        entry.done.set_value();
    }
    {
        std::lock_guard lock{mutex_};
        progress_.notify_all();
    }
    for (auto& thread : threads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach(); // it shares the ownership of this object
        } else {
            thread.join();
        }
    }
}

void SerialQueues::startThreadWithLock() {
    threads_.emplace_back([self = shared_from_this()] { self->work(); });
}

void SerialQueues::scheduleWithLock(NamedQueue& queue) {
    ready_.push_back(&queue);
    if (idle_ >= ready_.size()) {
        readyOrStopping_.notify_one();
        return;
    }
    try {
        startThreadWithLock();
    } catch (std::system_error const&) {
        // The system is out of threads: the queue waits for one of those that there are.
    }
}

void SerialQueues::work() {
    std::unique_lock lock{mutex_};
    while (awaitReadyQueueWithLock(lock)) {
        auto& queue = *ready_.front();
        ready_.pop_front();
        runQueueOnceWithLock(queue, lock);
    }
    if (!stopping_) {
        retireWithLock(lock);
    }
}

// False if the calling thread is to end.
bool SerialQueues::awaitReadyQueueWithLock(std::unique_lock<std::mutex>& lock) {
    auto const hasNews = [this] { return stopping_ || !ready_.empty(); };
    ++idle_;
    while (!readyOrStopping_.wait_for(lock, idleTimeBeforeRetirement, hasNews) && threads_.size() == 1) {
    }
    --idle_;
    return !ready_.empty();
}

// Afterwards the queue is ready again, for this thread if no other takes it, or gone.
void SerialQueues::runQueueOnceWithLock(NamedQueue& queue, std::unique_lock<std::mutex>& lock) {
    current_ = {this, &queue.second};
    runFrontWithLock(queue.second, lock);
    current_ = {};
    if (queue.second.entries.empty()) {
        queues_.erase(queues_.find(queue.first));
    } else {
        ready_.push_back(&queue);
    }
}

void SerialQueues::runFrontWithLock(Queue& queue, std::unique_lock<std::mutex>& lock) {
    auto entry = std::move(queue.entries.front());
    queue.entries.pop_front();
    lock.unlock();
    entry.job();
    entry.job = nullptr;
    entry.done.set_value();
    lock.lock();
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
