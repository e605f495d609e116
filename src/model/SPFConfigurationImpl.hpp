// What a configuration handle holds: a published configuration.
#ifndef MODEL_SPF_CONFIGURATION_IMPL_HPP
#define MODEL_SPF_CONFIGURATION_IMPL_HPP

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "model/modelContainers.hpp"

namespace agent::spf::frameworksetup {

class SPFConfigurationUpdateTracker;

// Constructing one publishes; destroying one withdraws. Not thread safe.
class SPFConfigurationImpl {
public:
    // Swaps the content for an empty one, adds one to the count, starts the framework's bundles and
    // publishes. Throws what starting and publishing throw; the content is lost and nothing is withdrawn
    // then. When there is no memory to begin with, the content stays where it was.
    SPFConfigurationImpl(std::string&& configurationID, std::int32_t previousModificationCount,
                         ServiceInterfaces&& interfaces, ServicePublishers&& publishers,
                         ServiceMappings&& mappings);
    // As above, with copies of what the caller keeps. Inline, for the library itself hands its content over
    // and need not carry the code that copies the containers.
    SPFConfigurationImpl(std::string configurationID, std::int32_t previousModificationCount,
                         ServiceInterfaces const& interfaces, ServicePublishers const& publishers,
                         ServiceMappings mappings)
        : SPFConfigurationImpl(std::move(configurationID), previousModificationCount,
                               ServiceInterfaces(interfaces), ServicePublishers(publishers),
                               std::move(mappings)) {}
    SPFConfigurationImpl(SPFConfigurationImpl const&) = delete;
    SPFConfigurationImpl& operator=(SPFConfigurationImpl const&) = delete;

    // Withdraws the configuration unless its ID is empty; a failure is dropped.
    ~SPFConfigurationImpl();

    // The configuration ID, by which the configuration is withdrawn. Set by publication when it was empty,
    // cleared when there is no ConfigurationAdmin and when the responsibility for withdrawing has passed on.
    std::string name;
    std::int32_t modificationCount;
    ServiceInterfaces serviceInterfaces;
    ServicePublishers servicePublishers;
    ServiceMappings serviceMappings;
    std::shared_ptr<SPFConfigurationUpdateTracker> updateTracker; // null when nothing was published

private:
    void publishToConfigurationAdmin();
};

} // namespace agent::spf::frameworksetup

#endif
