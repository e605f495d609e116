// The endpoint provider over unix and TCP sockets.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_SOCKET_PROVIDER_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_SOCKET_PROVIDER_HPP

#include <chrono>
#include <memory>
#include <string>

#include "agent/spf/bundles/EndpointProvider.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/sockets/IoObject.hpp"
#include "agent/spf/bundles/sockets/SocketConnector.hpp"

namespace agent::spf::bundles::sockets {

// Runs all sockets on one thread of its own. Thread safe.
class SocketProvider : public EndpointProvider {
public:
    // An attempt to connect takes no longer than `attemptTimeout`.
    explicit SocketProvider(std::chrono::milliseconds attemptTimeout = SocketConnector::attemptTimeout);
    ~SocketProvider() override; // stops

    std::unique_ptr<Endpoint> bind(std::string const& endpoint,
                                   std::shared_ptr<EndpointHandler> handler) override;
    std::unique_ptr<Endpoint> connect(std::string const& endpoint,
                                      std::shared_ptr<EndpointHandler> handler) override;

    // Closes every endpoint and connection without calling a handler, and ends the thread. Idempotent.
    void stop();

private:
    std::chrono::milliseconds const attemptTimeout_;
    std::shared_ptr<WorkerThread> const worker_; // also held by handles, which may outlive the provider
    std::shared_ptr<IoObjects> const objects_;
};

} // namespace agent::spf::bundles::sockets

#endif
