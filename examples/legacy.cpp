// Legacy: one call sets up the service framework with the fixed legacy configuration, which stays published
// until the framework stops. What was published can be looked at in Configuration Admin.
//
// usage: legacy [ENDPOINT]        the argument, which all examples have, is not used
#include <exception>
#include <iostream>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <agent/host/FrameworkAccess.hpp>
#include <agent/spf/frameworksetup/frameworksetup.hpp>

int main() try {
    using cppmicroservices::service::cm::ConfigurationAdmin;

    agent::spf::frameworksetup::setupFramework();
    agent::spf::frameworksetup::setupFramework(); // does no harm: the same configuration again

    auto context = agent::host::getFramework()->GetBundleContext();
    auto const admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
    auto const configuration = admin->GetFactoryConfiguration("qo.spf.framework", "LegacySetupFramework");
    auto const properties = configuration->GetProperties();
    auto const publishers = properties.find("servicePublisherConfigurations");
    if (publishers == properties.end()) {
        std::cerr << "the legacy configuration was not published\n";
        return 1;
    }
    std::cout << "published: " << publishers->second.ToString() << '\n';
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
