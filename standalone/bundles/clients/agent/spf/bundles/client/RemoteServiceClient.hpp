// Registers a service for each interface that a peer offers and that the importing publisher lets in.
#ifndef AGENT_SPF_BUNDLES_CLIENT_REMOTE_SERVICE_CLIENT_HPP
#define AGENT_SPF_BUNDLES_CLIENT_REMOTE_SERVICE_CLIENT_HPP

#include <memory>

#include <cppmicroservices/BundleContext.h>

namespace agent::spf::bundles::client {

// At work from its construction to its destruction, which unregisters every service. Services are registered
// and unregistered on a thread of its own, where the listeners of the registry are called therefore. When the
// offers of a peer are unregistered, the peer's services are gone before that call returns.
class RemoteServiceClient {
public:
    explicit RemoteServiceClient(cppmicroservices::BundleContext const& context);
    ~RemoteServiceClient();
    RemoteServiceClient(RemoteServiceClient const&) = delete;
    RemoteServiceClient& operator=(RemoteServiceClient const&) = delete;

private:
    class PeerTracker;
    std::unique_ptr<PeerTracker> const peers_;
};

} // namespace agent::spf::bundles::client

#endif
