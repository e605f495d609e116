// What the test bundles report to.
#include "Probe.hpp"

#include <utility>

namespace host_test {

Probe& Probe::instance() {
    static auto* const probe = new Probe; // bundles report until the process is gone
    return *probe;
}

void Probe::report(std::string const& event) {
    std::function<void(std::string const&)> hook;
    {
        std::lock_guard const lock(mutex_);
        events_.push_back(event);
        hook = hook_;
    }
    if (hook) {
        hook(event);
    }
}

std::vector<std::string> Probe::events() const {
    std::lock_guard const lock(mutex_);
    return events_;
}

void Probe::clear() {
    std::lock_guard const lock(mutex_);
    events_.clear();
    hook_ = nullptr;
}

void Probe::onReport(std::function<void(std::string const&)> hook) {
    std::lock_guard const lock(mutex_);
    hook_ = std::move(hook);
}

} // namespace host_test
