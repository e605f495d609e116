// The service interface through which publishers tell how their endpoints fare, down to each failed attempt.
#ifndef AGENT_SPF_BUNDLES_ENDPOINT_STATUS_LISTENER_HPP
#define AGENT_SPF_BUNDLES_ENDPOINT_STATUS_LISTENER_HPP

#include <cstdint>
#include <string>

namespace agent::spf::bundles {

// What a publisher is to do with an endpoint. One publisher may do both with endpoints of the same text.
enum class EndpointRole : std::uint32_t { Bind, Connect };

enum class EndpointState : std::uint32_t {
    Binding,    // about to listen; what it waits for is the reason
    Bound,      // the socket listens
    Connecting, // no connection yet; the reason of the last failed attempt is the reason
    Connected,  // a peer has answered the handshake
    Lost,       // was bound or connected and is no longer; it is tried again
    Failed,     // given up until the configuration changes
};

// One endpoint of one publisher at one moment.
struct EndpointStatus {
    std::string publisher; // the publisher's unique ID
    std::string endpoint;  // as the configuration has it
    EndpointRole role;
    EndpointState state;
    std::string reason; // English text for a person: the reason last seen, or empty
    std::uint32_t modificationCount;
};

// Registered as a service by whoever shows endpoints to a person. A listener that is registered while
// publishers are at work is told the present status of every endpoint first.
//
// Called on the publishers' threads, several of them at once when there are several publisher bundles; for
// one endpoint in the order of the changes. An implementation must be thread safe and must not block.
class EndpointStatusListener {
public:
    virtual ~EndpointStatusListener() = default;
    virtual void endpointChanged(EndpointStatus const& status) = 0;
};

} // namespace agent::spf::bundles

#endif
