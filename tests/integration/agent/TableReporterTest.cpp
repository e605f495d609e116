// When the table is drawn.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "progress/TableReporter.hpp"

namespace {

using namespace agent::program;
using testing::HasSubstr;
using testing::IsEmpty;

class TableReporterTest : public testing::Test {
protected:
    // What is drawn or written on standard error by an action.
    template <typename Action>
    static std::string drawnBy(Action const& action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    void change(Change::Kind kind, std::string text = "text") {
        reporter.changed({kind, "event", std::move(text), {}}, board);
    }

    Board board{
        ConfigurationFile{"id", {}, {{"kitchen", "rpcservicepublisher", {}, {"unix:a"}, "", ""}}, {}}};
    TableReporter reporter{false};
};

TEST_F(TableReporterTest, ManyChangesOnTheBoardAreOneDrawing) {
    EXPECT_THAT(drawnBy([&] {
                    change(Change::Kind::OnBoard);
                    change(Change::Kind::OnBoard);
                }),
                IsEmpty());

    EXPECT_THAT(drawnBy([&] { reporter.caughtUp(board); }), HasSubstr("kitchen"));
    EXPECT_THAT(drawnBy([&] { reporter.caughtUp(board); }), IsEmpty()) << "nothing has changed since";
}

TEST_F(TableReporterTest, ChangesThatKeepComingAreDrawnAsTimePasses) {
    change(Change::Kind::OnBoard);

    EXPECT_THAT(drawnBy([&] { reporter.timePassed(board, false); }), HasSubstr("kitchen"));
}

TEST_F(TableReporterTest, AnyOtherChangeIsWrittenAtOnce) {
    for (auto const kind : {Change::Kind::Step, Change::Kind::Failure}) {
        EXPECT_THAT(drawnBy([&] { change(kind); }), HasSubstr("text\nPUBLISHER"));
    }
}

TEST_F(TableReporterTest, AResultTakesThePlaceOfTheTableWhichIsDrawnBelowItAnew) {
    testing::internal::CaptureStdout();
    auto const table = drawnBy([&] { reporter.timePassed(board, false); });

    auto const drawn = drawnBy([&] { reporter.result("ready id"); });

    EXPECT_EQ(drawn, "\r\x1b[3A\x1b[J" + table);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ready id\n");
}

// Standard error is a terminal of this size for as long as the object lives.
class TerminalOnStandardError {
public:
    TerminalOnStandardError(unsigned short columns, unsigned short rows)
        : master_(::posix_openpt(O_RDWR | O_NOCTTY)) {
        std::array<char, 64> name{};
        if (::grantpt(master_) != 0 || ::unlockpt(master_) != 0 ||
            ::ptsname_r(master_, name.data(), name.size()) != 0) {
            throw std::runtime_error("there is no pseudo-terminal");
        }
        auto const slave = ::open(name.data(), O_RDWR | O_NOCTTY);
        termios mode{};
        ::tcgetattr(slave, &mode);
        ::cfmakeraw(&mode); // what is written arrives as it is
        ::tcsetattr(slave, TCSANOW, &mode);
        ::dup2(slave, STDERR_FILENO);
        ::close(slave);
        resize(columns, rows);
    }
    ~TerminalOnStandardError() {
        ::dup2(before_, STDERR_FILENO);
        ::close(before_);
        ::close(master_);
    }
    TerminalOnStandardError(TerminalOnStandardError const&) = delete;
    TerminalOnStandardError& operator=(TerminalOnStandardError const&) = delete;

    void resize(unsigned short columns, unsigned short rows) const {
        winsize const size{rows, columns, 0, 0};
        ::ioctl(master_, TIOCSWINSZ, &size);
    }

    // What has been written since the last call.
    std::string written() const {
        std::string const end = "<end>";
        std::fputs(end.c_str(), stderr);
        std::string text;
        while (text.find(end) == std::string::npos) {
            std::array<char, 4096> part{};
            auto const count = ::read(master_, part.data(), part.size());
            if (count <= 0) {
                throw std::runtime_error("the pseudo-terminal cannot be read");
            }
            text.append(part.data(), static_cast<std::size_t>(count));
        }
        return text.substr(0, text.find(end));
    }

private:
    int const before_ = ::dup(STDERR_FILENO);
    int const master_;
};

TEST_F(TableReporterTest, AResultThatComesBeforeTheTableHasFollowedANarrowerTerminalCutsItsRows) {
    TerminalOnStandardError const terminal(80, 24);
    reporter.timePassed(board, false);
    terminal.written();
    terminal.resize(12, 5);
    testing::internal::CaptureStdout();

    reporter.result("ready id");

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ready id\n");
    EXPECT_EQ(terminal.written(), "\n\n\n\n\n\x1b[H\x1b[J"
                                  "PUBLISHER ~\nkitchen   ~\nkitchen   ~\n");
}

TEST_F(TableReporterTest, WhatIsWrittenHoldsNoControlCharactersOfTheText) {
    EXPECT_THAT(drawnBy([&] { change(Change::Kind::Step, "a\x1b[31mb"); }), HasSubstr("a\\x1b[31mb\n"));
}

} // namespace
