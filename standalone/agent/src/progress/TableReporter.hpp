// The reporter for terminals: a table of all endpoints, redrawn in place.
#ifndef AGENT_PROGRAM_PROGRESS_TABLE_REPORTER_HPP
#define AGENT_PROGRAM_PROGRESS_TABLE_REPORTER_HPP

#include <cstddef>
#include <string>
#include <vector>

#include "progress/Reporter.hpp"

namespace agent::program {

// Changes that the table does not show are lines above it.
class TableReporter : public Reporter {
public:
    void changed(Change const& change, Board const& board) override;
    void timePassed(Board const& board, bool waiting) override;
    void result(std::string const& line) override;
    void finish() override {}

private:
    void eraseTable();
    void drawTable(Board const& board);
    void drawAgain();

    std::vector<std::string> rows_; // of the table as it was last worked out
    std::size_t drawnRows_ = 0;     // how many rows above the cursor belong to the table
};

} // namespace agent::program

#endif
