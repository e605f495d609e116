// Makes the events, and tells the listeners.
#include "agent/spf/bundles/publisher/Reporter.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "agent/spf/bundles/common/ServiceAccess.hpp"
#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::publisher {

using cppmicroservices::Any;
using frameworklistener::FrameworkEvent;
using frameworklistener::RouterEvent;

Reporter::Reporter(cppmicroservices::BundleContext const& context, std::shared_ptr<WorkerThread> worker,
                   NewListener newListener)
    : events_(context)
    , context_(context)
    , worker_(std::move(worker))
    , newListener_(std::move(newListener))
    , tracker_(context, this) {}

void Reporter::open() {
    tracker_.Open();
}

template <class MakeEvent>
void Reporter::deliver(MakeEvent const& makeEvent) {
    if (!silent_) {
        events_.deliver(persistently(makeEvent));
    }
}

void Reporter::reportRouterEvent(RouterEvent::Kind kind, std::string const& endpoint,
                                 std::string const& publisherID, std::uint32_t count) {
    deliver([&] { return std::make_shared<RouterEvent>(kind, Any(endpoint), publisherID, count); });
}

void Reporter::reportPublished(std::string const& publisherID, std::uint32_t count) {
    auto const kind = FrameworkEvent::Kind::AllServicesPublished;
    deliver([&] { return std::make_shared<FrameworkEvent>(kind, publisherID, count); });
}

void Reporter::reportError(std::string const& text, std::string const& publisherID, std::uint32_t count) {
    if (!silent_) {
        events_.deliverError(text, publisherID, count);
    }
}

void Reporter::reportStatus(EndpointStatus const& status) {
    for (auto const& listener : persistently([this] { return statusListeners_; })) {
        if (!silent_) {
            tell(*listener, status);
        }
    }
}

void Reporter::close() {
    tracker_.Close();
    events_.close();
}

std::shared_ptr<EndpointStatusListener> Reporter::AddingService(Reference const& reference) {
    auto listener = serviceOrNull(context_, reference);
    if (listener) {
        worker_->post([this, listener] {
            newListener_(listener);
            persistently([&] { statusListeners_.push_back(listener); });
        });
    }
    return listener;
}

void Reporter::RemovedService(Reference const&, std::shared_ptr<EndpointStatusListener> const& listener) {
    try {
        worker_->post([this, listener] {
            auto& all = statusListeners_;
            all.erase(std::remove(all.begin(), all.end(), listener), all.end());
        });
    } catch (std::bad_alloc const&) {
        // It is told what comes as long as the bundle runs, whose stop is not to fail.
    }
}

void tell(EndpointStatusListener& listener, EndpointStatus const& status) noexcept {
    try {
        listener.endpointChanged(status);
    } catch (...) {
        // The listener's failure; the publisher goes on.
    }
}

} // namespace agent::spf::bundles::publisher
