// The logger accessor, and how a record is made.
#include "logging/log.hpp"

#include <boost/log/sources/record_ostream.hpp>

#include "agent/spf/frameworksetup/frameworksetup.hpp"

namespace agent::spf::frameworksetup {

host::DiagnosticLogger& getLogger() {
    return detail::logger();
}

namespace detail {

static std::ostream& operator<<(std::ostream& stream, Message const& message) {
    message.format(stream, message.context);
    return stream;
}

void writeRecord(host::Severity severity, Message const& message) {
    // Pushes the record at the end of the statement, unless an exception began while the message was
    // streamed.
    BOOST_LOG_SEV(logger().source(), severity) << message;
}

} // namespace detail
} // namespace agent::spf::frameworksetup
