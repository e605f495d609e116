// The room that a publisher bundle has for what its peers offer.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_OFFERS_ROOM_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_OFFERS_ROOM_HPP

#include <cstddef>
#include <map>
#include <string>

#include "agent/spf/bundles/EndpointProvider.hpp"

namespace agent::spf::bundles::publisher {

// Counts the bytes of the messages that say what the peers offer now: what is kept of them takes many times
// as many. One origin gets half of the room at most, so that no peer alone takes it from the others.
class OffersRoom {
public:
    static constexpr std::size_t maximum = 16 * maximumFrameSize; // bytes
    static constexpr std::size_t maximumOfOneOrigin = maximum / 2;

    // Takes room for a message in place of the one before, either of which may be none: of size 0. Throws
    // std::runtime_error, and changes nothing, when there is too little.
    void replace(std::string const& origin, std::size_t before, std::size_t now);

private:
    std::size_t taken_ = 0;
    std::map<std::string, std::size_t> takenByOrigin_;
};

} // namespace agent::spf::bundles::publisher

#endif
