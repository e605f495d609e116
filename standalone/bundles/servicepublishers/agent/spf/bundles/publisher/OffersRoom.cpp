// Counting what peers offer.
#include "agent/spf/bundles/publisher/OffersRoom.hpp"

#include <stdexcept>

namespace agent::spf::bundles::publisher {

namespace {

[[noreturn]] void refuse(std::string const& whose, std::size_t allowed) {
    throw std::runtime_error(whose + " together offer more than " + std::to_string(allowed) + " bytes");
}

} // namespace

void OffersRoom::replace(std::string const& origin, std::size_t before, std::size_t now) {
    auto const known = takenByOrigin_.find(origin);
    auto const takenByOrigin = (known == takenByOrigin_.end() ? 0 : known->second) - before + now;
    auto const taken = taken_ - before + now;
    if (takenByOrigin > maximumOfOneOrigin) {
        refuse("the peers of " + origin, maximumOfOneOrigin);
    }
    if (taken > maximum) {
        refuse("all peers", maximum);
    }
    if (takenByOrigin == 0) {
        takenByOrigin_.erase(origin);
    } else {
        takenByOrigin_[origin] = takenByOrigin;
    }
    taken_ = taken;
}

} // namespace agent::spf::bundles::publisher
