// A door that one thread opens and others wait at.
#ifndef TESTS_UNIT_SUPPORT_GATE_HPP
#define TESTS_UNIT_SUPPORT_GATE_HPP

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace agent::spf::frameworksetup::test {

// Closed at first, opened once, open from then on. Thread safe.
class Gate {
public:
    void open() {
        std::lock_guard<std::mutex> const lock(mutex_);
        open_ = true;
        opened_.notify_all();
    }

    // Blocks until the gate is open. False when nobody opens it within a minute: something went wrong.
    bool wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        return opened_.wait_for(lock, std::chrono::minutes(1), [this] { return open_; });
    }

private:
    std::mutex mutex_; // guards `open_`
    std::condition_variable opened_;
    bool open_ = false;
};

} // namespace agent::spf::frameworksetup::test

#endif
