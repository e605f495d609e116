// Makes a call to the host, to ConfigurationAdmin or to the framework throw.
#ifndef TESTS_RELIABILITY_FAULTS_CALL_FAULT_HPP
#define TESTS_RELIABILITY_FAULTS_CALL_FAULT_HPP

#include <cstddef>
#include <functional>

namespace agent::spf::frameworksetup::test {

// While it exists, the n-th call that the thread makes, counted from 1, throws what `raise` throws; the ones
// before do what they do, and so do those after it unless the fault lasts. One at a time per thread.
class CallFault {
public:
    enum class Duration { Once, Lasting };

    CallFault(std::size_t n, Duration duration, std::function<void()> raise);
    ~CallFault();
    CallFault(CallFault const&) = delete;
    CallFault& operator=(CallFault const&) = delete;

    // Whether there was an n-th call.
    bool happened() const;

private:
    friend void passCall();

    std::size_t callsLeft; // until the one that throws, which is counted; 0: none throws
    bool const lasting;
    bool thrown = false;
    std::function<void()> const raise;
};

// What every call that is to be counted passes, before it does anything.
void passCall();

// How often unregistering a service threw on this thread; for the test to reset.
extern thread_local std::size_t refusedUnregistrations;

} // namespace agent::spf::frameworksetup::test

#endif
