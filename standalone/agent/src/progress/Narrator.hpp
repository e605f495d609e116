// Tells what the service framework does, and keeps what is known of it.
#ifndef AGENT_PROGRAM_PROGRESS_NARRATOR_HPP
#define AGENT_PROGRAM_PROGRESS_NARRATOR_HPP

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "configuration/Problem.hpp"
#include "progress/Board.hpp"
#include "progress/Reporter.hpp"
#include "run/Message.hpp"

namespace agent::program {

// Owns the board and the reporter: what changes the board is told by the reporter. Used by one thread at a
// time.
class Narrator {
public:
    Narrator(ConfigurationFile const& configuration, ProgressStyle style);

    Board const& board() const { return board_; }

    // What the framework says. Nothing is told if the board knew it already; for a failure, the result says
    // whether it was news.
    void tell(EndpointStatus const& status);
    void tell(ServicesPublished const& message);
    void tell(PublisherRemoved const& message);
    bool tell(PublisherFailed const& message);
    void tell(RemoteInterface const& message);

    // The next version of the configuration takes the place of the one so far.
    void reconfigure(ConfigurationFile const& configuration);

    // Everything that readiness lacks, each with the reason last seen and what to try next.
    void tellOutstanding(std::vector<std::string> const& expectedInterfaces);

    // A failure is told once, even if it is reported in two ways.
    void tellFailure(std::string const& reason);

    // A problem of the configuration file; `text` describes it whole.
    void tellProblem(std::string const& text, Problem const& problem);

    // Any other step.
    void tell(std::string event, std::string text, Details details = {});

    // Whether the line of result was written; if not, that was told as a failure.
    bool result(std::string const& line);

    // Nothing else waits to be told.
    void caughtUp() { reporter_->caughtUp(board_); }

    void timePassed(bool waiting) { reporter_->timePassed(board_, waiting); }
    void terminalResized() { reporter_->terminalResized(board_); }

    // The last thing told.
    void tellSummary(int status);

private:
    void change(Change::Kind kind, std::string event, std::string text, Details details);
    void outstanding(std::string const& what, std::string const& reason, std::string const& advice,
                     Details details);

    Board board_;
    std::unique_ptr<Reporter> const reporter_;
    std::set<std::string> failures_;
};

} // namespace agent::program

#endif
