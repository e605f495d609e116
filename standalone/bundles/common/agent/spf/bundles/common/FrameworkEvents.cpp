// Calls the listeners that a tracker has found.
#include "agent/spf/bundles/common/FrameworkEvents.hpp"

#include <exception>
#include <stdexcept>

#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles {

using namespace frameworklistener;

FrameworkEvents::FrameworkEvents(cppmicroservices::BundleContext const& context)
    : tracker_(context) {
    tracker_.Open();
}

void FrameworkEvents::deliver(std::shared_ptr<Event> const& event) const {
    for (auto const& listener : persistently([this] { return tracker_.GetServices(); })) {
        try {
            listener->handleEvent(event);
        } catch (...) {
            // The listener's failure; the others still get the event.
        }
    }
}

void FrameworkEvents::deliverError(std::string const& text, std::string const& publisherID,
                                   std::uint32_t count) const {
    deliver(persistently([&] {
        return std::make_shared<FrameworkErrorEvent>(std::make_exception_ptr(std::runtime_error(text)),
                                                     publisherID, count);
    }));
}

void FrameworkEvents::close() {
    tracker_.Close();
}

} // namespace agent::spf::bundles
