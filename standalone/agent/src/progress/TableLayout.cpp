// The table of a configuration's endpoints and services, laid out for a terminal.
#include "progress/TableLayout.hpp"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "progress/displayText.hpp"

namespace agent::program {

namespace {

enum Column : std::size_t { Publisher, Endpoint, State, Since, Reason, columnCount };
using Cells = std::array<std::string, columnCount>;
using Widths = std::array<std::size_t, columnCount>;

constexpr std::size_t gap = 2; // blanks between columns

struct Row {
    Cells cells;
    Tone tone;
};

std::string age(Board::Clock::time_point since, Board::Clock::time_point now) {
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(now - since).count();
    if (seconds < 60) {
        return fmt::format("{}s", seconds);
    }
    return seconds < 3600 ? fmt::format("{}m{:02}s", seconds / 60, seconds % 60)
                          : fmt::format("{}h{:02}m", seconds / 3600, seconds / 60 % 60);
}

Tone toneOf(Board::Endpoint const& endpoint) {
    bool const isBad = endpoint.state == EndpointState::Failed || endpoint.state == EndpointState::Lost;
    return isUp(endpoint) ? Tone::Settled : isBad ? Tone::Bad : Tone::Pending;
}

Row rowOf(Board::Publisher const& publisher, Board::Endpoint const& endpoint, Board::Clock::time_point now) {
    if (publisher.removed) {
        return {{publisher.uniqueID, endpoint.endpoint, "closed", "", ""}, Tone::Settled};
    }
    return {{publisher.uniqueID, endpoint.endpoint, wordFor(endpoint.state), age(endpoint.since, now),
             endpoint.reason},
            toneOf(endpoint)};
}

Row rowOfServices(Board::Publisher const& publisher) {
    auto const row = [&publisher](char const* state, Tone tone) {
        return Row{{publisher.uniqueID, "(services)", state, "", publisher.failure}, tone};
    };
    if (publisher.removed) {
        return row("removed", Tone::Settled);
    }
    if (!publisher.failure.empty()) {
        return row("failed", Tone::Bad);
    }
    return publisher.servicesPublished ? row("published", Tone::Settled) : row("waiting", Tone::Pending);
}

std::size_t countRows(Board const& board) {
    auto count = 1 + board.publishers().size() + board.remoteInterfaces().size();
    for (auto const& publisher : board.publishers()) {
        count += publisher.endpoints.size();
    }
    return count;
}

// All rows, but no more than `most` because of interfaces of peers, who may offer any number: these rows are
// the first to give way.
std::vector<Row> rowsOf(Board const& board, Board::Clock::time_point now, std::size_t most) {
    std::vector<Row> rows{{{"PUBLISHER", "ENDPOINT", "STATE", "SINCE", ""}, Tone::Heading}};
    for (auto const& publisher : board.publishers()) {
        for (auto const& endpoint : publisher.endpoints) {
            rows.push_back(rowOf(publisher, endpoint, now));
        }
        rows.push_back(rowOfServices(publisher));
    }
    for (auto const& [remote, connections] : board.remoteInterfaces()) {
        if (rows.size() >= most) {
            break;
        }
        rows.push_back({{remote.localPublisher, remote.interfaceName, "available", "",
                         "from " + remote.publisher + " of " + remote.peer},
                        Tone::Settled});
    }
    return rows;
}

// Takes rows out until `count` are left: the last of those that are settled, then the last of all.
void reduce(std::vector<Row>& rows, std::size_t count) {
    for (auto index = rows.size(); index-- > 0 && rows.size() > count;) {
        if (rows[index].tone == Tone::Settled) {
            rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }
    if (rows.size() > count) {
        rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(count), rows.end());
    }
}

Widths naturalWidths(std::vector<Row> const& rows) {
    Widths widths{};
    for (auto const& row : rows) {
        for (std::size_t column = 0; column < columnCount; ++column) {
            widths[column] = std::max(widths[column], displayWidth(row.cells[column]));
        }
    }
    return widths;
}

// Columns give way in this order, down to these widths; a column of width 0 is not shown.
struct Concession {
    Column column;
    std::size_t least;
};
constexpr std::array<Concession, 8> concessions{{{Reason, 0},
                                                 {Endpoint, 12},
                                                 {Publisher, 6},
                                                 {Since, 0},
                                                 {Endpoint, 4},
                                                 {Publisher, 0},
                                                 {Endpoint, 0},
                                                 {State, 1}}};

std::size_t total(Widths const& widths) {
    std::size_t sum = 0;
    for (auto const width : widths) {
        sum += width == 0 ? 0 : width + (sum == 0 ? 0 : gap);
    }
    return sum;
}

void fit(Widths& widths, std::size_t columns) {
    for (auto const& [column, least] : concessions) {
        auto const excess = total(widths) - std::min(total(widths), columns);
        auto& width = widths[column];
        if (excess > 0 && width > least) {
            width -= std::min(excess, width - least);
        }
    }
}

std::string line(Cells const& cells, Widths const& widths) {
    std::string text;
    std::size_t blanks = 0; // owed before the next cell
    for (std::size_t column = 0; column < columnCount; ++column) {
        if (widths[column] == 0) {
            continue;
        }
        auto const cell = shortened(cells[column], widths[column]);
        if (!cell.empty()) {
            text += std::string(blanks, ' ') + cell;
            blanks = 0;
        }
        blanks += widths[column] - displayWidth(cell) + gap;
    }
    return text;
}

} // namespace

std::vector<TableRow> layOut(Board const& board, TerminalSize size, Board::Clock::time_point now) {
    auto const room = std::max<std::size_t>(size.rows, 2) - 1; // the cursor stays below the table
    auto const all = countRows(board);
    auto rows = rowsOf(board, now, room);
    if (all > room) {
        reduce(rows, room > 1 ? room - 1 : 1);
    }
    for (auto& row : rows) {
        std::transform(row.cells.begin(), row.cells.end(), row.cells.begin(), printable);
    }
    auto widths = naturalWidths(rows);
    auto const columns = std::max<std::size_t>(size.columns, 2) - 1; // a full line would wrap
    fit(widths, columns);
    std::vector<TableRow> result;
    result.reserve(rows.size() + 1);
    for (auto const& row : rows) {
        result.push_back({line(row.cells, widths), row.tone});
    }
    if (rows.size() < all && room > 1) {
        result.push_back(
            {shortened(fmt::format("... and {} more", all - rows.size()), columns), Tone::Heading});
    }
    return result;
}

} // namespace agent::program
