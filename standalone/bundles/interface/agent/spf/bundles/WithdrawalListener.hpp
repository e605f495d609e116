// The service interface through which publishers tell that a publisher configuration has no effect any more.
#ifndef AGENT_SPF_BUNDLES_WITHDRAWAL_LISTENER_HPP
#define AGENT_SPF_BUNDLES_WITHDRAWAL_LISTENER_HPP

#include <string>

namespace agent::spf::bundles {

// Registered by the bundle that made the publisher configurations. Thread safe; must not block.
class WithdrawalListener {
public:
    virtual ~WithdrawalListener() = default;

    // The publisher configuration with this PID has been removed and nothing of it is left: no socket, no
    // connection, no service. Also called when there was nothing to withdraw, and possibly more than once.
    virtual void withdrawn(std::string const& pid) = 0;
};

} // namespace agent::spf::bundles

#endif
