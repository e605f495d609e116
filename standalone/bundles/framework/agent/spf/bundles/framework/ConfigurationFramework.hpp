// The managed service factory for published configurations.
#ifndef AGENT_SPF_BUNDLES_FRAMEWORK_CONFIGURATION_FRAMEWORK_HPP
#define AGENT_SPF_BUNDLES_FRAMEWORK_CONFIGURATION_FRAMEWORK_HPP

#include <memory>

#include <cppmicroservices/BundleContext.h>

namespace agent::spf::bundles::framework {

// At work from its construction to its destruction, which may come in the middle of an event that it
// delivers. Everything happens on one thread of its own: Configuration Admin's threads only leave a note of
// what they deliver, so that they are never held up by a listener of events, and a delivery may cause
// another.
class ConfigurationFramework {
public:
    explicit ConfigurationFramework(cppmicroservices::BundleContext const& context);
    ~ConfigurationFramework();
    ConfigurationFramework(ConfigurationFramework const&) = delete;
    ConfigurationFramework& operator=(ConfigurationFramework const&) = delete;

private:
    class Impl;
    std::shared_ptr<Impl> const impl_;
};

} // namespace agent::spf::bundles::framework

#endif
