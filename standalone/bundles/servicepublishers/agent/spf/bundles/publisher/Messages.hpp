// What publishers say to each other: a greeting, then what each side offers.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_MESSAGES_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_MESSAGES_HPP

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "agent/spf/bundles/RemoteOffers.hpp"

namespace agent::spf::bundles::publisher {

inline constexpr int protocolVersion = 1;

// The longest name, or unique ID, of an agent, a publisher or an interface. Whoever tells people of a peer or
// its offers tells these, as often as the peer likes; and every service that is made of an offer carries
// them.
inline constexpr std::size_t maximumNameSize = 1024; // bytes

// So many interfaces one peer may offer; each becomes a service of the registry.
inline constexpr std::size_t maximumInterfaces = 4096;

// The first message of each side: of the side that connected at once, of the other one in answer to it.
struct Hello {
    std::string agent;     // the sender's agent identity
    std::string publisher; // unique ID of the sender's publisher
};

// Everything that the sender offers from now on; it takes the place of an earlier message of this kind.
struct Offers {
    std::vector<RemoteOffer> offers;
};

using Message = std::variant<Hello, Offers>;

// Throw std::runtime_error, which names it, when a limit is exceeded.
cppmicroservices::AnyMap encode(Hello const& hello);
cppmicroservices::AnyMap encode(Offers const& offers);

// Throws std::runtime_error that says what is wrong with the message, also when a limit is exceeded, or its
// sender speaks another version of the protocol.
Message decode(cppmicroservices::AnyMap const& message);

} // namespace agent::spf::bundles::publisher

#endif
