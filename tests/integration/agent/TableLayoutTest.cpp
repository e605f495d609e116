// The table for terminals, at every size of a window.
#include <algorithm>
#include <clocale>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "progress/TableLayout.hpp"
#include "progress/displayText.hpp"

namespace {

using namespace agent::program;
using testing::HasSubstr;

class TableLayoutTest : public testing::Test {
protected:
    TableLayoutTest() {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        board.apply({"kitchen", "unix:a", EndpointRole::Bind, EndpointState::Bound, "", 1});
        board.apply({"kitchen", "tcp:host:1", EndpointRole::Connect, EndpointState::Connecting,
                     "Connection refused", 1});
    }

    std::vector<TableRow> layOut(std::size_t columns, std::size_t rows,
                                 std::chrono::seconds later = std::chrono::seconds(75)) {
        return agent::program::layOut(board, {columns, rows}, Board::Clock::now() + later);
    }

    void connection(EndpointState state) {
        board.apply({"kitchen", "tcp:host:1", EndpointRole::Connect, state, "", 1});
    }

    Board board{ConfigurationFile{
        "id", {}, {{"kitchen", "rpcservicepublisher", {"tcp:host:1"}, {"unix:a"}, "", ""}}, {}}};
};

TEST_F(TableLayoutTest, ShowsPublisherEndpointStateSinceWhenAndReason) {
    auto const table = layOut(80, 24);

    ASSERT_EQ(table.size(), 4U);
    EXPECT_EQ(table[0].text, "PUBLISHER  ENDPOINT    STATE       SINCE");
    EXPECT_EQ(table[1].text, "kitchen    unix:a      bound       1m15s");
    EXPECT_EQ(table[2].text, "kitchen    tcp:host:1  connecting  1m15s  Connection refused");
    EXPECT_EQ(table[3].text, "kitchen    (services)  waiting");
}

TEST_F(TableLayoutTest, SinceWhenIsShownInTheTwoLargestUnits) {
    auto const shown = [this](int seconds) {
        auto const row = layOut(80, 24, std::chrono::seconds(seconds))[1].text;
        return row.substr(row.find_last_of(' ') + 1);
    };

    EXPECT_EQ(shown(59), "59s");
    EXPECT_EQ(shown(60), "1m00s");
    EXPECT_EQ(shown(3599), "59m59s");
    EXPECT_EQ(shown(3600), "1h00m");
    EXPECT_EQ(shown(2 * 3600 + 61), "2h01m");
}

TEST_F(TableLayoutTest, ServicesThatFailedAreShownWithTheReasonAndThoseThatAreGoneAsRemoved) {
    board.apply(ServicesPublished{"kitchen", 1});
    EXPECT_EQ(layOut(80, 24)[3].text, "kitchen    (services)  published");
    EXPECT_EQ(layOut(80, 24)[3].tone, Tone::Settled);

    board.apply(PublisherFailed{"kitchen", "why", 1});
    EXPECT_EQ(layOut(80, 24)[3].text, "kitchen    (services)  failed             why");
    EXPECT_EQ(layOut(80, 24)[3].tone, Tone::Bad);

    board.apply(PublisherRemoved{"kitchen", 1});
    EXPECT_THAT(layOut(80, 24)[3].text, HasSubstr("removed"));
    EXPECT_EQ(layOut(80, 24)[3].tone, Tone::Settled);
    EXPECT_EQ(layOut(80, 24)[2].text, "kitchen    tcp:host:1  closed");
    EXPECT_EQ(layOut(80, 24)[2].tone, Tone::Settled);
}

TEST_F(TableLayoutTest, AnEndpointThatIsLostOrFailedIsNotMerelyPending) {
    EXPECT_EQ(layOut(80, 24)[1].tone, Tone::Settled) << "bound";
    EXPECT_EQ(layOut(80, 24)[2].tone, Tone::Pending) << "connecting";
    for (auto const state : {EndpointState::Lost, EndpointState::Failed}) {
        connection(state);
        EXPECT_EQ(layOut(80, 24)[2].tone, Tone::Bad) << wordFor(state);
    }
}

TEST_F(TableLayoutTest, ReasonsGiveWayFirstThenEndpointsAndPublishers) {
    EXPECT_EQ(layOut(50, 24)[2].text, "kitchen    tcp:host:1  connecting  1m15s  Connec~");
    EXPECT_EQ(layOut(41, 24)[2].text, "kitchen    tcp:host:1  connecting  1m15s");
    EXPECT_EQ(layOut(30, 24)[2].text, "kitch~  tcp:host~  connecting") << "since when is given up, too";
}

TEST_F(TableLayoutTest, EveryRowIsNarrowerThanTheWindowAndShowsAState) {
    for (std::size_t columns = 1; columns <= 100; ++columns) {
        for (std::size_t const rows : {4U, 24U}) {
            for (auto const& row : layOut(columns, rows)) {
                EXPECT_LT(displayWidth(row.text), std::max<std::size_t>(columns, 2))
                    << columns << ": " << row.text;
                EXPECT_FALSE(row.text.empty()) << columns;
            }
        }
        if (columns >= 12) {
            EXPECT_THAT(layOut(columns, 24)[1].text, HasSubstr("bound")) << columns;
        }
    }
}

TEST_F(TableLayoutTest, ALowWindowShowsWhatIsNotSettled) {
    auto const table = layOut(80, 4);

    ASSERT_EQ(table.size(), 3U) << "the cursor has the last row";
    EXPECT_THAT(table[1].text, HasSubstr("connecting"));
    EXPECT_EQ(table[2].text, "... and 2 more");
}

TEST_F(TableLayoutTest, InterfacesOfPeersThatHaveNoRoomAreCounted) {
    for (int index = 0; index < 1000; ++index) {
        board.apply(RemoteInterface{"i", std::to_string(index), "p", "peer", "e", "kitchen", true});
    }

    auto const table = layOut(80, 8);

    ASSERT_EQ(table.size(), 7U);
    EXPECT_THAT(table[4].text, HasSubstr("available"));
    EXPECT_EQ(table[6].text, "... and 998 more");
    EXPECT_EQ(layOut(80, 1005).size(), 1004U) << "there is room for all";
}

TEST_F(TableLayoutTest, EveryHeightIsKept) {
    for (std::size_t rows = 1; rows <= 10; ++rows) {
        EXPECT_LT(layOut(80, rows).size(), std::max<std::size_t>(rows, 2)) << rows;
    }
}

TEST_F(TableLayoutTest, WhatPeersSayReachesTheTerminalWithoutControlCharacters) {
    board.apply(RemoteInterface{"\x1b[2J", "i", "p", "peer", "e", "kitchen", true});

    EXPECT_THAT(layOut(80, 24)[4].text, HasSubstr("kitchen    \\x1b[2J "));
}

TEST_F(TableLayoutTest, WideCharactersAreCountedAsTwoColumns) {
    board.apply(RemoteInterface{"\xe6\x97\xa5", "i", "p", "peer", "e", "kitchen", true});

    EXPECT_EQ(layOut(80, 24)[4].text, "kitchen    \xe6\x97\xa5          available          from p of peer");
}

} // namespace
