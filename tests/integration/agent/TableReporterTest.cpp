// When the table is drawn.
#include <string>
#include <utility>

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

TEST_F(TableReporterTest, WhatIsWrittenHoldsNoControlCharactersOfTheText) {
    EXPECT_THAT(drawnBy([&] { change(Change::Kind::Step, "a\x1b[31mb"); }), HasSubstr("a\\x1b[31mb\n"));
}

} // namespace
