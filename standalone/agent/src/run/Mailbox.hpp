// A queue through which threads tell one other thread what happened.
#ifndef AGENT_PROGRAM_RUN_MAILBOX_HPP
#define AGENT_PROGRAM_RUN_MAILBOX_HPP

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace agent::program {

// Thread safe.
template <typename Message>
class Mailbox {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t capacity = 1000; // messages; beyond it those who can wait do

    // Never blocks.
    void put(Message message) {
        std::lock_guard const lock(mutex_);
        messages_.push_back(std::move(message));
        arrived_.notify_one();
    }

    // Overtakes what is there already. Never blocks.
    void putFirst(Message message) {
        std::lock_guard const lock(mutex_);
        messages_.push_front(std::move(message));
        arrived_.notify_one();
    }

    // Waits until there is room. For what others bring about, who may do so faster than it can be told.
    void putWhenThereIsRoom(Message message) {
        std::unique_lock lock(mutex_);
        roomMade_.wait(lock, [this] { return isClosed_ || messages_.size() < capacity; });
        messages_.push_back(std::move(message));
        arrived_.notify_one();
    }

    // The first message; nothing if none arrives before the deadline.
    std::optional<Message> take(Clock::time_point deadline) {
        std::unique_lock lock(mutex_);
        if (!arrived_.wait_until(lock, deadline, [this] { return !messages_.empty(); })) {
            return std::nullopt;
        }
        std::optional<Message> message(std::move(messages_.front()));
        messages_.pop_front();
        roomMade_.notify_one();
        return message;
    }

    bool isEmpty() const {
        std::lock_guard const lock(mutex_);
        return messages_.empty();
    }

    // Nobody takes anything any more: nobody waits for room either.
    void close() {
        std::lock_guard const lock(mutex_);
        isClosed_ = true;
        roomMade_.notify_all();
    }

private:
    mutable std::mutex mutex_; // guards what follows
    std::condition_variable arrived_;
    std::condition_variable roomMade_;
    std::deque<Message> messages_;
    bool isClosed_ = false;
};

} // namespace agent::program

#endif
