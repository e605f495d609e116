// The ConfigurationAdmin service: passes everything on to the store.
#include "ConfigurationAdminService.hpp"

#include <utility>

namespace agent::configurationadmin {

ConfigurationAdminService::ConfigurationAdminService(std::shared_ptr<ConfigurationStore> store)
    : store_(std::move(store)) {}

std::shared_ptr<ConfigurationAdminService::Configuration>
ConfigurationAdminService::GetConfiguration(std::string const& pid) {
    return store_->get(pid);
}

std::shared_ptr<ConfigurationAdminService::Configuration>
ConfigurationAdminService::CreateFactoryConfiguration(std::string const& factoryPid) {
    return store_->create(factoryPid);
}

std::shared_ptr<ConfigurationAdminService::Configuration>
ConfigurationAdminService::GetFactoryConfiguration(std::string const& factoryPid,
                                                   std::string const& instanceName) {
    return store_->get(factoryPid, instanceName);
}

std::vector<std::shared_ptr<ConfigurationAdminService::Configuration>>
ConfigurationAdminService::ListConfigurations(std::string const& filter) {
    return store_->list(filter);
}

} // namespace agent::configurationadmin
