// The record of what the doubles saw.
#include "support/CallLog.hpp"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace agent::spf::frameworksetup::test {

void CallLog::record(std::string const& call) {
    std::vector<Hook> hooks;
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        calls_.push_back(call);
        if (whenAny_) {
            hooks.push_back(whenAny_);
        }
        for (auto watch = watches_.begin(); watch != watches_.end();) {
            auto const due = watch->call == call && watch->skip-- == 0;
            if (due) {
                hooks.push_back(watch->hook);
                watch->skip = 0;
            }
            watch = due && watch->once ? watches_.erase(watch) : std::next(watch);
        }
    }
    recorded_.notify_all();
    for (auto const& hook : hooks) {
        hook();
    }
}

void CallLog::when(std::string const& call, Hook hook) {
    std::lock_guard<std::mutex> const lock(mutex_);
    watches_.push_back({call, 0, false, std::move(hook)});
}

void CallLog::whenNth(std::size_t n, std::string const& call, Hook hook) {
    std::lock_guard<std::mutex> const lock(mutex_);
    watches_.push_back({call, n - 1, true, std::move(hook)});
}

void CallLog::whenAny(Hook hook) {
    std::lock_guard<std::mutex> const lock(mutex_);
    whenAny_ = std::move(hook);
}

std::vector<std::string> CallLog::calls() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return calls_;
}

std::vector<std::string> CallLog::callsOf(std::string const& beginning) const {
    auto const all = calls();
    std::vector<std::string> result;
    std::copy_if(all.begin(), all.end(), std::back_inserter(result),
                 [&](std::string const& call) { return call.compare(0, beginning.size(), beginning) == 0; });
    return result;
}

std::size_t CallLog::count(std::string const& call) const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return static_cast<std::size_t>(std::count(calls_.begin(), calls_.end(), call));
}

bool CallLog::waitFor(std::string const& call, std::size_t n) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return recorded_.wait_for(lock, std::chrono::minutes(1), [&] {
        return std::count(calls_.begin(), calls_.end(), call) >= static_cast<std::ptrdiff_t>(n);
    });
}

void CallLog::forgetCalls() {
    std::lock_guard<std::mutex> const lock(mutex_);
    calls_.clear();
}

void CallLog::reset() {
    std::lock_guard<std::mutex> const lock(mutex_);
    calls_.clear();
    watches_.clear();
    whenAny_ = nullptr;
}

CallLog& callLog() {
    static CallLog log;
    return log;
}

CallLog::Hook throwing(std::string message) {
    return [message = std::move(message)] { throw std::runtime_error(message); };
}

} // namespace agent::spf::frameworksetup::test
