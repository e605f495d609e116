// The logger accessor and the helper through which every message goes.
#include "logging/log.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <boost/log/attributes/constant.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/host/DiagnosticLogger.hpp"
#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "support/CallLog.hpp"
#include "support/FakeHost.hpp"
#include "support/LogCapture.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using host::Severity;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t progress = 4;
constexpr std::uint32_t failure = 512;

class LogTest : public ::testing::Test {
protected:
    ~LogTest() override {
        callLog().reset();
        fakeHost().reset();
    }

    LogCapture capture;
};

// Logs a message and returns how often it was formatted.
int timesFormatted(Severity severity) {
    auto count = 0;
    log(severity, [&](std::ostream& stream) { stream << "formatted " << ++count; });
    return count;
}

struct SaysThatItIsGone {
    ~SaysThatItIsGone() { std::fputs("the logger is gone", stderr); }
};

// An attribute goes with the logger's source to which it was added.
[[noreturn]] void exitWhileTheLoggerHoldsAnAttribute() {
    getLogger().source().add_attribute(
        "held", boost::log::attributes::make_constant(std::make_shared<SaysThatItIsGone>()));
    std::exit(EXIT_SUCCESS);
}

} // namespace

TEST_F(LogTest, TheLibraryHasOneLoggerOnItsChannelMadeOnFirstUse) {
    EXPECT_THAT(fakeHost().loggerChannels(), IsEmpty());
    auto& logger = getLogger();
    timesFormatted(Severity::Progress);
    EXPECT_EQ(&logger, &getLogger());
    EXPECT_THAT(fakeHost().loggerChannels(), ElementsAre("agent::spf::frameworksetup"));
}

TEST_F(LogTest, TheLoggerIsGoneAtProcessExit) {
    EXPECT_EXIT(exitWhileTheLoggerHoldsAnAttribute(), ::testing::ExitedWithCode(EXIT_SUCCESS),
                "the logger is gone");
}

TEST_F(LogTest, ARecordHasTheChannelTheSeverityAndTheText) {
    log(Severity::Progress, [](std::ostream& stream) { stream << "about " << 1 << " thing"; });
    log(Severity::Failure, [](std::ostream& stream) { stream << "it failed"; });
    EXPECT_THAT(capture.records(),
                ElementsAre(LogRecord{"agent::spf::frameworksetup", progress, "about 1 thing"},
                            LogRecord{"agent::spf::frameworksetup", failure, "it failed"}));
}

TEST_F(LogTest, NothingIsFormattedOrPushedWhenTheSeverityIsNotEnabled) {
    fakeHost().setEnabledSeverities(~progress);
    EXPECT_EQ(timesFormatted(Severity::Progress), 0);
    fakeHost().setEnabledSeverities(~failure);
    EXPECT_EQ(timesFormatted(Severity::Failure), 0);
    fakeHost().setEnabledSeverities(0);
    EXPECT_EQ(timesFormatted(Severity::Progress), 0);
    EXPECT_EQ(timesFormatted(Severity::Failure), 0);
    EXPECT_THAT(capture.records(), IsEmpty());
}

TEST_F(LogTest, OneFormattedRecordIsPushedWhenTheSeverityAloneIsEnabled) {
    fakeHost().setEnabledSeverities(progress);
    EXPECT_EQ(timesFormatted(Severity::Progress), 1);
    fakeHost().setEnabledSeverities(failure);
    EXPECT_EQ(timesFormatted(Severity::Failure), 1);
    EXPECT_THAT(capture.records(),
                ElementsAre(libraryRecord(progress, "formatted 1"), libraryRecord(failure, "formatted 1")));
}

TEST_F(LogTest, TheMaskIsReadForEachMessage) {
    fakeHost().setEnabledSeverities(0);
    EXPECT_EQ(timesFormatted(Severity::Progress), 0);
    fakeHost().setEnabledSeverities(allSeverities);
    EXPECT_EQ(timesFormatted(Severity::Progress), 1);
}

TEST_F(LogTest, NoRecordIsPushedWhenAnExceptionBeganWhileItWasFormatted) {
    log(Severity::Progress, [](std::ostream& stream) {
        stream << "half a mess";
        throw std::runtime_error("no more");
    });
    EXPECT_THAT(capture.records(), IsEmpty());
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(LogTest, ARecordIsPushedWhenTheExceptionWasThereBefore) {
    struct LogsOnExit {
        ~LogsOnExit() {
            log(Severity::Progress, [](std::ostream& stream) { stream << "unwinding"; });
        }
    };
    try {
        LogsOnExit const logs;
        throw std::runtime_error("already");
    } catch (std::runtime_error const&) {
        log(Severity::Failure, [](std::ostream& stream) { stream << "caught"; });
    }
    EXPECT_THAT(capture.records(),
                ElementsAre(libraryRecord(progress, "unwinding"), libraryRecord(failure, "caught")));
}

TEST_F(LogTest, ARecordIsPushedWhenAnExceptionBeganAndEndedWhileItWasFormatted) {
    log(Severity::Progress, [](std::ostream& stream) {
        try {
            throw std::runtime_error("handled");
        } catch (std::runtime_error const& error) {
            stream << error.what();
        }
    });
    EXPECT_THAT(capture.records(), ElementsAre(libraryRecord(progress, "handled")));
}

TEST_F(LogTest, AnExceptionOfTheLoggerIsDroppedWithItsRecord) {
    capture.setThrowing(true);
    EXPECT_NO_THROW(timesFormatted(Severity::Progress));
    EXPECT_THAT(callLog().calls(), ElementsAre("log formatted 1"));
    capture.setThrowing(false);
    timesFormatted(Severity::Failure);
    EXPECT_THAT(capture.records(), ElementsAre(libraryRecord(failure, "formatted 1")));
}

TEST_F(LogTest, AnExceptionOfTheFormattingIsDroppedWhateverItsType) {
    EXPECT_NO_THROW(log(Severity::Progress, [](std::ostream&) { throw 1; }));
    EXPECT_THAT(capture.records(), IsEmpty());
}

} // namespace agent::spf::frameworksetup::test
