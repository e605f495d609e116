// Registers a service for each interface that a peer offers and that the importing publisher lets in.
#ifndef AGENT_SPF_BUNDLES_CLIENT_REMOTE_SERVICE_CLIENT_HPP
#define AGENT_SPF_BUNDLES_CLIENT_REMOTE_SERVICE_CLIENT_HPP

#include <memory>

#include <cppmicroservices/BundleContext.h>

namespace agent::spf::bundles::client {

// At work from its construction to its destruction, which unregisters every service, and which a listener of
// the services may bring about. Services are registered on a thread of its own, where the listeners of the
// registry are called therefore, and unregistered there when a peer stops to offer them. When the offers of a
// peer are unregistered, so are the peer's services, on that thread, before the call returns; but for one
// that is being registered at that moment, which goes as soon as its listeners have been told of it.
class RemoteServiceClient {
public:
    explicit RemoteServiceClient(cppmicroservices::BundleContext const& context);
    ~RemoteServiceClient();
    RemoteServiceClient(RemoteServiceClient const&) = delete;
    RemoteServiceClient& operator=(RemoteServiceClient const&) = delete;

private:
    class PeerTracker;
    std::shared_ptr<PeerTracker> peers_;
};

} // namespace agent::spf::bundles::client

#endif
