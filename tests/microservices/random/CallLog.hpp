// What is called while an operation runs, on any thread.
#ifndef TESTS_MICROSERVICES_RANDOM_CALL_LOG_HPP
#define TESTS_MICROSERVICES_RANDOM_CALL_LOG_HPP

#include <algorithm>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace randomised {

class CallLog {
public:
    void add(std::string receiver, std::string call) {
        std::lock_guard const lock(mutex_);
        calls_.emplace_back(std::move(receiver), std::move(call));
    }

    // Writes the calls, those of one receiver in their order, and forgets them. In which order receivers are
    // called is open.
    void flush(std::ostream& transcript) {
        std::lock_guard const lock(mutex_);
        std::stable_sort(calls_.begin(), calls_.end(),
                         [](Call const& left, Call const& right) { return left.first < right.first; });
        for (auto const& [receiver, call] : std::exchange(calls_, {})) {
            transcript << "    " << receiver << ": " << call << '\n';
        }
    }

private:
    using Call = std::pair<std::string, std::string>;
    std::mutex mutex_; // guards calls_
    std::vector<Call> calls_;
};

} // namespace randomised

#endif
