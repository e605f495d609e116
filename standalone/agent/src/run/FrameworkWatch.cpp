// Tells the main thread what the service framework does.
#include "run/FrameworkWatch.hpp"

#include <exception>
#include <string>
#include <utility>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReference.h>

#include "agent/spf/bundles/EndpointStatusListener.hpp"
#include "agent/spf/bundles/RemoteService.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace agent::program {

namespace {

using namespace spf::frameworklistener;
using spf::bundles::EndpointStatusListener;
using spf::bundles::RemoteService;

std::string textOf(cppmicroservices::Any const& any) {
    return any.Empty() ? std::string() : any.ToString();
}

std::string reasonOf(std::exception_ptr const& error) {
    if (!error) {
        return "unknown error";
    }
    try {
        std::rethrow_exception(error);
    } catch (std::exception const& exception) {
        return exception.what();
    } catch (...) {
        return "unknown error";
    }
}

// Router events are of use where no publisher tells the status of its endpoints.
EndpointStatus toStatus(RouterEvent const& event) {
    using spf::bundles::EndpointRole;
    using spf::bundles::EndpointState;
    bool const bind = event.kind == RouterEvent::Kind::Bound || event.kind == RouterEvent::Kind::Rebound;
    return {event.name,
            textOf(event.endpoint),
            bind ? EndpointRole::Bind : EndpointRole::Connect,
            bind ? EndpointState::Bound : EndpointState::Connected,
            {},
            event.modificationCount};
}

class EventForwarder : public FrameworkListener {
public:
    explicit EventForwarder(MessageBox& messages)
        : messages_(messages) {}

    void handleEvent(std::shared_ptr<Event> event) override {
        switch (event->eventType) {
        case EventType::FrameworkEvent:
            forward(static_cast<FrameworkEvent const&>(*event));
            break;
        case EventType::FrameworkErrorEvent:
            forward(static_cast<FrameworkErrorEvent const&>(*event));
            break;
        case EventType::RouterEvent:
            messages_.putWhenThereIsRoom(toStatus(static_cast<RouterEvent const&>(*event)));
            break;
        }
    }

private:
    void forward(FrameworkEvent const& event) {
        if (event.kind == FrameworkEvent::Kind::AllServicesPublished) {
            messages_.putWhenThereIsRoom(ServicesPublished{event.name, event.modificationCount});
        } else if (event.kind == FrameworkEvent::Kind::ConfigurationRemoved) {
            messages_.putWhenThereIsRoom(PublisherRemoved{event.name, event.modificationCount});
        }
    }

    void forward(FrameworkErrorEvent const& event) {
        messages_.putWhenThereIsRoom(
            PublisherFailed{event.name, reasonOf(event.error), event.modificationCount});
    }

    MessageBox& messages_;
};

class EndpointForwarder : public EndpointStatusListener {
public:
    explicit EndpointForwarder(MessageBox& messages)
        : messages_(messages) {}

    void endpointChanged(EndpointStatus const& status) override { messages_.putWhenThereIsRoom(status); }

private:
    MessageBox& messages_;
};

RemoteInterface toRemoteInterface(cppmicroservices::ServiceEvent const& event) {
    namespace keys = spf::bundles::remoteservice;
    auto const reference = event.GetServiceReference();
    auto const text = [&reference](char const* key) { return textOf(reference.GetProperty(key)); };
    return {text(keys::interfaceKey),
            text(keys::uniqueIDKey),
            text(keys::publisherKey),
            text(keys::peerKey),
            text(keys::endpointKey),
            text(keys::localPublisherKey),
            event.GetType() != cppmicroservices::ServiceEvent::SERVICE_UNREGISTERING};
}

cppmicroservices::ListenerToken watchRemoteServices(cppmicroservices::BundleContext& context,
                                                    MessageBox& messages) {
    auto const filter = "(" + cppmicroservices::Constants::OBJECTCLASS + "=" +
                        us_service_interface_iid<RemoteService>() + ")";
    auto const forward = [&messages](cppmicroservices::ServiceEvent const& event) {
        if (event.GetType() != cppmicroservices::ServiceEvent::SERVICE_MODIFIED) {
            messages.putWhenThereIsRoom(toRemoteInterface(event));
        }
    };
    return context.AddServiceListener(forward, filter);
}

} // namespace

FrameworkWatch::FrameworkWatch(cppmicroservices::BundleContext context, MessageBox& messages)
    : context_(std::move(context))
    , events_(context_.RegisterService<FrameworkListener>(std::make_shared<EventForwarder>(messages)))
    , endpoints_(
          context_.RegisterService<EndpointStatusListener>(std::make_shared<EndpointForwarder>(messages)))
    , remoteServices_(watchRemoteServices(context_, messages)) {}

FrameworkWatch::~FrameworkWatch() {
    try {
        context_.RemoveListener(std::move(remoteServices_));
        endpoints_.Unregister();
        events_.Unregister();
    } catch (std::exception const&) {
        // The framework was stopped by somebody else, and has unregistered everything.
    }
}

} // namespace agent::program
