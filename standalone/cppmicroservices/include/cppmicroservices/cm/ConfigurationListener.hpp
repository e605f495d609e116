// A service that is told of every change of every configuration, and the event it gets.
#ifndef CPPMICROSERVICES_CM_CONFIGURATIONLISTENER_HPP
#define CPPMICROSERVICES_CM_CONFIGURATIONLISTENER_HPP

#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <string>
#include <utility>

namespace cppmicroservices::service::cm {

enum class ConfigurationEventType { CM_UPDATED = 1, CM_DELETED = 2 };

// For a configuration that belongs to no factory, getPid() is its PID and getFactoryPid() is empty. For a
// factory configuration, getPid() is empty and getFactoryPid() is its PID, "<factory PID>~<instance name>".
class ConfigurationEvent {
public:
    ConfigurationEvent(ServiceReference<ConfigurationAdmin> configAdmin, ConfigurationEventType const type,
                       std::string factoryPid, std::string pid)
        : configAdmin_(std::move(configAdmin))
        , type_(type)
        , factoryPid_(std::move(factoryPid))
        , pid_(std::move(pid)) {}

    // The Configuration Admin service that holds or held the configuration.
    ServiceReference<ConfigurationAdmin> const& getReference() const noexcept { return configAdmin_; }
    std::string const& getPid() const noexcept { return pid_; }
    std::string const& getFactoryPid() const noexcept { return factoryPid_; }
    ConfigurationEventType getType() const noexcept { return type_; }

private:
    ServiceReference<ConfigurationAdmin> const configAdmin_;
    ConfigurationEventType const type_;
    std::string const factoryPid_;
    std::string const pid_;
};

class ConfigurationListener {
public:
    virtual ~ConfigurationListener() noexcept = default;

    // Called on threads of Configuration Admin: in order for one PID, possibly concurrently for different
    // PIDs.
    virtual void configurationEvent(ConfigurationEvent const& event) = 0;
};

} // namespace cppmicroservices::service::cm

#endif
