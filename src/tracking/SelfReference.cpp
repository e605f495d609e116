// How a listener comes by a reference to itself.
#include "tracking/SelfReference.hpp"

#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"

namespace agent::spf::frameworksetup {

void SelfReference::take() noexcept {
    if (!listener) {
        return;
    }
    try {
        kept = listener->shared_from_this(); // weak_from_this().lock() counts twice as often
    } catch (...) {
        // std::bad_weak_ptr: no shared pointer owns it. Whoever does keeps it while it handles an event.
    }
}

} // namespace agent::spf::frameworksetup
