// The framework's events as the tests write them. Without a count they belong to modification 1.
#ifndef TESTS_UNIT_TRACKING_FRAMEWORK_EVENTS_HPP
#define TESTS_UNIT_TRACKING_FRAMEWORK_EVENTS_HPP

#include <cstdint>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include "agent/spf/frameworklistener/Event.hpp"
#include "tracking/endpoints.hpp"

namespace agent::spf::frameworksetup::test {

using frameworklistener::Event;
using frameworklistener::FrameworkErrorEvent;
using frameworklistener::FrameworkEvent;
using frameworklistener::RouterEvent;

inline std::shared_ptr<Event> frameworkEvent(std::uint32_t kind, std::string const& publisher,
                                             std::uint32_t count = 1) {
    return std::make_shared<FrameworkEvent>(static_cast<FrameworkEvent::Kind>(kind), publisher, count);
}

inline std::shared_ptr<Event> allServicesPublished(std::string const& publisher, std::uint32_t count = 1) {
    return frameworkEvent(0, publisher, count);
}

inline std::shared_ptr<Event> configurationRemoved(std::string const& publisher, std::uint32_t count = 1) {
    return frameworkEvent(1, publisher, count);
}

inline std::shared_ptr<Event> routerEvent(std::uint32_t kind, cppmicroservices::Any const& endpoint,
                                          std::string const& publisher, std::uint32_t count = 1) {
    return std::make_shared<RouterEvent>(static_cast<RouterEvent::Kind>(kind), endpoint, publisher, count);
}

inline std::shared_ptr<Event> bound(std::string const& text, std::string const& publisher,
                                    std::uint32_t count = 1) {
    return routerEvent(0, endpoint(text), publisher, count);
}

inline std::shared_ptr<Event> connected(std::string const& text, std::string const& publisher,
                                        std::uint32_t count = 1) {
    return routerEvent(2, endpoint(text), publisher, count);
}

inline std::exception_ptr errorWith(std::string const& text) {
    return std::make_exception_ptr(std::runtime_error(text));
}

inline std::shared_ptr<Event> errored(std::exception_ptr error, std::string const& publisher,
                                      std::uint32_t count = 1) {
    return std::make_shared<FrameworkErrorEvent>(std::move(error), publisher, count);
}

} // namespace agent::spf::frameworksetup::test

#endif
