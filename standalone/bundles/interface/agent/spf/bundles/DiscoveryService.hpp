// The service interface that finds endpoints by name: who announces a name, and who looks for it.
#ifndef AGENT_SPF_BUNDLES_DISCOVERY_SERVICE_HPP
#define AGENT_SPF_BUNDLES_DISCOVERY_SERVICE_HPP

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace agent::spf::bundles {

// Thread safe.
class DiscoveryService {
public:
    // Stands for an announcement that lasts, or a look-out that goes on, as long as the object lives.
    // Destroying it ends both; once that has returned no callback of it runs any more, unless it was done in
    // the callback itself. A handle may outlive the service and then does nothing.
    class Handle {
    public:
        virtual ~Handle() = default;
    };

    // Called with the endpoint that a name stands for now, or with nothing while no living process announces
    // it. Runs on the service's thread and must not block. May throw for want of memory, and is then called
    // again.
    using Resolved = std::function<void(std::optional<std::string> const& endpoint)>;

    virtual ~DiscoveryService() = default;

    // Looks out for a name: `resolved` is called soon with what is known now, and again whenever that
    // changes.
    virtual std::unique_ptr<Handle> resolve(std::string const& name, Resolved resolved) = 0;

    // Lets other processes of the same user find `endpoint` under `name`. Throws std::runtime_error that
    // names the file and the reason when the announcement cannot be written.
    virtual std::unique_ptr<Handle> announce(std::string const& name, std::string const& endpoint) = 0;

    // A unix endpoint of this process's own that nobody else uses, fit to be announced under `name`: from
    // before it is bound until after it is closed, since what a killed process leaves is found by its
    // announcement. Throws std::runtime_error with the reason when there can be none.
    virtual std::string privateEndpoint(std::string const& name) = 0;
};

} // namespace agent::spf::bundles

#endif
