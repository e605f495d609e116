// What must not be left undone for want of memory at one moment.
#ifndef AGENT_SPF_BUNDLES_COMMON_PERSISTENTLY_HPP
#define AGENT_SPF_BUNDLES_COMMON_PERSISTENTLY_HPP

#include <chrono>
#include <new>
#include <thread>

namespace agent::spf::bundles {

// What the action returns. When it throws std::bad_alloc it is called again, a few times and after pauses in
// which somebody may give memory back; the last exception goes to the caller. An action that throws has done
// nothing.
template <class Action>
auto persistently(Action const& action) {
    constexpr std::chrono::milliseconds pause{2};
    for (int attemptsLeft = 5;; --attemptsLeft) {
        try {
            return action();
        } catch (std::bad_alloc const&) {
            if (attemptsLeft == 1) {
                throw;
            }
        }
        std::this_thread::sleep_for(pause);
    }
}

} // namespace agent::spf::bundles

#endif
