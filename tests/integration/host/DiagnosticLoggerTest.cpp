// The standalone host's logger.
#include <ostream>
#include <sstream>
#include <string>

#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "agent/host/DiagnosticLogger.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

namespace {

using agent::host::DiagnosticLogger;
using agent::host::Severity;

// Collects "<channel> <severity> <message>" lines while it lives.
class CollectingSink {
public:
    CollectingSink() {
        namespace expressions = boost::log::expressions;
        auto backend = boost::make_shared<boost::log::sinks::text_ostream_backend>();
        backend->add_stream(stream_);
        sink_ = boost::make_shared<Sink>(backend);
        sink_->set_formatter([](boost::log::record_view const& record, boost::log::formatting_ostream& out) {
            out << boost::log::extract<std::string>("Channel", record) << ' '
                << static_cast<std::uint32_t>(*boost::log::extract<Severity>("Severity", record)) << ' '
                << *record[expressions::smessage];
        });
        boost::log::core::get()->add_sink(sink_);
    }
    ~CollectingSink() { boost::log::core::get()->remove_sink(sink_); }

    std::string text() const {
        sink_->flush();
        return stream_->str();
    }

private:
    using Sink = boost::log::sinks::synchronous_sink<boost::log::sinks::text_ostream_backend>;
    boost::shared_ptr<std::ostringstream> stream_ = boost::make_shared<std::ostringstream>();
    boost::shared_ptr<Sink> sink_;
};

TEST(DiagnosticLogger, RecordsCarryChannelAndSeverity) {
    CollectingSink const sink;
    DiagnosticLogger logger("some::channel");

    BOOST_LOG_SEV(logger.source(), Severity::Progress) << "what happened";

    EXPECT_EQ(sink.text(), "some::channel 4 what happened\n");
}

TEST(DiagnosticLogger, EveryLoggerOfTheProcessReportsTheMaskThatWasSetLast) {
    DiagnosticLogger const early("early");
    agent::host::standalone::setEnabledSeverities(4 | 512);
    DiagnosticLogger const late("late");

    EXPECT_EQ(early.enabledSeverities(), 516U);
    EXPECT_EQ(late.enabledSeverities(), 516U);
}

} // namespace
