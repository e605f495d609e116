// Access to the framework's ConfigurationAdmin service.
#include "publication/configurationAdmin.hpp"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceObjects.h>

#include "agent/host/FrameworkAccess.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::service::cm::ConfigurationAdmin;

std::shared_ptr<ConfigurationAdmin> getConfigurationAdmin(cppmicroservices::LDAPFilter const& filter) {
    auto const framework = host::getFramework();
    if (!framework) {
        return nullptr;
    }
    auto context = framework->GetBundleContext();
    auto const references = context.GetServiceReferences<ConfigurationAdmin>(filter.ToString());
    if (references.empty()) {
        return nullptr;
    }
    return context.GetServiceObjects(references.front()).GetService();
}

} // namespace agent::spf::frameworksetup
