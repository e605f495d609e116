// The host's logger: one named channel of the process's diagnostics, on Boost.Log.
#ifndef AGENT_HOST_DIAGNOSTIC_LOGGER_HPP
#define AGENT_HOST_DIAGNOSTIC_LOGGER_HPP

#include <cstdint>
#include <string>

#include <boost/log/sources/severity_channel_logger.hpp>

#include "agent/host/export.hpp"

namespace agent::host {

// The severities of a record: flags, so that a set of them is the bitwise or of its members.
enum class Severity : std::uint32_t {
    Trace = 1,
    Debug = 2,
    Progress = 4,
    Information = 16,
    Warning = 128,
    Failure = 512,
    Fatal = 1024,
};

// Thread safe. Neither copied nor moved, so it has no empty state.
class AGENT_HOST_EXPORT DiagnosticLogger {
public:
    // What records are opened on and pushed to; its channel is given at construction.
    using Source = boost::log::sources::severity_channel_logger_mt<Severity, std::string>;

    // A logger of the channel, such as "agent::spf::frameworksetup".
    explicit DiagnosticLogger(std::string channel);
    ~DiagnosticLogger();
    DiagnosticLogger(DiagnosticLogger const&) = delete;
    DiagnosticLogger& operator=(DiagnosticLogger const&) = delete;

    // The mask of severities that are wanted now: the bitwise or of their values. A caller that finds the bit
    // of its severity clear formats nothing.
    std::uint32_t enabledSeverities() const noexcept;

    // The source through which records of this channel are opened and pushed.
    Source& source() noexcept;

private:
    Source source_;
};

} // namespace agent::host

#endif
