// The words of the property maps: of a published configuration, and of the publisher configurations made of
// it.
#ifndef AGENT_SPF_BUNDLES_CONFIGURATION_KEYS_HPP
#define AGENT_SPF_BUNDLES_CONFIGURATION_KEYS_HPP

namespace agent::spf::bundles {

namespace pids {
inline constexpr char const* framework = "qo.spf.framework";
inline constexpr char const* rpcPublisher = "qo.spf.rpcservicepublisher";
inline constexpr char const* legacyPublisher = "qo.spf.legacyservicepublisher";
} // namespace pids

namespace keys {
// A published configuration.
inline constexpr char const* serviceConfigurations = "serviceConfigurations";
inline constexpr char const* servicePublisherConfigurations = "servicePublisherConfigurations";
inline constexpr char const* servicePublisherMappings = "servicePublisherMappings";
inline constexpr char const* modificationCount = "modificationCount";
// A mapping.
inline constexpr char const* serviceID = "serviceID";
inline constexpr char const* publisherID = "publisherID";
// An interface or a publisher.
inline constexpr char const* name = "name";
inline constexpr char const* uniqueID = "uniqueID";
inline constexpr char const* version = "version";
inline constexpr char const* major = "major";
inline constexpr char const* requestedProperties = "requestedProperties";
inline constexpr char const* factoryPID = "factoryPID";
inline constexpr char const* config = "config";
// The "config" of a publisher.
inline constexpr char const* endpointsToConnectTo = "endpointsToConnectTo";
inline constexpr char const* endpointsToBindTo = "endpointsToBindTo";
inline constexpr char const* importFilter = "importFilter";
inline constexpr char const* exportFilter = "exportFilter";
// A requested property whose key begins so must be carried by the service, under the rest of the key.
inline constexpr char const* requiredServicePropertyPrefix = "spf::requiredServiceProperty::";
} // namespace keys

// A publisher configuration, delivered under the publisher's factory PID, holds "name", "uniqueID" and
// "config" of the publisher, "serviceConfigurations" with the interfaces that are mapped to it, and
// "modificationCount".

} // namespace agent::spf::bundles

#endif
