// How the provider's messages call a bundle: by its name, or by its number where the release lacks what is
// tested in additions/.
#ifndef TESTS_MICROSERVICES_BUNDLE_IN_MESSAGES_HPP
#define TESTS_MICROSERVICES_BUNDLE_IN_MESSAGES_HPP

#include <cppmicroservices/Bundle.h>

#include <string>

inline std::string bundleInMessages(std::string const& name, long id) {
    return "Bundle " + (SPF_MESSAGES_NAME_BUNDLES ? name : "#" + std::to_string(id));
}

inline std::string bundleInMessages(cppmicroservices::Bundle const& bundle) {
    return bundleInMessages(bundle.GetSymbolicName(), bundle.GetBundleId());
}

#endif
