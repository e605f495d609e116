// The words on which the library and the framework's bundles agree: keys of the published property map, names
// and persistent identifiers. A key is compared without regard to case, a name exactly. A framework has a
// copy of its own, as the standalone bundles have in their ConfigurationKeys.hpp: agreed on are the words,
// not a file.
#ifndef CONFIGURATION_KEYS_HPP
#define CONFIGURATION_KEYS_HPP

namespace agent::spf::frameworksetup {

// The factory PID under which every configuration is published; its instance name is the configuration ID.
inline constexpr char const* configurationFactoryPID = "qo.spf.framework";
// Between the factory PID and the instance name in a factory configuration's PID.
inline constexpr char const* instanceSeparator = "~";

// Publisher names, and the factory PIDs that they select.
inline constexpr char const* legacyPublisherName = "legacyservicepublisher";
inline constexpr char const* rpcPublisherName = "rpcservicepublisher";
inline constexpr char const* legacyPublisherFactoryPID = "qo.spf.legacyservicepublisher";
inline constexpr char const* rpcPublisherFactoryPID = "qo.spf.rpcservicepublisher";

namespace key {
inline constexpr char const* serviceConfigurations = "serviceConfigurations";
inline constexpr char const* servicePublisherConfigurations = "servicePublisherConfigurations";
inline constexpr char const* servicePublisherMappings = "servicePublisherMappings";
inline constexpr char const* modificationCount = "modificationCount";

inline constexpr char const* uniqueID = "uniqueID";
inline constexpr char const* name = "name";
inline constexpr char const* version = "version";
inline constexpr char const* major = "major";
inline constexpr char const* requestedProperties = "requestedProperties";

inline constexpr char const* factoryPID = "factoryPID";
inline constexpr char const* config = "config";
inline constexpr char const* endpointsToConnectTo = "endpointsToConnectTo";
inline constexpr char const* endpointsToBindTo = "endpointsToBindTo";
inline constexpr char const* importFilter = "importFilter";
inline constexpr char const* exportFilter = "exportFilter";

inline constexpr char const* serviceID = "serviceID";
inline constexpr char const* publisherID = "publisherID";
} // namespace key

} // namespace agent::spf::frameworksetup

#endif
