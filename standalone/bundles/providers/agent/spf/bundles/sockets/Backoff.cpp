// Doubling intervals and their jitter.
#include "agent/spf/bundles/sockets/Backoff.hpp"

#include <algorithm>
#include <memory>
#include <random>
#include <utility>

namespace agent::spf::bundles::sockets {

namespace {

constexpr double jitter = 0.25; // the part of an interval that chance may take away

Backoff::Random systemRandom() {
    auto engine = std::make_shared<std::minstd_rand>(std::random_device{}());
    return [engine] { return std::uniform_real_distribution<double>(0.0, 1.0)(*engine); };
}

} // namespace

Backoff::Backoff()
    : Backoff(systemRandom()) {}

Backoff::Backoff(Random random)
    : random_(std::move(random)) {}

std::chrono::milliseconds Backoff::next() {
    auto const interval = interval_;
    interval_ = std::min(interval_ * 2, limit);
    auto const shortened = static_cast<double>(interval.count()) * (1.0 - jitter * random_());
    return std::chrono::milliseconds(static_cast<std::chrono::milliseconds::rep>(shortened));
}

void Backoff::reset() noexcept {
    interval_ = first;
}

} // namespace agent::spf::bundles::sockets
