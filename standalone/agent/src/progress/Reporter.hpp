// Shows a person, or a program, what happens while the agent runs.
#ifndef AGENT_PROGRAM_PROGRESS_REPORTER_HPP
#define AGENT_PROGRAM_PROGRESS_REPORTER_HPP

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "progress/Board.hpp"

namespace agent::program {

// What a program wants to know of a change, by name, in the order in which it is written.
using Detail = std::variant<std::string, std::int64_t>;
using Details = std::vector<std::pair<std::string, Detail>>;

// One thing that happened.
struct Change {
    enum class Kind {
        OnBoard, // a look at the board shows it, too
        Step,    // any other
        Failure, // it is in the way of readiness
    };

    Kind kind;
    std::string event; // "endpoint", "services", "ready", ...
    std::string text;  // a sentence for a person
    Details details;
};

enum class ProgressStyle { Automatic, Table, Plain, Json, Quiet };

// Used by one thread at a time. Progress goes to standard error; results go to standard output.
class Reporter {
public:
    virtual ~Reporter() = default;

    // The board is as it is after the change. More changes may wait to be told.
    virtual void changed(Change const& change, Board const& board) = 0;

    // No more do.
    virtual void caughtUp(Board const&) {}

    // A moment has gone by; called about once a second.
    virtual void timePassed(Board const&, bool /*waiting*/) {}

    // The terminal has another size.
    virtual void terminalResized(Board const&) {}

    // A line of result, which other programs may wait for. Whether it has reached all who want it: not one
    // who has stopped to read.
    virtual bool result(std::string const& line);

protected:
    // Writes the text in one call, so that nobody else's output comes between. Whether it could, or its
    // reader has gone.
    static bool write(std::FILE* stream, std::string const& text);
};

// Automatic is a table when standard error is a terminal that can be drawn on, plain lines otherwise; what
// TERM=dumb names cannot. NO_COLOR, set to anything, has the table drawn without colours.
std::unique_ptr<Reporter> makeReporter(ProgressStyle style);

} // namespace agent::program

#endif
