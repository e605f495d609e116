// The host's log of programs that measure or explore the library itself: nothing is enabled, for a log has
// costs and locks of its own.
#include <utility>

#include "agent/host/DiagnosticLogger.hpp"

namespace agent::host {

DiagnosticLogger::DiagnosticLogger(std::string channel)
    : source_(boost::log::keywords::channel = std::move(channel)) {}

DiagnosticLogger::~DiagnosticLogger() = default;

std::uint32_t DiagnosticLogger::enabledSeverities() const noexcept {
    return 0;
}

DiagnosticLogger::Source& DiagnosticLogger::source() noexcept {
    return source_;
}

} // namespace agent::host
