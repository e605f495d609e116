// The reporter for terminals.
#include "progress/TableReporter.hpp"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "progress/displayText.hpp"

namespace agent::program {

namespace {

constexpr std::size_t mostLinesRemembered = 200;

TerminalSize terminalSize() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

char const* colourOf(Tone tone) {
    switch (tone) {
    case Tone::Heading:
        return "\x1b[1m";
    case Tone::Settled:
        return "\x1b[32m";
    case Tone::Pending:
        return "\x1b[33m";
    case Tone::Bad:
        return "\x1b[31m";
    }
    return "";
}

} // namespace

TableReporter::TableReporter(bool colours)
    : colours_(colours) {}

void TableReporter::changed(Change const& change, Board const& board) {
    if (change.kind == Change::Kind::OnBoard) {
        isStale_ = true;
        return;
    }
    auto const line = printable(change.text);
    remember(line);
    redraw(line + '\n', board);
}

void TableReporter::caughtUp(Board const& board) {
    if (isStale_) {
        redraw({}, board);
    }
}

void TableReporter::timePassed(Board const& board, bool) {
    redraw({}, board);
}

void TableReporter::terminalResized(Board const& board) {
    redraw({}, board);
}

bool TableReporter::result(std::string const& line) {
    auto const size = terminalSize();
    if (fits(size)) {
        write(stderr, erasure());
    } else {
        for (auto& row : drawn_) {
            row.text = shortened(row.text, size.columns - 1);
        }
        write(stderr, freshScreen(size));
    }
    auto const isWritten = Reporter::result(line);
    if (isatty(STDOUT_FILENO) != 0) {
        remember(printable(line));
    }
    write(stderr, drawing());
    return isWritten;
}

// Writes a line above the table, and the table anew.
void TableReporter::redraw(std::string const& line, Board const& board) {
    auto const size = terminalSize();
    bool const inPlace = fits(size);
    auto text = inPlace ? erasure() + line : std::string();
    drawn_ = layOut(board, size, Board::Clock::now());
    isStale_ = false;
    if (!inPlace) {
        text = freshScreen(size); // with the line, which is remembered
    }
    write(stderr, text + drawing());
}

// To the first row of the table, and clear to the end of the screen.
std::string TableReporter::erasure() const {
    return drawn_.empty() ? std::string() : fmt::format("\r\x1b[{}A\x1b[J", drawn_.size());
}

// Whether every row of the table is still one row of the screen, so that the table can be found.
bool TableReporter::fits(TerminalSize size) const {
    return std::all_of(drawn_.begin(), drawn_.end(),
                       [size](TableRow const& row) { return displayWidth(row.text) <= size.columns; });
}

// When the terminal has become narrower than the table, terminals differ in what they make of its rows. What
// is on the screen is pushed out at its top, where most terminals remember it, and the last lines are written
// again.
std::string TableReporter::freshScreen(TerminalSize size) const {
    std::string text(size.rows, '\n');
    text += "\x1b[H\x1b[J";
    auto const room = size.rows - std::min(size.rows, drawn_.size() + 1);
    auto const count = std::min(room, lastLines_.size());
    for (auto line = lastLines_.end() - static_cast<std::ptrdiff_t>(count); line != lastLines_.end();
         ++line) {
        text += shortened(*line, size.columns) + '\n';
    }
    return text;
}

std::string TableReporter::drawing() const {
    std::string text;
    for (auto const& row : drawn_) {
        text += coloured(row) + '\n';
    }
    return text;
}

std::string TableReporter::coloured(TableRow const& row) const {
    return colours_ ? colourOf(row.tone) + row.text + "\x1b[0m" : row.text;
}

void TableReporter::remember(std::string const& line) {
    lastLines_.push_back(line);
    while (lastLines_.size() > mostLinesRemembered) {
        lastLines_.pop_front();
    }
}

} // namespace agent::program
