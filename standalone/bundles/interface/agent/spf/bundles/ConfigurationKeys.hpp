// The words of the property maps: of a published configuration, and of the publisher configurations made of
// it.
#ifndef AGENT_SPF_BUNDLES_CONFIGURATION_KEYS_HPP
#define AGENT_SPF_BUNDLES_CONFIGURATION_KEYS_HPP

namespace agent::spf::bundles {

namespace pids {
inline constexpr char framework[] = "qo.spf.framework";
inline constexpr char rpcPublisher[] = "qo.spf.rpcservicepublisher";
inline constexpr char legacyPublisher[] = "qo.spf.legacyservicepublisher";
} // namespace pids

namespace keys {
// A published configuration.
inline constexpr char serviceConfigurations[] = "serviceConfigurations";
inline constexpr char servicePublisherConfigurations[] = "servicePublisherConfigurations";
inline constexpr char servicePublisherMappings[] = "servicePublisherMappings";
inline constexpr char modificationCount[] = "modificationCount";
// A mapping.
inline constexpr char serviceID[] = "serviceID";
inline constexpr char publisherID[] = "publisherID";
// An interface or a publisher.
inline constexpr char name[] = "name";
inline constexpr char uniqueID[] = "uniqueID";
inline constexpr char version[] = "version";
inline constexpr char major[] = "major";
inline constexpr char requestedProperties[] = "requestedProperties";
inline constexpr char factoryPID[] = "factoryPID";
inline constexpr char config[] = "config";
// The "config" of a publisher.
inline constexpr char endpointsToConnectTo[] = "endpointsToConnectTo";
inline constexpr char endpointsToBindTo[] = "endpointsToBindTo";
inline constexpr char importFilter[] = "importFilter";
inline constexpr char exportFilter[] = "exportFilter";
// A requested property whose key begins so must be carried by the service, under the rest of the key.
inline constexpr char requiredServicePropertyPrefix[] = "spf::requiredServiceProperty::";
} // namespace keys

// A publisher configuration, delivered under the publisher's factory PID, holds "name", "uniqueID" and
// "config" of the publisher, "serviceConfigurations" with the interfaces that are mapped to it, and
// "modificationCount".

} // namespace agent::spf::bundles

#endif
