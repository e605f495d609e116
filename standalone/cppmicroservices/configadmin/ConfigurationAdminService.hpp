// The ConfigurationAdmin service: the public face of the store.
#ifndef CPPMICROSERVICES_CONFIGADMIN_CONFIGURATIONADMINSERVICE_HPP
#define CPPMICROSERVICES_CONFIGADMIN_CONFIGURATIONADMINSERVICE_HPP

#include "ConfigurationStore.hpp"

#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <memory>
#include <string>
#include <vector>

namespace agent::configurationadmin {

class ConfigurationAdminService final : public cppmicroservices::service::cm::ConfigurationAdmin {
public:
    using Configuration = cppmicroservices::service::cm::Configuration;

    explicit ConfigurationAdminService(std::shared_ptr<ConfigurationStore> store);

    std::shared_ptr<Configuration> GetConfiguration(std::string const& pid) override;
    std::shared_ptr<Configuration> CreateFactoryConfiguration(std::string const& factoryPid) override;
    std::shared_ptr<Configuration> GetFactoryConfiguration(std::string const& factoryPid,
                                                           std::string const& instanceName) override;
    std::vector<std::shared_ptr<Configuration>> ListConfigurations(std::string const& filter) override;

private:
    std::shared_ptr<ConfigurationStore> const store_;
};

} // namespace agent::configurationadmin

#endif
