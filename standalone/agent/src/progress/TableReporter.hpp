// The reporter for terminals: a table of all endpoints, redrawn in place.
#ifndef AGENT_PROGRAM_PROGRESS_TABLE_REPORTER_HPP
#define AGENT_PROGRAM_PROGRESS_TABLE_REPORTER_HPP

#include <deque>
#include <string>
#include <vector>

#include "progress/Reporter.hpp"
#include "progress/TableLayout.hpp"

namespace agent::program {

// Changes that the table does not show are lines above it, written at once. Those that it shows are drawn
// when no more of them wait, or once a second, so that many together cost one drawing. Leaves no mode of the
// terminal changed behind, so that the process may end at any moment.
class TableReporter : public Reporter {
public:
    explicit TableReporter(bool colours);

    void changed(Change const& change, Board const& board) override;
    void caughtUp(Board const& board) override;
    void timePassed(Board const& board, bool waiting) override;
    void terminalResized(Board const& board) override;
    bool result(std::string const& line) override;

private:
    void redraw(std::string const& line, Board const& board);
    std::string erasure() const;
    bool fits(TerminalSize size) const;
    std::string freshScreen(TerminalSize size) const;
    std::string drawing() const;
    std::string coloured(TableRow const& row) const;
    void remember(std::string const& line);

    bool const colours_;
    std::vector<TableRow> drawn_;       // the table as it is on the screen, directly above the cursor
    bool isStale_ = false;              // the board has changed since
    std::deque<std::string> lastLines_; // what was written above it
};

} // namespace agent::program

#endif
