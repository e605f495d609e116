// Makes endpoints, and hands out what holds them.
#include "agent/spf/bundles/sockets/SocketProvider.hpp"

#include <utility>

#include "agent/spf/bundles/sockets/SocketConnector.hpp"
#include "agent/spf/bundles/sockets/SocketListener.hpp"

namespace agent::spf::bundles::sockets {

namespace {

// The user's handle on a listener or connector.
class EndpointHandle : public Endpoint {
public:
    EndpointHandle(std::shared_ptr<WorkerThread> worker, std::shared_ptr<IoObject> object)
        : worker_(std::move(worker))
        , object_(std::move(object)) {}
    ~EndpointHandle() override { close(); }

    void close() override {
        worker_->run([this] { object_->close(); });
    }

private:
    std::shared_ptr<WorkerThread> const worker_; // outlives the object, whose sockets are of its context
    std::shared_ptr<IoObject> const object_;
};

template <class Object>
std::unique_ptr<Endpoint> startEndpoint(std::shared_ptr<WorkerThread> const& worker,
                                        std::shared_ptr<Object> const& object) {
    auto handle =
        std::make_unique<EndpointHandle>(worker, object); // first: nobody else would close the object
    worker->post([object] { object->start(); });
    return handle;
}

} // namespace

SocketProvider::SocketProvider(std::chrono::milliseconds attemptTimeout)
    : attemptTimeout_(attemptTimeout)
    , worker_(std::make_shared<WorkerThread>("spf-sockets"))
    , objects_(std::make_shared<IoObjects>()) {
    worker_->prepareForTimersAndSockets();
}

SocketProvider::~SocketProvider() {
    stop();
}

std::unique_ptr<Endpoint> SocketProvider::bind(std::string const& endpoint,
                                               std::shared_ptr<EndpointHandler> handler) {
    return startEndpoint(worker_,
                         std::make_shared<SocketListener>(worker_, objects_, endpoint, std::move(handler)));
}

std::unique_ptr<Endpoint> SocketProvider::connect(std::string const& endpoint,
                                                  std::shared_ptr<EndpointHandler> handler) {
    return startEndpoint(worker_, std::make_shared<SocketConnector>(worker_, objects_, endpoint,
                                                                    std::move(handler), attemptTimeout_));
}

void SocketProvider::stop() {
    worker_->run([this] { objects_->closeAll(); });
    worker_->stop();
}

} // namespace agent::spf::bundles::sockets
