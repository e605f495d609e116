// The service through which configurations are created, found and listed.
#ifndef CPPMICROSERVICES_CM_CONFIGURATIONADMIN_HPP
#define CPPMICROSERVICES_CM_CONFIGURATIONADMIN_HPP

#include <cppmicroservices/cm/Configuration.hpp>

#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices::service::cm {

// Thread-safe. Configurations live as long as the Configuration Admin bundle is active; nothing is stored on
// disk.
class ConfigurationAdmin {
public:
    virtual ~ConfigurationAdmin() noexcept = default;

    // The configuration of the PID, created with empty properties if there is none.
    virtual std::shared_ptr<Configuration> GetConfiguration(std::string const& pid) = 0;

    // A new configuration for the factory; its instance name is generated and not in use.
    virtual std::shared_ptr<Configuration> CreateFactoryConfiguration(std::string const& factoryPid) = 0;

    // The configuration with the PID "<factoryPid>~<instanceName>", created with empty properties if there is
    // none.
    virtual std::shared_ptr<Configuration> GetFactoryConfiguration(std::string const& factoryPid,
                                                                   std::string const& instanceName) = 0;

    // The configurations that have been updated at least once and match the LDAP filter; all of them if it is
    // empty. The filter sees the properties and, as "pid", the PID. Throws std::invalid_argument if the
    // filter is malformed.
    virtual std::vector<std::shared_ptr<Configuration>>
    ListConfigurations(std::string const& filter = {}) = 0;
};

} // namespace cppmicroservices::service::cm

#endif
