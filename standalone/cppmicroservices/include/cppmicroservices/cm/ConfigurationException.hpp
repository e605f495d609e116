// What a managed service throws when it cannot use the configuration that it was given.
#ifndef CPPMICROSERVICES_CM_CONFIGURATIONEXCEPTION_HPP
#define CPPMICROSERVICES_CM_CONFIGURATIONEXCEPTION_HPP

#include <stdexcept>
#include <string>
#include <utility>

namespace cppmicroservices::service::cm {

// what() names the reason and the offending property, if one is given.
class ConfigurationException : public std::runtime_error {
public:
    ConfigurationException(std::string reason, std::string property = "")
        : std::runtime_error("ConfigurationException due to " + reason +
                             (property.empty() ? "" : " (with property: " + property + ")"))
        , reason_(std::move(reason))
        , property_(std::move(property)) {}

    ~ConfigurationException() noexcept override = default;

    std::string GetReason() const { return reason_; }
    std::string GetProperty() const { return property_; }

private:
    std::string const reason_;
    std::string const property_;
};

} // namespace cppmicroservices::service::cm

#endif
