// A Boost.Log sink that keeps what it gets.
#include "support/LogCapture.hpp"

#include <mutex>
#include <stdexcept>
#include <utility>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/sink.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include "agent/host/DiagnosticLogger.hpp"
#include "support/CallLog.hpp"

namespace agent::spf::frameworksetup::test {

LogRecord libraryRecord(std::uint32_t severity, std::string message) {
    return {"agent::spf::frameworksetup", severity, std::move(message)};
}

class LogCapture::Sink : public boost::log::sinks::sink {
public:
    Sink()
        : boost::log::sinks::sink(false) {}

    bool will_consume(boost::log::attribute_value_set const&) override { return true; }

    void consume(boost::log::record_view const& view) override {
        LogRecord record{
            boost::log::extract<std::string>("Channel", view).get(),
            static_cast<std::uint32_t>(boost::log::extract<host::Severity>("Severity", view).get()),
            boost::log::extract<std::string>("Message", view).get()};
        callLog().record("log " + record.message);
        std::lock_guard<std::mutex> const lock(mutex_);
        if (throwing_) {
            throw std::runtime_error("the log is full");
        }
        records_.push_back(std::move(record));
    }

    void flush() override {}

    std::vector<LogRecord> records() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        return records_;
    }

    void setThrowing(bool throwing) {
        std::lock_guard<std::mutex> const lock(mutex_);
        throwing_ = throwing;
    }

private:
    mutable std::mutex mutex_; // guards the members below
    std::vector<LogRecord> records_;
    bool throwing_ = false;
};

LogCapture::LogCapture()
    : sink_(boost::make_shared<Sink>()) {
    boost::log::core::get()->add_sink(sink_);
}

LogCapture::~LogCapture() {
    boost::log::core::get()->remove_sink(sink_);
}

std::vector<LogRecord> LogCapture::records() const {
    return sink_->records();
}

void LogCapture::setThrowing(bool throwing) {
    sink_->setThrowing(throwing);
}

} // namespace agent::spf::frameworksetup::test
