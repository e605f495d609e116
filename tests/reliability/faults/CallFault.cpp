// The counter of calls.
#include "faults/CallFault.hpp"

#include <utility>

namespace agent::spf::frameworksetup::test {

namespace {
thread_local CallFault* current = nullptr;
} // namespace

thread_local std::size_t refusedUnregistrations = 0;

CallFault::CallFault(std::size_t n, Duration duration, std::function<void()> toRaise)
    : callsLeft(n)
    , lasting(duration == Duration::Lasting)
    , raise(std::move(toRaise)) {
    current = this;
}

CallFault::~CallFault() {
    current = nullptr;
}

bool CallFault::happened() const {
    return thrown;
}

void passCall() {
    auto* const fault = current;
    if (!fault || fault->callsLeft == 0 || --fault->callsLeft != 0) {
        return;
    }
    fault->thrown = true;
    fault->callsLeft = fault->lasting ? 1 : 0;
    fault->raise();
}

} // namespace agent::spf::frameworksetup::test
