// A call on a thread of its own, for tests of operations that block.
#ifndef TESTS_UNIT_SUPPORT_CONCURRENT_CALL_HPP
#define TESTS_UNIT_SUPPORT_CONCURRENT_CALL_HPP

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <unistd.h>

namespace agent::spf::frameworksetup::test {

// Starts the call when it is constructed; destroying it waits for the call to return.
template <typename Result>
class ConcurrentCall {
public:
    explicit ConcurrentCall(std::function<Result()> function)
        : result_(std::async(std::launch::async, [this, call = std::move(function)] {
            thread_ = ::gettid();
            return call();
        })) {}
    ConcurrentCall(ConcurrentCall const&) = delete;
    ConcurrentCall& operator=(ConcurrentCall const&) = delete;

    bool hasReturned() const {
        return result_.wait_for(std::chrono::seconds::zero()) == std::future_status::ready;
    }

    // Blocks until the call has returned; false when it does not within half a minute. That is shorter than
    // the time-outs of a minute that tests give to waits: one that ends by its own time-out was not woken up.
    bool returns() const { return result_.wait_for(std::chrono::seconds(30)) == std::future_status::ready; }

    // Blocks until the thread of the call sleeps in the kernel. False when the call has returned instead, or
    // after a minute.
    bool blocks() const {
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!hasReturned() && std::chrono::steady_clock::now() < deadline) {
            if (isAsleep()) {
                return true;
            }
            std::this_thread::yield();
        }
        return false;
    }

    // The result of the call, or its exception; an exception, too, when the call does not return in the time
    // of returns(). Once.
    Result get() {
        if (!returns()) {
            throw std::runtime_error("the call does not return");
        }
        return result_.get();
    }

private:
    // Reads the state of the thread from "<id> (<name>) <state> ...".
    bool isAsleep() const {
        auto const thread = thread_.load();
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string const text{std::istreambuf_iterator<char>(file), {}};
        auto const nameEnd = text.rfind(')');
        return thread != 0 && nameEnd != std::string::npos && text.compare(nameEnd, 3, ") S") == 0;
    }

    std::atomic<::pid_t> thread_{0}; // 0 until the call begins
    std::future<Result> result_;
};

} // namespace agent::spf::frameworksetup::test

#endif
