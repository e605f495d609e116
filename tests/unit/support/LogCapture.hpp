// Captures the log records of the process.
#ifndef TESTS_UNIT_SUPPORT_LOG_CAPTURE_HPP
#define TESTS_UNIT_SUPPORT_LOG_CAPTURE_HPP

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <boost/smart_ptr/shared_ptr.hpp>

namespace agent::spf::frameworksetup::test {

struct LogRecord {
    std::string channel;
    std::uint32_t severity;
    std::string message;

    friend bool operator==(LogRecord const& left, LogRecord const& right) {
        return left.channel == right.channel && left.severity == right.severity &&
               left.message == right.message;
    }
    friend std::ostream& operator<<(std::ostream& stream, LogRecord const& record) {
        return stream << '[' << record.channel << "] " << record.severity << ": " << record.message;
    }
};

// A record of the library's channel.
LogRecord libraryRecord(std::uint32_t severity, std::string message);

// Keeps every record that is pushed while it exists, and records each in the call log as "log <message>": a
// hook there that throws makes logging throw. Thread safe.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    std::vector<LogRecord> records() const;

    // Makes pushing any record throw, or no longer.
    void setThrowing(bool throwing);

private:
    class Sink;
    boost::shared_ptr<Sink> sink_;
};

} // namespace agent::spf::frameworksetup::test

#endif
