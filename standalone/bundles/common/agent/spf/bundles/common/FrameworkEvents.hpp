// Delivers framework events to all listeners of the registry.
#ifndef AGENT_SPF_BUNDLES_COMMON_FRAMEWORK_EVENTS_HPP
#define AGENT_SPF_BUNDLES_COMMON_FRAMEWORK_EVENTS_HPP

#include <cstdint>
#include <memory>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceTracker.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace agent::spf::bundles {

// Thread safe. Listeners are called on the delivering thread, which therefore holds no lock; what a listener
// throws is dropped, since the framework goes on whatever a listener makes of an event.
class FrameworkEvents {
public:
    explicit FrameworkEvents(cppmicroservices::BundleContext const& context);

    void deliver(std::shared_ptr<frameworklistener::Event> const& event) const;

    // Delivers a FrameworkErrorEvent with a std::runtime_error of this text.
    void deliverError(std::string const& text, std::string const& publisherID, std::uint32_t count) const;

    // No event is delivered afterwards.
    void close();

private:
    cppmicroservices::ServiceTracker<frameworklistener::FrameworkListener> tracker_;
};

} // namespace agent::spf::bundles

#endif
