// The discovery service over announcements in a runtime directory.
#ifndef AGENT_SPF_BUNDLES_DISCOVERY_RUNTIME_DIRECTORY_DISCOVERY_HPP
#define AGENT_SPF_BUNDLES_DISCOVERY_RUNTIME_DIRECTORY_DISCOVERY_HPP

#include <filesystem>
#include <memory>

#include "agent/spf/bundles/DiscoveryService.hpp"

namespace agent::spf::bundles::discovery {

// Several processes may announce one name; a look-out takes the first by the files' names and stays with it
// for as long as it is announced. An announcement ends with its process, however that ends; while
// that lives, it comes back when its file is deleted. The directory is made when it is first needed, and
// watched from the first look-out or announcement on, so that what changes is found at once; while nothing
// changes, or it cannot be watched, it is looked at every few seconds.
class RuntimeDirectoryDiscovery : public DiscoveryService {
public:
    explicit RuntimeDirectoryDiscovery(std::filesystem::path directory);
    ~RuntimeDirectoryDiscovery() override; // stops

    std::unique_ptr<Handle> resolve(std::string const& name, Resolved resolved) override;
    std::unique_ptr<Handle> announce(std::string const& name, std::string const& endpoint) override;
    std::string privateEndpoint(std::string const& name) override;

    // Ends all look-outs. Announcements stay until their handles go. Idempotent.
    void stop();

private:
    class Watcher;

    // "<directory>/<name>.<process>.<random number><extension>", a path that no process has used before.
    std::filesystem::path ownPath(std::string const& name, char const* extension) const;

    std::filesystem::path const directory_;
    std::shared_ptr<Watcher> const watcher_;
};

} // namespace agent::spf::bundles::discovery

#endif
