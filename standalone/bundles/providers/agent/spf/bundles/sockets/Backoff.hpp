// How long to wait before the next attempt: growing intervals with jitter, up to a limit.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_BACKOFF_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_BACKOFF_HPP

#include <chrono>
#include <functional>

namespace agent::spf::bundles::sockets {

// Not thread safe.
class Backoff {
public:
    static constexpr std::chrono::milliseconds first{50};
    static constexpr std::chrono::milliseconds limit{5000};

    // Returns a number of [0, 1).
    using Random = std::function<double()>;

    Backoff(); // with a random source seeded by the system
    explicit Backoff(Random random);

    // The next interval: twice the one before, cut at the limit, less a random part of up to a quarter, so
    // that many who lost the same peer do not come back at the same moment.
    std::chrono::milliseconds next();

    // The next interval is the first one again.
    void reset() noexcept;

private:
    Random random_;
    std::chrono::milliseconds interval_ = first;
};

} // namespace agent::spf::bundles::sockets

#endif
