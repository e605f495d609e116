// What a framework listener is told.
#ifndef CPPMICROSERVICES_FRAMEWORKEVENT_H
#define CPPMICROSERVICES_FRAMEWORKEVENT_H

#include "cppmicroservices/FrameworkExport.h"

#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

namespace cppmicroservices {

class Bundle;

class US_Framework_EXPORT FrameworkEvent {
public:
    enum Type : uint32_t {
        FRAMEWORK_STARTED = 0x00000001,
        FRAMEWORK_ERROR = 0x00000002,
        FRAMEWORK_WARNING = 0x00000010,
        FRAMEWORK_INFO = 0x00000020,
        FRAMEWORK_STOPPED = 0x00000040,
        FRAMEWORK_STOPPED_UPDATE = 0x00000080,
        FRAMEWORK_WAIT_TIMEDOUT = 0x00000200 // WaitForStop ended before the framework had stopped
    };

    // An invalid event.
    FrameworkEvent();
    FrameworkEvent(Type type, Bundle const& bundle, std::string const& message,
                   std::exception_ptr exception = nullptr);

    explicit operator bool() const;

    // The bundle concerned; invalid for an invalid event.
    Bundle GetBundle() const;
    std::string GetMessage() const;
    // The exception reported; null if there is none.
    std::exception_ptr GetThrowable() const;
    // FRAMEWORK_ERROR for an invalid event.
    Type GetType() const;

private:
    struct Data;
    std::shared_ptr<Data const> data_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, FrameworkEvent::Type eventType);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, FrameworkEvent const& evt);

// Same type, bundle, message and exception text; all invalid events are equal.
US_Framework_EXPORT bool operator==(FrameworkEvent const& rhs, FrameworkEvent const& lhs);

} // namespace cppmicroservices

#endif
