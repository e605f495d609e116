// The host's logger. Which severities are wanted is one mask for the whole process.
#include "agent/host/DiagnosticLogger.hpp"

#include <atomic>
#include <utility>

#include <boost/log/keywords/channel.hpp>

#include "agent/host/standalone/StandaloneHost.hpp"

namespace agent::host {

namespace {

constexpr std::uint32_t defaultSeverities = static_cast<std::uint32_t>(Severity::Warning) |
                                            static_cast<std::uint32_t>(Severity::Failure) |
                                            static_cast<std::uint32_t>(Severity::Fatal);

// Constant initialisation: valid for loggers that are used before main() and after it.
std::atomic<std::uint32_t> severities{defaultSeverities};

} // namespace

DiagnosticLogger::DiagnosticLogger(std::string channel)
    : source_(boost::log::keywords::channel = std::move(channel)) {}

DiagnosticLogger::~DiagnosticLogger() = default;

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): other hosts ask the logger at hand
std::uint32_t DiagnosticLogger::enabledSeverities() const noexcept {
    return severities.load(std::memory_order_relaxed);
}

DiagnosticLogger::Source& DiagnosticLogger::source() noexcept {
    return source_;
}

void standalone::setEnabledSeverities(std::uint32_t mask) noexcept {
    severities.store(mask, std::memory_order_relaxed);
}

} // namespace agent::host
