// The service interface through which the service framework delivers its events.
#ifndef AGENT_SPF_FRAMEWORKLISTENER_FRAMEWORK_LISTENER_HPP
#define AGENT_SPF_FRAMEWORKLISTENER_FRAMEWORK_LISTENER_HPP

#include <memory>

#include "agent/host/export.hpp"
#include "agent/spf/frameworklistener/Event.hpp"

namespace agent::spf::frameworklistener {

// Registered as a service by whoever wants to follow the framework. Events arrive on the framework's threads,
// possibly on several at once; the framework makes no promise about the thread.
class AGENT_HOST_EXPORT FrameworkListener {
public:
    // Takes an event. What it throws goes to whoever delivers the event.
    virtual void handleEvent(std::shared_ptr<Event> event) = 0;
    virtual ~FrameworkListener() = default;
};

} // namespace agent::spf::frameworklistener

#endif
