// An interface that a peer offers, as a service of the local registry.
#ifndef AGENT_SPF_BUNDLES_REMOTE_SERVICE_HPP
#define AGENT_SPF_BUNDLES_REMOTE_SERVICE_HPP

#include <string>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::bundles {

// Keys of the service properties under which a RemoteService is registered. Their values are strings, but for
// the version, which is an int (the interface's major version). Beside them the service carries the required
// runtime properties of the interface, each under its own name, and the requested ones. Those whose key is,
// but for letter case, one of these or one of the registry's own (objectclass, service.id, service.scope,
// service.ranking) are left out, required or not.
namespace remoteservice {
inline constexpr char const* interfaceKey = "interface"; // the interface's name
inline constexpr char const* uniqueIDKey = "uniqueID";   // the interface's unique ID at the peer
inline constexpr char const* versionKey = "version";     // the interface's major version
inline constexpr char const* publisherKey = "publisher"; // unique ID of the peer's publisher that offers it
inline constexpr char const* peerKey = "peer";           // the peer's agent identity
inline constexpr char const* endpointKey = "endpoint"; // the local endpoint through which the peer is reached
inline constexpr char const* localPublisherKey =
    "localPublisher"; // unique ID of the local publisher that imports it
} // namespace remoteservice

// Registered for as long as the peer is connected and offers the interface, and the importFilter of the local
// publisher lets it pass. An interface that reaches this process through two endpoints is registered twice.
//
// Immutable, so thread safe; an object that outlives its registration keeps its values.
class RemoteService {
public:
    virtual ~RemoteService() = default;

    virtual std::string const& interfaceName() const noexcept = 0;
    virtual std::string const& uniqueID() const noexcept = 0;
    virtual std::string const& publisher() const noexcept = 0;
    virtual std::string const& peer() const noexcept = 0;
    virtual std::string const& endpoint() const noexcept = 0;
    virtual std::string const& localPublisher() const noexcept = 0;

    // The service properties, as registered; the map's keys are case-insensitive.
    virtual cppmicroservices::AnyMap const& properties() const noexcept = 0;
};

} // namespace agent::spf::bundles

#endif
