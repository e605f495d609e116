// The events by which the service framework reports what it did with a published configuration.
#ifndef AGENT_SPF_FRAMEWORKLISTENER_EVENT_HPP
#define AGENT_SPF_FRAMEWORKLISTENER_EVENT_HPP

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworklistener {

// Which record an event is.
enum class EventType : std::uint32_t { FrameworkEvent = 0, FrameworkErrorEvent = 1, RouterEvent = 2 };

// The head of every event. `eventType` alone says which of the derived records an event is; there is no
// virtual operation, so an event is shared through a pointer that was made for the derived record.
struct Event {
    // Which of the derived records this is.
    explicit Event(EventType type)
        : eventType(type) {}
    EventType eventType;
};

// In each of the records below, `name` is the unique ID of the service publisher that the event is about, and
// `modificationCount` that of the configuration which the framework was acting on.

// All services of a publisher are published, or the publisher's configuration is removed.
struct FrameworkEvent : Event {
    // What happened, to which publisher, in which version of the configuration.
    enum class Kind : std::uint32_t { AllServicesPublished = 0, ConfigurationRemoved = 1 };
    FrameworkEvent(Kind eventKind, std::string publisherID, std::uint32_t count)
        : Event(EventType::FrameworkEvent)
        , kind(eventKind)
        , name(std::move(publisherID))
        , modificationCount(count) {}
    Kind kind;
    std::string name;
    std::uint32_t modificationCount;
};

// An endpoint is bound or connected, for the first time or again.
struct RouterEvent : Event {
    // What happened, to which endpoint of which publisher, in which version of the configuration. The
    // endpoint equals the one that was published.
    enum class Kind : std::uint32_t { Bound = 0, Rebound = 1, Connected = 2, Reconnected = 3 };
    RouterEvent(Kind eventKind, cppmicroservices::Any eventEndpoint, std::string publisherID,
                std::uint32_t count)
        : Event(EventType::RouterEvent)
        , kind(eventKind)
        , endpoint(std::move(eventEndpoint))
        , name(std::move(publisherID))
        , modificationCount(count) {}
    Kind kind;
    cppmicroservices::Any endpoint;
    std::string name;
    std::uint32_t modificationCount;
};

// The framework cannot act on a publisher's configuration; `error` says why.
struct FrameworkErrorEvent : Event {
    // What failed, for which publisher, in which version of the configuration.
    FrameworkErrorEvent(std::exception_ptr eventError, std::string publisherID, std::uint32_t count)
        : Event(EventType::FrameworkErrorEvent)
        , error(std::move(eventError))
        , name(std::move(publisherID))
        , modificationCount(count) {}
    std::exception_ptr error;
    std::string name;
    std::uint32_t modificationCount;
};

} // namespace agent::spf::frameworklistener

#endif
