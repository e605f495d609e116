// The one record of what a test's doubles saw, in the order in which they saw it, and the place where a test
// steps in.
#ifndef TESTS_UNIT_SUPPORT_CALL_LOG_HPP
#define TESTS_UNIT_SUPPORT_CALL_LOG_HPP

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace agent::spf::frameworksetup::test {

// Calls are texts: the operation, then its arguments. Thread safe.
class CallLog {
public:
    using Hook = std::function<void()>;

    // Appends the call and then runs the hooks set for it, on the calling thread and without a lock: a hook
    // may throw, block and call anything. Its exception leaves through the double that recorded the call.
    void record(std::string const& call);

    // Runs the hook at every occurrence of the call from now on, or at the n-th only, counted from 1 and from
    // now.
    void when(std::string const& call, Hook hook);
    void whenNth(std::size_t n, std::string const& call, Hook hook);

    // Runs the hook at every call from now on, before those that are set for the call.
    void whenAny(Hook hook);

    std::vector<std::string> calls() const;
    // The calls that begin with the text.
    std::vector<std::string> callsOf(std::string const& beginning) const;
    std::size_t count(std::string const& call) const;

    // Blocks until the call has been recorded n times; false when that does not happen in a minute.
    bool waitFor(std::string const& call, std::size_t n = 1) const;

    // Forgets the calls; the hooks stay.
    void forgetCalls();
    // Forgets calls and hooks.
    void reset();

private:
    struct Watch {
        std::string call;
        std::size_t skip; // occurrences to come before the hook runs
        bool once;
        Hook hook;
    };

    mutable std::mutex mutex_; // guards the members below
    mutable std::condition_variable recorded_;
    std::vector<std::string> calls_;
    std::vector<Watch> watches_;
    Hook whenAny_; // empty when there is none
};

// The call log that all doubles of the process share.
CallLog& callLog();

// A hook that throws std::runtime_error with the message.
CallLog::Hook throwing(std::string message);

} // namespace agent::spf::frameworksetup::test

#endif
