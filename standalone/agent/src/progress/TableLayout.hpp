// The table of a configuration's endpoints and services, laid out for a terminal.
#ifndef AGENT_PROGRAM_PROGRESS_TABLE_LAYOUT_HPP
#define AGENT_PROGRAM_PROGRESS_TABLE_LAYOUT_HPP

#include <cstddef>
#include <string>
#include <vector>

#include "progress/Board.hpp"

namespace agent::program {

struct TerminalSize {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

enum class Tone { Heading, Settled, Pending, Bad };

struct TableRow {
    std::string text; // printable, narrower than the terminal
    Tone tone;
};

// A heading and one row per endpoint, per publisher's services and per interface of a peer, fewer than the
// terminal has rows. In a narrow terminal reasons, then endpoints and publishers are shortened; the state is
// shown as long as anything is. In a low one what is settled gives way to what is not, and the last row says
// how many are not shown.
std::vector<TableRow> layOut(Board const& board, TerminalSize size, Board::Clock::time_point now);

} // namespace agent::program

#endif
