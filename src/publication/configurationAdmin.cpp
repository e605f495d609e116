// Access to the framework's ConfigurationAdmin service.
#include "publication/configurationAdmin.hpp"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceObjects.h>

#include "agent/host/FrameworkAccess.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::service::cm::ConfigurationAdmin;

namespace {

// The service goes before its framework: when the last reference to a framework is dropped elsewhere while an
// object of it is released, CppMicroServices reaches for what is gone.
struct ServiceOfFramework {
    std::shared_ptr<cppmicroservices::Framework> framework;
    std::shared_ptr<ConfigurationAdmin> service;
};

} // namespace

std::shared_ptr<ConfigurationAdmin> getConfigurationAdmin(cppmicroservices::LDAPFilter const& filter) {
    auto const held = std::make_shared<ServiceOfFramework>();
    held->framework = host::getFramework();
    if (!held->framework) {
        return nullptr;
    }
    auto context = held->framework->GetBundleContext();
    auto const references = context.GetServiceReferences<ConfigurationAdmin>(filter.ToString());
    if (references.empty()) {
        return nullptr;
    }
    held->service = context.GetServiceObjects(references.front()).GetService();
    return {held, held->service.get()};
}

} // namespace agent::spf::frameworksetup
