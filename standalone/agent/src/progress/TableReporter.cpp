// The reporter for terminals.
#include "progress/TableReporter.hpp"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "progress/LineReporters.hpp"

namespace agent::program {

namespace {

struct Size {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

Size terminalSize() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

// The first `columns` characters, every character of UTF-8 counted as one column.
std::string cut(std::string const& text, std::size_t columns) {
    std::size_t count = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        bool const startsCharacter = (static_cast<unsigned char>(text[index]) & 0xC0U) != 0x80U;
        if (startsCharacter && count++ == columns) {
            return text.substr(0, index);
        }
    }
    return text;
}

using Cells = std::vector<std::string>;

std::string age(Board::Clock::time_point since) {
    auto const seconds =
        std::chrono::duration_cast<std::chrono::seconds>(Board::Clock::now() - since).count();
    return seconds < 60 ? fmt::format("{}s", seconds) : fmt::format("{}m{:02}s", seconds / 60, seconds % 60);
}

std::vector<Cells> cellsOf(Board const& board) {
    std::vector<Cells> table{{"PUBLISHER", "ENDPOINT", "STATE", "SINCE", ""}};
    for (auto const& publisher : board.publishers()) {
        for (auto const& endpoint : publisher.endpoints) {
            auto const* const state = publisher.removed ? "closed" : wordFor(endpoint.state);
            auto const reason = publisher.removed ? std::string() : endpoint.reason;
            table.push_back({publisher.uniqueID, endpoint.endpoint, state, age(endpoint.since), reason});
        }
        auto const* const services = publisher.removed             ? "removed"
                                     : !publisher.failure.empty()  ? "failed"
                                     : publisher.servicesPublished ? "published"
                                                                   : "waiting";
        table.push_back({publisher.uniqueID, "(services)", services, "", publisher.failure});
    }
    for (auto const& remote : board.remoteInterfaces()) {
        table.push_back({remote.localPublisher, remote.interfaceName, "available", "",
                         "from " + remote.publisher + " of " + remote.peer});
    }
    return table;
}

std::vector<std::string> rowsOf(Board const& board) {
    auto const table = cellsOf(board);
    std::vector<std::size_t> widths(table.front().size(), 0);
    for (auto const& cells : table) {
        for (std::size_t column = 0; column < cells.size(); ++column) {
            widths[column] = std::max(widths[column], cells[column].size());
        }
    }
    std::vector<std::string> rows;
    for (auto const& cells : table) {
        std::string row;
        for (std::size_t column = 0; column + 1 < cells.size(); ++column) {
            row += fmt::format("{:{}}  ", printable(cells[column]), widths[column]);
        }
        rows.push_back(row + printable(cells.back()));
    }
    return rows;
}

void write(std::string const& text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

} // namespace

void TableReporter::changed(Change const& change, Board const& board) {
    eraseTable();
    if (!change.onBoard) {
        write(printable(change.text) + '\n');
    }
    drawTable(board);
}

void TableReporter::timePassed(Board const& board, bool) {
    eraseTable();
    drawTable(board);
}

void TableReporter::result(std::string const& line) {
    eraseTable();
    std::fputs((printable(line) + '\n').c_str(), stdout);
    std::fflush(stdout);
    drawAgain();
}

void TableReporter::eraseTable() {
    if (drawnRows_ > 0) {
        write(fmt::format("\r\x1b[{}A\x1b[J", drawnRows_)); // up, then clear to the end of the screen
    }
    drawnRows_ = 0;
}

void TableReporter::drawTable(Board const& board) {
    rows_ = rowsOf(board);
    drawAgain();
}

void TableReporter::drawAgain() {
    auto const size = terminalSize();
    std::string text;
    auto const count = std::min(rows_.size(), size.rows - 1);
    for (std::size_t row = 0; row < count; ++row) {
        text += cut(rows_[row], size.columns - 1) + '\n';
    }
    write(text);
    drawnRows_ = count;
}

} // namespace agent::program
