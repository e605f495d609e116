// The one way in which the library writes a log message.
#ifndef LOGGING_LOG_HPP
#define LOGGING_LOG_HPP

#include <cstdint>
#include <ostream>

#include "agent/host/DiagnosticLogger.hpp"

namespace agent::spf::frameworksetup {

namespace detail {

// A message that is streamed only when a record takes it: a reference to whatever formats it.
struct Message {
    void (*format)(std::ostream&, void const*);
    void const* context;
};

// What getLogger() returns. Inline, as is the next, so that a site whose records nobody wants calls nothing
// but the host, for the mask.
inline host::DiagnosticLogger& logger() {
    static host::DiagnosticLogger instance("agent::spf::frameworksetup");
    return instance;
}

inline bool isLogged(host::Severity severity) {
    return (logger().enabledSeverities() & static_cast<std::uint32_t>(severity)) != 0;
}

void writeRecord(host::Severity severity, Message const& message);

} // namespace detail

// Logs the message that `format(std::ostream&)` streams, if the logger takes records of the severity;
// otherwise `format` is not called. A failure of the logger or of `format` is dropped, along with the record:
// what is being reported has happened, and nobody who waits for it may be kept waiting by the report. Thread
// safe.
template <typename Format>
void log(host::Severity severity, Format const& format) noexcept {
    try {
        if (detail::isLogged(severity)) {
            detail::writeRecord(severity, {[](std::ostream& stream, void const* context) {
                                               (*static_cast<Format const*>(context))(stream);
                                           },
                                           &format});
        }
    } catch (...) {
    }
}

} // namespace agent::spf::frameworksetup

#endif
