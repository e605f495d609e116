// The configurations that Configuration Admin holds for the service framework.
#include "run/frameworkConfigurations.hpp"

#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "agent/spf/bundles/ConfigurationKeys.hpp"

namespace agent::program {

std::map<std::string, cppmicroservices::AnyMap>
frameworkConfigurations(cppmicroservices::BundleContext context) {
    using cppmicroservices::service::cm::ConfigurationAdmin;
    std::map<std::string, cppmicroservices::AnyMap> maps;
    auto const reference = context.GetServiceReference<ConfigurationAdmin>();
    auto const admin = reference ? context.GetService(reference) : nullptr;
    if (!admin) {
        return maps;
    }
    std::string const prefix = std::string(spf::bundles::pids::framework) + "~";
    for (auto const& configuration : admin->ListConfigurations()) {
        auto const pid = configuration->GetPid();
        if (pid.compare(0, prefix.size(), prefix) == 0) {
            maps.emplace(pid.substr(prefix.size()), configuration->GetProperties());
        }
    }
    return maps;
}

} // namespace agent::program
