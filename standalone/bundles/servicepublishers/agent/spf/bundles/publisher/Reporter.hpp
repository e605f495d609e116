// How publishers tell what happens: events for the framework's listeners, statuses for those who show them.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_REPORTER_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_REPORTER_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceTracker.h>

#include "agent/spf/bundles/EndpointStatusListener.hpp"
#include "agent/spf/bundles/common/FrameworkEvents.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/frameworklistener/Event.hpp"

namespace agent::spf::bundles::publisher {

// Used on the worker, on which listeners are called with no lock held. What a listener throws is dropped.
class Reporter : private cppmicroservices::ServiceTrackerCustomizer<EndpointStatusListener> {
public:
    using NewListener = std::function<void(std::shared_ptr<EndpointStatusListener> const& listener)>;

    // `newListener` is called on the worker for each status listener that appears, before it is told any
    // status.
    Reporter(cppmicroservices::BundleContext const& context, std::shared_ptr<WorkerThread> worker,
             NewListener newListener);

    // From now on there are tasks on the worker that refer to the reporter, until it is closed and the worker
    // has stopped.
    void open();

    void reportRouterEvent(frameworklistener::RouterEvent::Kind kind, std::string const& endpoint,
                           std::string const& publisherID, std::uint32_t count);
    void reportPublished(std::string const& publisherID, std::uint32_t count);
    void reportError(std::string const& text, std::string const& publisherID, std::uint32_t count);
    void reportStatus(EndpointStatus const& status);

    // Nothing is reported afterwards.
    void silence() noexcept { silent_ = true; }

    // To be called once it is silent.
    void close();

private:
    using Reference = cppmicroservices::ServiceReference<EndpointStatusListener>;

    template <class MakeEvent>
    void deliver(MakeEvent const& makeEvent);

    std::shared_ptr<EndpointStatusListener> AddingService(Reference const& reference) override;
    void ModifiedService(Reference const&, std::shared_ptr<EndpointStatusListener> const&) override {}
    void RemovedService(Reference const&, std::shared_ptr<EndpointStatusListener> const& listener) override;

    FrameworkEvents events_;
    cppmicroservices::BundleContext context_;
    std::shared_ptr<WorkerThread> const worker_;
    NewListener const newListener_;
    bool silent_ = false;                                                  // used on the worker only
    std::vector<std::shared_ptr<EndpointStatusListener>> statusListeners_; // used on the worker only
    cppmicroservices::ServiceTracker<EndpointStatusListener> tracker_;
};

// Tells one listener one status; what it throws is dropped.
void tell(EndpointStatusListener& listener, EndpointStatus const& status) noexcept;

} // namespace agent::spf::bundles::publisher

#endif
