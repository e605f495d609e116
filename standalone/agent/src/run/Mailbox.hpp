// A queue through which threads tell one other thread what happened.
#ifndef AGENT_PROGRAM_RUN_MAILBOX_HPP
#define AGENT_PROGRAM_RUN_MAILBOX_HPP

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace agent::program {

// Thread safe. Never blocks those who put something in.
template <typename Message>
class Mailbox {
public:
    using Clock = std::chrono::steady_clock;

    void put(Message message) {
        {
            std::lock_guard const lock(mutex_);
            messages_.push_back(std::move(message));
        }
        arrived_.notify_one();
    }

    // The oldest message; nothing if none arrives before the deadline.
    std::optional<Message> take(Clock::time_point deadline) {
        std::unique_lock lock(mutex_);
        if (!arrived_.wait_until(lock, deadline, [this] { return !messages_.empty(); })) {
            return std::nullopt;
        }
        std::optional<Message> message(std::move(messages_.front()));
        messages_.pop_front();
        return message;
    }

private:
    std::mutex mutex_; // guards messages_
    std::condition_variable arrived_;
    std::deque<Message> messages_;
};

} // namespace agent::program

#endif
